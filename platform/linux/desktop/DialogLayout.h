// SPDX-License-Identifier: MIT
#pragma once

class QDialog;
class QIcon;
class QLayout;

namespace platform {

/// How every dialog looks: an icon beside the texts, the buttons below; as large as these need.
void layOut(QDialog& dialog, const QIcon& icon, QLayout* texts, QLayout* buttons);

} // namespace platform
