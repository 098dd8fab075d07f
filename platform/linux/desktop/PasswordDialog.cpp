// SPDX-License-Identifier: MIT
#include "platform/linux/desktop/PasswordDialog.h"

#include "platform/linux/desktop/AlertDialog.h"
#include "platform/linux/desktop/DialogLayout.h"
#include "platform/linux/desktop/TextBlock.h"

#include <QApplication>
#include <QBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <cstring>

namespace platform {

namespace {

constexpr qsizetype longestSubject = 500; // for a screen reader, too

/// Moves the text out of the line edit, into `password`, and overwrites what is left of it.
void takeText(QLineEdit& edit, std::string& password) {
    const QString text = edit.text(); // shares its characters with the line edit
    QByteArray bytes = text.toUtf8();
    password.assign(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    explicit_bzero(bytes.data(), static_cast<std::size_t>(bytes.size()));
    // Written through on purpose, so that the line edit's own copy goes too.
    explicit_bzero(const_cast<QChar*>(text.constData()),
        static_cast<std::size_t>(text.size()) * sizeof(QChar));
}

QLabel* plainLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

PasswordDialog::PasswordDialog(
    const std::string& tokenName, const PasswordReason& reason, bool again, QWidget* parent)
    : QDialog(parent)
    , m_edit(new QLineEdit) {
    const QString question = tr("Password of \"%1\"").arg(TextBlock::fromUtf8(tokenName));
    setWindowTitle(QApplication::applicationDisplayName());
    setAccessibleName(question);

    layOut(*this, QApplication::windowIcon(), textsOf(question, reason, again), buttons());
    m_edit->setFocus();
}

/// The explanation, and what is typed.
QLayout* PasswordDialog::textsOf(
    const QString& question, const PasswordReason& reason, bool again) {
    auto* texts = new QVBoxLayout;
    texts->setSpacing(8);
    QStringList description; // what a screen reader says besides the question
    if (again) {
        QLabel* wrong = plainLabel(tr("That password is wrong."));
        description << wrong->text();
        QFont bold = wrong->font();
        bold.setBold(true);
        wrong->setFont(bold);
        texts->addWidget(wrong);
    }
    texts->addWidget(plainLabel(question));
    const int width = fontMetrics().averageCharWidth() * 44;
    if (!reason.step.empty()) {
        description << TextBlock::fromUtf8(reason.step);
        texts->addWidget(plainLabel(description.last()));
    }
    if (!reason.certificate.empty()) { // whose issuer chose the text, and its length
        description << tr("With the certificate of %1")
                           .arg(TextBlock::fromUtf8(reason.certificate).left(longestSubject));
        const int height = fontMetrics().lineSpacing() * 5;
        texts->addWidget(new TextBlock(description.last(), font(), width, height));
    }
    if (!reason.server.empty()) {
        description << tr("For the server %1").arg(TextBlock::fromUtf8(reason.server));
        texts->addWidget(plainLabel(description.last()));
    }
    setAccessibleDescription(description.join(QLatin1Char('\n')));
    m_edit->setEchoMode(QLineEdit::Password);
    m_edit->setInputMethodHints(Qt::ImhSensitiveData | Qt::ImhHiddenText | Qt::ImhNoPredictiveText
        | Qt::ImhNoAutoUppercase);
    m_edit->setContextMenuPolicy(Qt::NoContextMenu);
    m_edit->setMinimumWidth(width);
    m_edit->setAccessibleName(question);
    texts->addWidget(m_edit);
    return texts;
}

QLayout* PasswordDialog::buttons() {
    auto* unlock = new QPushButton(tr("Unlock"));
    unlock->setDefault(true);
    unlock->setEnabled(false);
    auto* cancel = new QPushButton(tr("Cancel"));
    cancel->setAutoDefault(false);
    connect(m_edit, &QLineEdit::textChanged, unlock,
        [unlock](const QString& text) { unlock->setEnabled(!text.isEmpty()); });
    connect(unlock, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(unlock);
    buttons->addWidget(cancel);
    return buttons;
}

bool PasswordDialog::run(std::string& password) {
    const bool given = runInFront(*this) == QDialog::Accepted;
    takeText(*m_edit, password);
    if (!given) {
        explicit_bzero(password.data(), password.size());
        password.clear();
    }
    return given;
}

} // namespace platform
