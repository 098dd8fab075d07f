// SPDX-License-Identifier: MIT
// libdispatch, as far as it is used: from plain C++, where its objects derive from one another and
// are released by hand.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __clang__
#pragma clang assume_nonnull begin
#endif

struct dispatch_object_s { };
struct dispatch_queue_s : dispatch_object_s { };
struct dispatch_queue_serial_s : dispatch_queue_s { };
struct dispatch_queue_main_s : dispatch_queue_serial_s { };
struct dispatch_queue_attr_s : dispatch_object_s { };
struct dispatch_semaphore_s : dispatch_object_s { };
using dispatch_object_t = dispatch_object_s*;
using dispatch_queue_t = dispatch_queue_s*;
using dispatch_queue_main_t = dispatch_queue_main_s*;
using dispatch_queue_attr_t = dispatch_queue_attr_s*;
using dispatch_semaphore_t = dispatch_semaphore_s*;

extern "C" {

using dispatch_time_t = std::uint64_t;
using dispatch_function_t = void (*)(void* QUILLET_NULLABLE);
#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define DISPATCH_QUEUE_SERIAL NULL
#define DISPATCH_QUEUE_SERIAL_WITH_AUTORELEASE_POOL                                                \
    dispatch_queue_attr_make_with_autorelease_frequency(                                           \
        DISPATCH_QUEUE_SERIAL, DISPATCH_AUTORELEASE_FREQUENCY_WORK_ITEM)
enum dispatch_autorelease_frequency_t : unsigned long {
    DISPATCH_AUTORELEASE_FREQUENCY_WORK_ITEM = 1,
};

dispatch_queue_attr_t dispatch_queue_attr_make_with_autorelease_frequency(
    dispatch_queue_attr_t QUILLET_NULLABLE attributes, dispatch_autorelease_frequency_t frequency);
dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t delta);
dispatch_queue_main_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_queue_create(
    const char* QUILLET_NULLABLE label, dispatch_queue_attr_t QUILLET_NULLABLE attributes);
void dispatch_async_f(
    dispatch_queue_t queue, void* QUILLET_NULLABLE context, dispatch_function_t work);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* QUILLET_NULLABLE context,
    dispatch_function_t work);
dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value);
std::intptr_t dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout);
std::intptr_t dispatch_semaphore_signal(dispatch_semaphore_t semaphore);
void dispatch_release(dispatch_object_t object);

} // extern "C"

#ifdef __clang__
#pragma clang assume_nonnull end
#endif
