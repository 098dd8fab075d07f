// SPDX-License-Identifier: MIT
#pragma once

namespace platform {

/// From now on no core of this process is written, and other processes of the user cannot read its
/// memory: it may hold the password of a token, and what is signed. Programs that it starts are not
/// concerned.
void keepMemoryPrivate();

} // namespace platform
