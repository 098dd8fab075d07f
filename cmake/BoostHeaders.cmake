# SPDX-License-Identifier: MIT
# Boost.JSON compiled from its headers alone, so that Boost need not be built.
find_path(QUILLET_BOOST_INCLUDE boost/json/src.hpp REQUIRED)
add_library(quillet_boost STATIC cmake/BoostSources.cpp)
target_include_directories(quillet_boost SYSTEM PUBLIC ${QUILLET_BOOST_INCLUDE})
add_library(Boost::json ALIAS quillet_boost)
