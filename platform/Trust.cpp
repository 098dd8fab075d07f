// SPDX-License-Identifier: MIT
#include "platform/Trust.h"

#include "platform/Platform.h"

namespace platform {

Trust* trust() {
    return dynamic_cast<Trust*>(&current());
}

} // namespace platform
