# SPDX-License-Identifier: MIT
# Tests are compiled once and run once: what matters is the time of the compiler. So they are not
# optimised, and the headers that many of them include are compiled once. The code under test is
# compiled as it is shipped. Only for GCC: other builds look for something else than speed.
# In batches, for a build from nothing, clang compiles the tests, in half of GCC's time, but for what
# speaks to Asio (QUILLET_OWN_COMPILER), some of whose functions have other names for clang.
set(QUILLET_QUICK_TESTS OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT QUILLET_SANITIZERS AND NOT QUILLET_COVERAGE)
  set(QUILLET_QUICK_TESTS ON)
  if(QUILLET_BATCHES)
    find_program(QUILLET_QUICK_COMPILER clang++-19)
  endif()
endif()
set(QUILLET_QUICK_LAUNCHER ${CMAKE_CURRENT_LIST_DIR}/quick-compiler.sh)

# quillet_compile_quickly(DIRECTORY): no optimisation for the targets of a folder and those below it.
function(quillet_compile_quickly directory)
  if(NOT QUILLET_QUICK_TESTS)
    return()
  endif()
  get_property(targets DIRECTORY ${directory} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    if(NOT type STREQUAL "UTILITY" AND NOT type STREQUAL "INTERFACE_LIBRARY")
      set_target_properties(${target} PROPERTIES QUILLET_QUICK ON)
      target_compile_options(${target} PRIVATE -O0)
      get_target_property(own ${target} QUILLET_OWN_COMPILER)
      if(QUILLET_QUICK_COMPILER AND NOT own)
        set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER
          "${QUILLET_QUICK_LAUNCHER};${QUILLET_QUICK_COMPILER};${CMAKE_CXX_COMPILER_LAUNCHER}"
          CXX_LINKER_LAUNCHER "${QUILLET_QUICK_LAUNCHER};${QUILLET_QUICK_COMPILER}")
      endif()
    endif()
  endforeach()
  get_property(folders DIRECTORY ${directory} PROPERTY SUBDIRECTORIES)
  foreach(folder ${folders})
    quillet_compile_quickly(${folder})
  endforeach()
endfunction()

# quillet_common_headers(NAME HEADERS ... LIBRARIES ...): the headers of the test framework and further
# ones, compiled once for the programs that reuse them. A program, since a library is compiled with
# other options.
function(quillet_common_headers name)
  if(NOT QUILLET_QUICK_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "HEADERS;LIBRARIES" ${ARGN})
  file(CONFIGURE OUTPUT ${name}.cpp CONTENT "int main() { return 0; }\n")
  add_executable(${name} ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  target_link_libraries(${name} PRIVATE quillet_options ${ARG_LIBRARIES} GTest::gmock)
  target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h> <algorithm> <chrono>
    <filesystem> <fstream> <functional> <map> <memory> <optional> <string> <string_view> <thread>
    <variant> <vector> ${ARG_HEADERS})
endfunction()

# quillet_reuse_headers(TARGET NAME): if they are compiled in this build.
function(quillet_reuse_headers target name)
  if(TARGET ${name})
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()
