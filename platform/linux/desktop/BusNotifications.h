// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <QString>

namespace platform {

/// Hands a notification to the desktop's service (Desktop Notifications 1.2) and
/// does not wait for it. The texts are shown as they stand: where the service reads markup, theirs
/// is escaped. Without a service nothing happens.
void showOnDesktop(const NSUserNotification& notification, const QString& iconName);

} // namespace platform
