// SPDX-License-Identifier: MIT
// Core Foundation, as far as it is used. Null is allowed where the documentation says so.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __clang__
#pragma clang diagnostic ignored "-Wnullability-extension"
#pragma clang assume_nonnull begin
#define QUILLET_NULLABLE _Nullable
#define QUILLET_NONNULL _Nonnull
#define QUILLET_DEPRECATED __attribute__((deprecated))
#else
#define QUILLET_NULLABLE
#define QUILLET_NONNULL
#define QUILLET_DEPRECATED
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
using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
typedef const struct QUILLET_BRIDGED(NSString) __CFString* CFStringRef;
typedef const struct QUILLET_BRIDGED(NSData) __CFData* CFDataRef;
typedef const struct QUILLET_BRIDGED(NSArray) __CFArray* CFArrayRef;
typedef const struct QUILLET_BRIDGED(NSDictionary) __CFDictionary* CFDictionaryRef;
typedef const struct QUILLET_BRIDGED(NSNumber) __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
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
extern const CFAllocatorRef QUILLET_NULLABLE kCFAllocatorDefault;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;
extern const CFRunLoopMode kCFRunLoopDefaultMode;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFStringRef QUILLET_NULLABLE CFCopyDescription(CFTypeRef object);

CFTypeID CFStringGetTypeID(void);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
    UInt8 lossByte, Boolean isExternalRepresentation, UInt8* QUILLET_NULLABLE buffer,
    CFIndex maxBufferLength, CFIndex* QUILLET_NULLABLE usedBufferLength);

CFStringRef QUILLET_NULLABLE CFStringCreateWithBytes(CFAllocatorRef QUILLET_NULLABLE allocator,
    const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
    Boolean isExternalRepresentation);

CFTypeID CFDataGetTypeID(void);
CFDataRef QUILLET_NULLABLE CFDataCreate(
    CFAllocatorRef QUILLET_NULLABLE allocator, const UInt8* QUILLET_NULLABLE bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* QUILLET_NULLABLE CFDataGetBytePtr(CFDataRef data);

CFTypeID CFArrayGetTypeID(void);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFDictionaryGetTypeID(void);
CFDictionaryRef QUILLET_NULLABLE CFDictionaryCreate(CFAllocatorRef QUILLET_NULLABLE allocator,
    const void* QUILLET_NULLABLE* QUILLET_NULLABLE keys,
    const void* QUILLET_NULLABLE* QUILLET_NULLABLE values, CFIndex count,
    const CFDictionaryKeyCallBacks* QUILLET_NULLABLE keyCallBacks,
    const CFDictionaryValueCallBacks* QUILLET_NULLABLE valueCallBacks);
CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary);
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary,
    const void* QUILLET_NULLABLE* QUILLET_NULLABLE keys,
    const void* QUILLET_NULLABLE* QUILLET_NULLABLE values);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);
CFTypeID CFNumberGetTypeID(void);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFPropertyListRef QUILLET_NULLABLE CFPreferencesCopyAppValue(
    CFStringRef key, CFStringRef applicationID);
Boolean CFPreferencesAppValueIsForced(CFStringRef key, CFStringRef applicationID);

CFRunLoopRef CFRunLoopGetMain(void);
void CFRunLoopWakeUp(CFRunLoopRef runLoop);
#ifdef __BLOCKS__
void CFRunLoopPerformBlock(CFRunLoopRef runLoop, CFTypeRef mode, void (^block)(void));
#endif

} // extern "C"

#ifdef __clang__
#pragma clang assume_nonnull end
#endif
