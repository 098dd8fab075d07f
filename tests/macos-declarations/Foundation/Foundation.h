// SPDX-License-Identifier: MIT
// Foundation, as far as it is used.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>
#include <Foundation/NSObject.h>

#pragma clang assume_nonnull begin

using NSTimeInterval = double;
using NSStringEncoding = NSUInteger;
enum : NSStringEncoding { NSUTF8StringEncoding = 4 };

struct NSFastEnumerationState {
    unsigned long state;
    __unsafe_unretained id _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
};

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(__unsafe_unretained id _Nullable* _Nonnull)buffer
                                    count:(NSUInteger)length;
@end

@interface NSString : NSObject
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)encoding;
@end

extern "C" void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2)));
struct NSRange {
    NSUInteger location;
    NSUInteger length;
};
static inline NSRange NSMakeRange(NSUInteger location, NSUInteger length) {
    return {location, length};
}

@interface NSData : NSObject
@property (readonly) NSUInteger length;
@property (readonly) const void* _Nullable bytes;
@end

@interface NSNumber : NSObject
@property (readonly) unsigned long long unsignedLongLongValue;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSFastEnumeration>
@property (nullable, readonly) ObjectType lastObject;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)object;
@end

@protocol NSCopying
@end
@interface NSString (Copying) <NSCopying>
@end
@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)count;
@end

using NSAttributedStringKey = NSString*;
@interface NSAttributedString : NSObject
- (instancetype)initWithString:(NSString*)string
                    attributes:(nullable NSDictionary<NSAttributedStringKey, id>*)attributes;
@property (readonly) NSUInteger length;
@end

@interface NSMutableAttributedString : NSAttributedString
- (void)appendAttributedString:(NSAttributedString*)string;
@end

@interface NSError : NSObject
@property (readonly, copy) NSString* localizedDescription;
@end

@interface NSNotification : NSObject
@end

@interface NSURL : NSObject
+ (nullable instancetype)URLWithString:(NSString*)string;
@property (nullable, readonly, copy) NSString* absoluteString;
@property (nullable, readonly, copy) NSString* host;
@property (nullable, readonly, copy) NSNumber* port;
@end

@interface NSTimer : NSObject
+ (NSTimer*)timerWithTimeInterval:(NSTimeInterval)interval
                          repeats:(BOOL)repeats
                            block:(void (^)(NSTimer* timer))block;
- (void)invalidate;
@end

using NSRunLoopMode = NSString*;
@interface NSRunLoop : NSObject
@property (class, readonly, strong) NSRunLoop* currentRunLoop;
- (void)addTimer:(NSTimer*)timer forMode:(NSRunLoopMode)mode;
@end

@interface NSBundle : NSObject
@property (class, readonly, strong) NSBundle* mainBundle;
@property (nullable, readonly, copy) NSString* bundleIdentifier;
- (nullable id)objectForInfoDictionaryKey:(NSString*)key;
@end

struct NSOperatingSystemVersion {
    NSInteger majorVersion;
    NSInteger minorVersion;
    NSInteger patchVersion;
};

typedef std::uint64_t NSActivityOptions;
enum : NSActivityOptions {
    NSActivityUserInitiatedAllowingIdleSystemSleep = 0x00EFFFFF,
};

@interface NSProcessInfo : NSObject
- (id<NSObject>)beginActivityWithOptions:(NSActivityOptions)options reason:(NSString*)reason;
@property (class, readonly, strong) NSProcessInfo* processInfo;
@property (readonly) NSOperatingSystemVersion operatingSystemVersion;
@end

@interface NSAppleEventDescriptor : NSObject
- (nullable NSAppleEventDescriptor*)paramDescriptorForKeyword:(AEKeyword)keyword;
@property (nullable, readonly, copy) NSString* stringValue;
@end

@interface NSAppleEventManager : NSObject
+ (NSAppleEventManager*)sharedAppleEventManager;
- (void)setEventHandler:(id)handler
            andSelector:(SEL)handleEventSelector
          forEventClass:(AEEventClass)eventClass
             andEventID:(AEEventID)eventID;
@end

@interface NSUUID : NSObject
+ (instancetype)UUID;
@property (readonly, copy) NSString* UUIDString;
@end

@interface NSUserDefaults : NSObject
@property (class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (void)registerDefaults:(NSDictionary<NSString*, id>*)registrationDictionary;
@end

#pragma clang assume_nonnull end

#include <Foundation/NSURLSession.h>
