// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Trust.h"
#include "platform/linux/net/HostName.h"

namespace platform::linux_ {

/// A host that is looked up, in the form in which hosts are compared.
NetworkHost networkHost(const HostName& host);

} // namespace platform::linux_
