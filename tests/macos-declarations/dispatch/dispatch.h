// SPDX-License-Identifier: MIT
// libdispatch, as far as it is used. With automatic reference counting its objects are Objective-C
// objects; in C++ they derive from one another and are released by hand.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#ifdef __OBJC__
#include <Foundation/NSObject.h>
#endif

#ifdef __clang__
#pragma clang assume_nonnull begin
#endif

#ifdef __OBJC__
@protocol OS_dispatch_object <NSObject>
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
@protocol OS_dispatch_queue_serial <OS_dispatch_queue>
@end
@protocol OS_dispatch_group <OS_dispatch_object>
@end
@protocol OS_dispatch_source <OS_dispatch_object>
@end
typedef NSObject<OS_dispatch_object>* dispatch_object_t;
typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_queue_serial>* dispatch_queue_serial_t;
typedef NSObject<OS_dispatch_group>* dispatch_group_t;
typedef NSObject<OS_dispatch_source>* dispatch_source_t;
#else
struct dispatch_object_s { };
struct dispatch_queue_s : dispatch_object_s { };
struct dispatch_queue_serial_s : dispatch_queue_s { };
struct dispatch_queue_main_s : dispatch_queue_serial_s { };
struct dispatch_semaphore_s : dispatch_object_s { };
using dispatch_object_t = dispatch_object_s*;
using dispatch_queue_t = dispatch_queue_s*;
using dispatch_queue_main_t = dispatch_queue_main_s*;
using dispatch_semaphore_t = dispatch_semaphore_s*;
#endif

extern "C" {

using dispatch_time_t = std::uint64_t;
using dispatch_function_t = void (*)(void* QUILLET_NULLABLE);
inline constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;
inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~std::uint64_t{0};

#ifdef __OBJC__
#define DISPATCH_QUEUE_SERIAL nullptr
typedef void (^dispatch_block_t)(void);
struct dispatch_source_type_s;
typedef const dispatch_source_type_s* dispatch_source_type_t;
extern const dispatch_source_type_s _dispatch_source_type_timer;
#define DISPATCH_SOURCE_TYPE_TIMER (&_dispatch_source_type_timer)

dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta);
dispatch_queue_serial_t dispatch_queue_create(const char* _Nullable label,
    NSObject* _Nullable attributes) __attribute__((ns_returns_retained));
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
dispatch_group_t dispatch_group_create(void) __attribute__((ns_returns_retained));
void dispatch_group_enter(dispatch_group_t group);
void dispatch_group_leave(dispatch_group_t group);
long dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout);
dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle,
    std::uintptr_t mask, dispatch_queue_t _Nullable queue) __attribute__((ns_returns_retained));
void dispatch_source_set_timer(
    dispatch_source_t source, dispatch_time_t start, std::uint64_t interval, std::uint64_t leeway);
void dispatch_source_set_event_handler(
    dispatch_source_t source, dispatch_block_t _Nullable handler);
void dispatch_source_cancel(dispatch_source_t source);
void dispatch_activate(dispatch_object_t object);
#else
dispatch_queue_main_t dispatch_get_main_queue(void);
void dispatch_async_f(
    dispatch_queue_t queue, void* QUILLET_NULLABLE context, dispatch_function_t work);
dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value);
std::intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout);
std::intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore);
void dispatch_release(dispatch_object_t object);
#endif

} // extern "C"

#ifdef __clang__
#pragma clang assume_nonnull end
#endif
