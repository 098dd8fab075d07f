// SPDX-License-Identifier: MIT
// The compiled parts of Boost.JSON, where Boost has not been built.
#include <boost/json/src.hpp>
