// SPDX-License-Identifier: MIT
// AppKit, as far as it is used.
#pragma once

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

using CGFloat = double;
struct NSRect {
    CGFloat values[4];
};
static inline NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return {{x, y, width, height}};
}
static inline CGFloat NSMaxY(NSRect rect) {
    return rect.values[1] + rect.values[3];
}

@protocol NSApplicationDelegate;
@class NSMenu;
@class NSView;

extern "C" int NSApplicationMain(int argc, const char* _Nonnull argv[_Nonnull]);

enum NSRequestUserAttentionType : NSUInteger { NSCriticalRequest = 0 };

@interface NSApplication : NSObject
@property (class, readonly, strong) NSApplication* sharedApplication;
@property (nullable, weak) id<NSApplicationDelegate> delegate;
@property (nullable, strong) NSMenu* mainMenu;
@property (nullable, strong) NSMenu* windowsMenu;
- (void)activateIgnoringOtherApps:(BOOL)flag
    __attribute__((availability(macos, introduced = 10.0, deprecated = 100000)));
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)requestType;
- (void)hide:(nullable id)sender;
- (void)terminate:(nullable id)sender;
@end

// Optional on the platform; required here, so that a method under a wrong name is noticed.
@protocol NSApplicationDelegate <NSObject>
- (void)applicationWillFinishLaunching:(NSNotification*)notification;
- (void)applicationWillTerminate:(NSNotification*)notification;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender;
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication*)sender;
@end

@interface NSMenuItem : NSObject
@property (nullable, strong) NSMenu* submenu;
@end

@interface NSMenu : NSObject
- (instancetype)initWithTitle:(NSString*)title;
- (NSMenuItem*)addItemWithTitle:(NSString*)title
                         action:(nullable SEL)selector
                  keyEquivalent:(NSString*)keyEquivalent;
@end

extern "C" NSAttributedStringKey const NSFontAttributeName;
typedef CGFloat NSFontWeight;
extern "C" const NSFontWeight NSFontWeightRegular;
@interface NSFont : NSObject
@property (class, readonly) CGFloat systemFontSize;
+ (NSFont*)monospacedSystemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight;
@end

// As CF_OPTIONS makes it in C++: an integer and unnamed constants.
typedef NSUInteger NSWindowStyleMask;
enum : NSWindowStyleMask {
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskResizable = 1 << 3,
};
enum NSBackingStoreType : NSUInteger { NSBackingStoreBuffered = 2 };

@interface NSWindow : NSObject
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag;
@property (getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property (copy) NSString* title;
@property (getter=isRestorable) BOOL restorable;
@property (nullable, strong) __kindof NSView* contentView;
- (void)center;
- (void)makeKeyAndOrderFront:(nullable id)sender;
- (void)performClose:(nullable id)sender;
- (void)performMiniaturize:(nullable id)sender;
@end

@interface NSView : NSObject
@property (readonly) NSRect visibleRect;
@property NSRect bounds;
@property (nullable, readonly, assign) NSWindow* window;
@end

@interface NSTextStorage : NSMutableAttributedString
@end

@interface NSText : NSView
- (void)copy:(nullable id)sender;
- (void)selectAll:(nullable id)sender;
- (void)scrollRangeToVisible:(NSRange)range;
@end

@class NSScrollView;
@interface NSTextView : NSText
+ (NSScrollView*)scrollableTextView;
@property (nullable, readonly, assign) NSTextStorage* textStorage;
@property (getter=isEditable) BOOL editable;
@property BOOL usesAdaptiveColorMappingForDarkAppearance;
@end

@interface NSScrollView : NSView
@property (nullable, strong) __kindof NSView* documentView;
@end

using NSModalResponse = NSInteger;
enum NSAlertStyle : NSUInteger {
    NSAlertStyleWarning = 0,
    NSAlertStyleInformational = 1,
    NSAlertStyleCritical = 2,
};

@interface NSButton : NSView
@property (copy) NSString* keyEquivalent;
@property (getter=isEnabled) BOOL enabled;
- (void)performClick:(nullable id)sender;
@end

extern NSRunLoopMode const NSModalPanelRunLoopMode;
typedef unsigned long long NSEventMask;
enum : NSEventMask { NSEventMaskKeyDown = 1 << 10 };
@interface NSEvent : NSObject
@property (readonly) unsigned short keyCode;
+ (nullable id)addLocalMonitorForEventsMatchingMask:(NSEventMask)mask
                                            handler:(NSEvent* _Nullable (^)(NSEvent* event))block;
+ (void)removeMonitor:(id)eventMonitor;
@end

@interface NSAlert : NSObject
@property (copy) NSString* messageText;
@property (copy) NSString* informativeText;
@property NSAlertStyle alertStyle;
- (NSButton*)addButtonWithTitle:(NSString*)title;
@property (readonly, copy) NSArray<NSButton*>* buttons;
- (NSModalResponse)runModal;
@end

@interface NSWorkspace : NSObject
@property (class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
@end

#pragma clang assume_nonnull end
