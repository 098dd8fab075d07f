// SPDX-License-Identifier: MIT
#pragma once

#include <QDialog>
#include <string>

class QLineEdit;

namespace platform {

/// Asks for the password of a token. What is typed is hidden.
class PasswordDialog final : public QDialog {
public:
    /// `server` is who asks for what needs the password, and `step` what that is, in the words in
    /// which the user was told of it; both may be empty. `again` says that the last password was
    /// wrong.
    PasswordDialog(const std::string& tokenName, const std::string& server, bool again,
        QWidget* parent, const std::string& step = "");

    /// Blocks until the user answers. False, and nothing in `password`, when the user cancels.
    /// Overwrites the copies of the text that Qt keeps, as far as they can be reached.
    bool run(std::string& password);

private:
    QLineEdit* m_edit;
};

} // namespace platform
