# SPDX-License-Identifier: MIT
# Warnings, hardening and instrumentation, for every target of the project.
add_library(quillet_options INTERFACE)
target_include_directories(quillet_options INTERFACE ${PROJECT_SOURCE_DIR})

# In a batch the names of one file would shadow those of the next.
target_compile_options(quillet_options INTERFACE
  -Wall -Wextra -Wpedantic $<$<BOOL:${QUILLET_WARNINGS_AS_ERRORS}>:-Werror> -Wconversion -Wsign-conversion
  $<$<NOT:$<BOOL:${QUILLET_BATCHES}>>:-Wshadow> -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wcast-qual -Wformat=2 -Wundef
  -Wdouble-promotion -Wnull-dereference -Wimplicit-fallthrough -Wextra-semi)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(quillet_options INTERFACE -Wduplicated-cond -Wlogical-op)
  # What GCC 12's optimiser believes of coroutine frames, variants and inlined library code is often
  # wrong; clang checks the same without these three.
  target_compile_options(quillet_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wno-null-dereference
    -Wno-maybe-uninitialized -Wno-mismatched-new-delete>)
endif()

target_compile_definitions(quillet_options INTERFACE _GLIBCXX_ASSERTIONS)
target_compile_options(quillet_options INTERFACE
  -fstack-protector-strong -fvisibility=hidden
  $<$<NOT:$<PLATFORM_ID:Darwin>>:-fstack-clash-protection>)
# What a function forgets to fill must not show what was on the stack before. Clang before 16 asks
# for a second word.
include(CheckCXXCompilerFlag)
set(zeroed -ftrivial-auto-var-init=zero)
set(word -enable-trivial-auto-var-init-zero-knowing-it-will-be-removed-from-clang)
check_cxx_compiler_flag(${zeroed} QUILLET_HAS_AUTO_VAR_INIT)
if(QUILLET_HAS_AUTO_VAR_INIT)
  target_compile_options(quillet_options INTERFACE ${zeroed})
else()
  check_cxx_compiler_flag("${zeroed} ${word}" QUILLET_HAS_AUTO_VAR_INIT_WORD)
  if(QUILLET_HAS_AUTO_VAR_INIT_WORD)
    target_compile_options(quillet_options INTERFACE ${zeroed} ${word})
  endif()
endif()
if(NOT APPLE)
  # Not for macOS, where one compilation may be for two processors.
  check_cxx_compiler_flag(-fcf-protection=full QUILLET_HAS_CF_PROTECTION)
  if(QUILLET_HAS_CF_PROTECTION)
    target_compile_options(quillet_options INTERFACE -fcf-protection=full)
  endif()
  target_link_options(quillet_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)
endif()

if(QUILLET_SANITIZERS)
  target_compile_options(quillet_options INTERFACE
    -fsanitize=${QUILLET_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quillet_options INTERFACE -fsanitize=${QUILLET_SANITIZERS})
elseif(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  # Needs optimisation, which what is compiled quickly goes without.
  target_compile_options(quillet_options INTERFACE
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:QUILLET_QUICK>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>)
endif()
if(QUILLET_FUZZ)
  target_compile_options(quillet_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(QUILLET_COVERAGE)
  target_compile_options(quillet_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quillet_options INTERFACE --coverage)
endif()

# quillet_compile_small(TARGETS...): for code that waits for people, cards and networks. What works
# through the bytes of a document is in other targets.
function(quillet_compile_small)
  if(NOT QUILLET_SANITIZERS AND NOT QUILLET_COVERAGE)
    foreach(target ${ARGN})
      target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Os>)
    endforeach()
  endif()
endfunction()
