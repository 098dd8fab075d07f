# SPDX-License-Identifier: MIT
# Libraries, each linked by the rooms that wrap it.
find_package(Threads REQUIRED)
if(APPLE)
  return() # all that is linked is the system's
endif()
find_package(Boost 1.81 REQUIRED CONFIG COMPONENTS json)
find_package(OpenSSL 3 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(NSS REQUIRED IMPORTED_TARGET nss)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  pkg_check_modules(P11KIT REQUIRED IMPORTED_TARGET p11-kit-1)
endif()
if(QUILLET_DESKTOP AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
  find_package(Qt6 REQUIRED COMPONENTS Widgets DBus)
  pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb)
endif()
pkg_check_modules(QPDF REQUIRED IMPORTED_TARGET libqpdf)
pkg_check_modules(XMLSEC REQUIRED IMPORTED_TARGET xmlsec1-openssl)
pkg_check_modules(EXPAT REQUIRED IMPORTED_TARGET expat)

# Asio and Beast are compiled once here instead of in every file that includes them.
add_library(quillet_asio STATIC cmake/AsioBeast.cpp)
# Much of them is used by none of the programs that are linked to it.
target_compile_options(quillet_asio PRIVATE -ffunction-sections -fdata-sections)
target_compile_definitions(quillet_asio PUBLIC
  BOOST_ASIO_SEPARATE_COMPILATION BOOST_BEAST_SEPARATE_COMPILATION
  BOOST_ASIO_NO_DEPRECATED BOOST_BEAST_USE_STD_STRING_VIEW BOOST_DISABLE_PRAGMA_MESSAGE)
target_link_libraries(quillet_asio
  PUBLIC Boost::headers OpenSSL::SSL OpenSSL::Crypto Threads::Threads
  PRIVATE quillet_options)
if(QUILLET_FUZZ) # something else
  set_source_files_properties(cmake/AsioBeast.cpp PROPERTIES COMPILE_OPTIONS "-fno-sanitize=all;-O0")
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND QUILLET_SANITIZERS MATCHES "undefined")
  # clang 14 cannot assemble coroutines with this check ("difference across sections").
  target_compile_options(quillet_asio PUBLIC -fno-sanitize=function)
endif()
