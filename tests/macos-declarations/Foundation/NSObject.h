// SPDX-License-Identifier: MIT
// The root of Foundation's classes, as far as it is used.
#pragma once

#pragma clang assume_nonnull begin

#if __OBJC_BOOL_IS_BOOL || defined(QUILLET_APPLE_SILICON)
using BOOL = bool;
#else
using BOOL = signed char;
#endif
#define YES __objc_yes
#define NO __objc_no
#define nil nullptr
using NSInteger = long;
using NSUInteger = unsigned long;

@protocol NSObject
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject>
+ (instancetype)alloc;
- (instancetype)init;
@end

#pragma clang assume_nonnull end
