// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Whether the text is what an XML signature signs: one SignedInfo element of XML-Signature in its
/// canonical form, with its methods and at least one reference, and nothing before or after it.
bool isSignedInfo(std::string_view text);
