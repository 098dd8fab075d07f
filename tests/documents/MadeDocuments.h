// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Writes documents that are hard to sign into a folder; how many.
int makeDocuments(const std::string& folder);
