// SPDX-License-Identifier: MIT
// AppKit, as far as it is used.
#pragma once

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

using CGFloat = double;
struct NSRect {
    CGFloat values[4];
};
NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat width, CGFloat height);

@protocol NSApplicationDelegate;
@class NSMenu;
@class NSView;

extern "C" int NSApplicationMain(int argc, const char* _Nonnull argv[_Nonnull]);

@interface NSApplication : NSObject
@property (class, readonly, strong) NSApplication* sharedApplication;
@property (nullable, weak) id<NSApplicationDelegate> delegate;
@property (nullable, strong) NSMenu* mainMenu;
- (void)activateIgnoringOtherApps:(BOOL)flag;
- (void)terminate:(nullable id)sender;
@end

// Optional on the platform; required here, so that a method under a wrong name is noticed.
@protocol NSApplicationDelegate <NSObject>
- (void)applicationWillFinishLaunching:(NSNotification*)notification;
- (void)applicationWillTerminate:(NSNotification*)notification;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)sender;
@end

@interface NSMenuItem : NSObject
@property (nullable, strong) NSMenu* submenu;
@end

@interface NSMenu : NSObject
- (NSMenuItem*)addItemWithTitle:(NSString*)title
                         action:(nullable SEL)selector
                  keyEquivalent:(NSString*)keyEquivalent;
@end

using NSAppearanceName = NSString*;
extern NSAppearanceName const NSAppearanceNameAqua;
@interface NSAppearance : NSObject
+ (nullable NSAppearance*)appearanceNamed:(NSAppearanceName)name;
@end

enum NSWindowStyleMask : NSUInteger {
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskResizable = 1 << 3,
};
constexpr NSWindowStyleMask operator|(NSWindowStyleMask a, NSWindowStyleMask b) {
    return static_cast<NSWindowStyleMask>(static_cast<NSUInteger>(a) | static_cast<NSUInteger>(b));
}
enum NSBackingStoreType : NSUInteger { NSBackingStoreBuffered = 2 };

@interface NSWindow : NSObject
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag;
@property (getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property (copy) NSString* title;
@property (nullable, strong) NSAppearance* appearance;
@property (nullable, strong) __kindof NSView* contentView;
- (void)center;
- (void)makeKeyAndOrderFront:(nullable id)sender;
@end

@interface NSView : NSObject
@end

@interface NSTextStorage : NSMutableAttributedString
@end

@class NSScrollView;
@interface NSTextView : NSView
+ (NSScrollView*)scrollableTextView;
@property (nullable, readonly, assign) NSTextStorage* textStorage;
@property (getter=isEditable) BOOL editable;
- (void)copy:(nullable id)sender;
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
enum NSEventMask : unsigned long long { NSEventMaskKeyDown = 1 << 10 };
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
