// SPDX-License-Identifier: MIT
// The compiled parts of Boost.JSON and Boost.URL, where Boost has not been built.
#include <boost/json/src.hpp>
#if __has_include(<boost/url/src.hpp>)
#include <boost/url/src.hpp>
#endif
