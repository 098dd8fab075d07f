// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/DialogLayout.h"

#include <QBoxLayout>
#include <QDialog>
#include <QIcon>
#include <QLabel>

namespace platform {

void layOut(QDialog& dialog, const QIcon& icon, QLayout* texts, QLayout* buttons) {
    auto* picture = new QLabel;
    picture->setPixmap(icon.pixmap(48));
    auto* content = new QHBoxLayout;
    content->setSpacing(16);
    content->addWidget(picture, 0, Qt::AlignTop);
    content->addLayout(texts);
    auto* all = new QVBoxLayout(&dialog);
    all->setContentsMargins(20, 20, 20, 16);
    all->setSpacing(18);
    all->addLayout(content);
    all->addLayout(buttons);
    all->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace platform
