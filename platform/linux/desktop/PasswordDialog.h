// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <string>

class QLineEdit;

namespace platform {

/// What a password is needed for; each may be empty.
struct PasswordReason {
    std::string step; ///< of the session, in the words in which the user was told of it
    std::string certificate; ///< that signs, by its subject
    std::string server; ///< who asks for it
};

/// Asks for the password of a token. What is typed is hidden.
class PasswordDialog final : public QDialog {
public:
    /// `again` says that the last password was wrong.
    PasswordDialog(
        const std::string& tokenName, const PasswordReason& reason, bool again, QWidget* parent);

    /// Blocks until the user answers. False, and nothing in `password`, when the user cancels.
    /// Overwrites the copies of the text that Qt keeps, as far as they can be reached.
    bool run(std::string& password);

private:
    QLayout* textsOf(const QString& question, const PasswordReason& reason, bool again);
    QLayout* buttons();

    QLineEdit* m_edit;
};

} // namespace platform
