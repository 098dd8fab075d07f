// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// Opens /dev/null for each of standard input, output and error that the program was started
/// without, lest a connection or a database get its number, and what is written there with it. To
/// be called before anything is opened.
void openStandardStreams();

} // namespace platform
