// SPDX-License-Identifier: MIT
// Owners of the objects of C libraries.
#pragma once

#include <memory>

/// Frees by the library's own function.
template <auto freeFunction>
struct FreeHandle {
    template <typename T>
    void operator()(T* object) const {
        freeFunction(object);
    }
};

/// An object of a C library, which `freeFunction` takes back.
template <typename T, auto freeFunction>
using Handle = std::unique_ptr<T, FreeHandle<freeFunction>>;
