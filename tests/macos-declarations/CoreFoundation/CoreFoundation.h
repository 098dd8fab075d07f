// SPDX-License-Identifier: MIT
// Core Foundation, as far as it is used. As on the platform, only its base says what may be null.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wnullability-extension"
#define QUILLET_NULLABLE _Nullable
#define QUILLET_NONNULL _Nonnull
#define QUILLET_DEPRECATED __attribute__((deprecated))
#define QUILLET_RETAINED __attribute__((cf_returns_retained))
#else
#define QUILLET_NULLABLE
#define QUILLET_NONNULL
#define QUILLET_DEPRECATED
#define QUILLET_RETAINED
#endif
#ifdef __OBJC__
#define QUILLET_BRIDGED(type) __attribute__((objc_bridge(type)))
#else
#define QUILLET_BRIDGED(type)
#endif

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;
using OSStatus = SInt32;
using FourCharCode = UInt32;

extern "C" {

using CFIndex = signed long;
using CFTypeID = unsigned long;
typedef const QUILLET_BRIDGED(id) void* CFTypeRef;
using CFAllocatorRef = const struct __CFAllocator*;
typedef const struct QUILLET_BRIDGED(NSString) __CFString* CFStringRef;
typedef const struct QUILLET_BRIDGED(NSData) __CFData* CFDataRef;
typedef const struct QUILLET_BRIDGED(NSArray) __CFArray* CFArrayRef;
typedef const struct QUILLET_BRIDGED(NSDictionary) __CFDictionary* CFDictionaryRef;
typedef const struct QUILLET_BRIDGED(NSNumber) __CFNumber* CFNumberRef;
typedef const struct QUILLET_BRIDGED(NSNumber) __CFBoolean* CFBooleanRef;
typedef struct QUILLET_BRIDGED(NSError) __CFError* CFErrorRef;
typedef struct __CFRunLoop* CFRunLoopRef;
using CFRunLoopMode = CFStringRef;
using CFPropertyListRef = CFTypeRef;

struct CFRange {
    CFIndex location;
    CFIndex length;
};
using CFStringEncoding = UInt32;
using CFNumberType = CFIndex;
struct CFDictionaryKeyCallBacks;
struct CFDictionaryValueCallBacks;

inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
extern int __CFConstantStringClassReference[]; // the class of the compiler's own strings

#ifdef __clang__
#pragma clang assume_nonnull begin
#endif
CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFStringRef QUILLET_NULLABLE CFCopyDescription(CFTypeRef object);
CFIndex CFErrorGetCode(CFErrorRef err);
#ifdef __clang__
#pragma clang assume_nonnull end
#endif

CFTypeID CFStringGetTypeID(void);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
    UInt8 lossByte, Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufferLength,
    CFIndex* usedBufferLength);

CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
    CFStringEncoding encoding, Boolean isExternalRepresentation);

CFTypeID CFDataGetTypeID(void);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);

CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFDictionaryGetTypeID(void);
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
    CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
void CFDictionaryGetKeysAndValues(
    CFDictionaryRef dictionary, const void** keys, const void** values);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);
CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
Boolean CFPreferencesAppValueIsForced(CFStringRef key, CFStringRef applicationID);

CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopWakeUp(CFRunLoopRef runLoop);
#ifdef __BLOCKS__
void CFRunLoopPerformBlock(CFRunLoopRef runLoop, CFTypeRef mode, void (^block)(void));
#endif

} // extern "C"
