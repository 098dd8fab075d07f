# SPDX-License-Identifier: MIT
# Boost.JSON and Boost.URL compiled from their headers alone, so that Boost need not be built. Newer
# versions of Boost.URL cannot be had that way; theirs is linked.
find_path(QUILLET_BOOST_INCLUDE boost/json/src.hpp REQUIRED)
add_library(quillet_boost STATIC cmake/BoostSources.cpp)
target_include_directories(quillet_boost SYSTEM PUBLIC ${QUILLET_BOOST_INCLUDE})
add_library(Boost::json ALIAS quillet_boost)
if(EXISTS ${QUILLET_BOOST_INCLUDE}/boost/url/src.hpp)
  add_library(Boost::url ALIAS quillet_boost)
else()
  find_package(Boost REQUIRED CONFIG COMPONENTS url)
endif()
