// SPDX-License-Identifier: MIT
// The desktop shell's own classes, inside the test's process and on Qt's display without a screen.
#include "platform/Trust.h"
#include "platform/linux/desktop/AlertDialog.h"
#include "platform/linux/desktop/BusNotifications.h"
#include "platform/linux/desktop/PasswordDialog.h"
#include "platform/linux/desktop/QtApplication.h"
#include "platform/linux/desktop/QtMainLoop.h"
#include "platform/linux/desktop/StatusWindow.h"
#include "platform/linux/desktop/TextBlock.h"

#include <QAccessible>
#include <QDeadlineTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTimer>
#include <chrono>
#include <gmock/gmock.h>
#include <thread>

using namespace platform;

namespace {

class Widgets : public testing::Test {
protected:
    Widgets()
        : m_application(QStringLiteral("com.quillet.Test"), "offscreen", [this] { ++quits; }) { }

    int quits = 0;

private:
    QtApplication m_application;
};

std::string textOf(const QWidget& widget) {
    return widget.findChild<QPlainTextEdit*>()->toPlainText().toStdString();
}

} // namespace

TEST_F(Widgets, StatusViewKeepsTheLastTenThousandLines) {
    StatusWindow window([] {});
    for (int i = 0; i < 10'003; ++i) {
        window.append(std::to_string(i) + "\n");
    }
    const std::string text = textOf(window);
    EXPECT_TRUE(text.starts_with("3\n4\n")) << text.substr(0, 20);
    EXPECT_TRUE(text.ends_with("\n10002\n"));
}

TEST_F(Widgets, WindowHoldsNothingButTheStatusView) {
    StatusWindow window([] {});
    const auto* const view = qobject_cast<QPlainTextEdit*>(window.centralWidget());
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(view->isReadOnly());
    window.show();
    for (const QWidget* widget : window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        EXPECT_EQ(widget, view) << widget->metaObject()->className();
    }
}

TEST_F(Widgets, ServerIsNamedInTheTitleAndByThePasswordDialog) {
    StatusWindow window([] {});
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Quillet"));
    window.showServer("sign.example:8443");
    EXPECT_EQ(window.windowTitle(), QStringLiteral("sign.example:8443 - Quillet"));
    EXPECT_EQ(window.accessibleName(), window.windowTitle());
    window.showServer("");
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Quillet"));

    const auto wordsOf = [](const PasswordDialog& dialog) {
        QStringList words;
        for (const QLabel* label : dialog.findChildren<QLabel*>()) {
            words << label->text();
        }
        return words;
    };
    const auto asker = QStringLiteral("For the server sign.example:8443");
    const PasswordDialog named("token", {"", "", "sign.example:8443"}, false, nullptr);
    EXPECT_TRUE(wordsOf(named).contains(asker));
    EXPECT_EQ(named.accessibleDescription(), asker);
    const PasswordDialog unnamed("token", {}, false, nullptr);
    EXPECT_FALSE(wordsOf(unnamed).join(QChar()).contains(QStringLiteral("server")));
}

TEST_F(Widgets, PasswordDialogTellsScreenReadersWhatItIsForAndThatTheLastOneWasWrong) {
    const PasswordDialog dialog(
        "token", {"Signing <b>document</b>", "Anna Example, NL", "sign.example"}, true, nullptr);
    EXPECT_EQ(dialog.accessibleName(), QStringLiteral("Password of \"token\""));
    EXPECT_EQ(dialog.accessibleDescription(),
        QStringLiteral("That password is wrong.\nSigning <b>document</b>\n"
                       "With the certificate of Anna Example, NL\n"
                       "For the server sign.example"));
    EXPECT_EQ(textOf(dialog), "With the certificate of Anna Example, NL");
    QStringList words;
    for (const QLabel* label : dialog.findChildren<QLabel*>()) {
        EXPECT_TRUE(label->text().isEmpty() || label->textFormat() == Qt::PlainText);
        words << label->text();
    }
    EXPECT_TRUE(words.contains(QStringLiteral("Signing <b>document</b>")));
}

TEST_F(Widgets, StatusViewFollowsItsLastLineUnlessTheUserHasScrolledUp) {
    StatusWindow window([] {});
    window.show();
    const auto* view = window.findChild<QPlainTextEdit*>();
    QScrollBar* bar = view->verticalScrollBar();
    for (int i = 0; i < 100; ++i) {
        window.append("line\n");
    }
    EXPECT_GT(bar->maximum(), 0);
    EXPECT_EQ(bar->value(), bar->maximum());
    bar->setValue(10);
    window.append("line\n");
    EXPECT_EQ(bar->value(), 10);
    bar->setValue(bar->maximum());
    window.append("line\n");
    EXPECT_EQ(bar->value(), bar->maximum());
}

TEST_F(Widgets, StatusViewShowsTextAsItStands) {
    StatusWindow window([] {});
    window.append("<b>bold</b> &amp;\n");
    window.append(std::string_view("a\0b\xFF\n", 5));
    EXPECT_EQ(textOf(window),
        "<b>bold</b> &amp;\na\xEF\xBF\xBD"
        "b\xEF\xBF\xBD\n");
}

TEST_F(Widgets, AQuestionOfTrustIsRefusedByDefaultAndAgreedToOnlyAfterAWhile) {
    const NSAlert alert{"m", "d", NSAlertStyle::warning, {"Allow", "Refuse"}};
    AlertDialog dialog(alert, nullptr);
    dialog.guard();
    const auto buttons = dialog.findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 2);
    EXPECT_FALSE(buttons[0]->isEnabled());
    EXPECT_FALSE(buttons[0]->isDefault());
    EXPECT_FALSE(buttons[0]->autoDefault());
    EXPECT_TRUE(buttons[1]->isEnabled());
    EXPECT_TRUE(buttons[1]->isDefault());
    EXPECT_EQ(dialog.focusWidget(), buttons[1]);
    const auto begun = std::chrono::steady_clock::now();
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        buttons[0]->click(); // does nothing while it is not enabled
    });
    watch.start(10);
    EXPECT_EQ(dialog.run(), NSAlertFirstButtonReturn);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, guardedFor);
}

TEST_F(Widgets, AQuestionOfTrustThatComesToTheFrontAgainIsNotAgreedToAtOnce) {
    const auto served = [](const auto& condition) {
        for (const QDeadlineTimer limit(20'000); !condition() && !limit.hasExpired();) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        }
        return condition();
    };
    const NSAlert alert{"m", "d", NSAlertStyle::warning, {"Allow", "Refuse"}};
    AlertDialog dialog(alert, nullptr);
    dialog.guard();
    const QPushButton* const allow = dialog.findChildren<QPushButton*>().at(0);
    dialog.show();
    ASSERT_TRUE(served([&] { return allow->isEnabled(); }));
    QWidget above;
    above.show();
    above.activateWindow();
    ASSERT_TRUE(served([&] { return above.isActiveWindow(); }));
    EXPECT_TRUE(allow->isEnabled());
    dialog.activateWindow();
    ASSERT_TRUE(served([&] { return dialog.isActiveWindow(); }));
    EXPECT_FALSE(allow->isEnabled());
    ASSERT_TRUE(served([&] { return allow->isEnabled(); }));
    dialog.hide();
    dialog.show();
    EXPECT_FALSE(allow->isEnabled());
}

TEST_F(Widgets, EveryTextOfADialogIsPlain) {
    NSAlert alert{"<b>m</b>", "<i>d</i>", NSAlertStyle::critical, {"<u>b</u>"}};
    AlertDialog dialog(alert, nullptr);
    PasswordDialog password("<b>token</b>", {"<b>step</b>", "", "<b>host</b>"}, true, nullptr);
    for (const QDialog* each : {static_cast<QDialog*>(&dialog), static_cast<QDialog*>(&password)}) {
        for (const QLabel* label : each->findChildren<QLabel*>()) {
            EXPECT_TRUE(label->text().isEmpty() || label->textFormat() == Qt::PlainText);
        }
    }
    const auto blocks = dialog.findChildren<QPlainTextEdit*>();
    ASSERT_EQ(blocks.size(), 2);
    EXPECT_EQ(blocks[0]->toPlainText().toStdString(), "<b>m</b>");
    EXPECT_EQ(blocks[1]->toPlainText().toStdString(), "<i>d</i>");
}

TEST_F(Widgets, WindowKeepsRoomForSomeLines) {
    StatusWindow window([] {});
    window.show();
    window.resize(1, 1);
    EXPECT_GT(window.height(), 4 * window.fontMetrics().lineSpacing());
    EXPECT_GT(window.width(), 20 * window.fontMetrics().averageCharWidth());
}

TEST_F(Widgets, AlertsBesideOthersLieElsewhereOnTheScreenAndTellTheServer) {
    StatusWindow window([] {});
    window.setWindowTitle(QStringLiteral("sign.example.org - Quillet"));
    const NSAlert alert{"message", "details", NSAlertStyle::critical, {}};
    std::vector<QPoint> places;
    for (int place = 0; place < 4; ++place) {
        AlertDialog dialog(alert, &window);
        dialog.standApart(place, "023174");
        EXPECT_EQ(dialog.windowTitle(),
            place > 0 ? QStringLiteral("Room code 023174, sign.example.org - Quillet")
                      : QStringLiteral("Quillet"));
        dialog.show();
        EXPECT_TRUE(dialog.screen()->availableGeometry().contains(dialog.geometry()));
        EXPECT_TRUE(std::find(places.begin(), places.end(), dialog.pos()) == places.end());
        places.push_back(dialog.pos());
    }
}

TEST_F(Widgets, AlertOfAnAgentWithoutARoomTellsTheServerAlone) {
    StatusWindow window([] {});
    window.setWindowTitle(QStringLiteral("sign.example.org - Quillet"));
    AlertDialog dialog({"message", "details", NSAlertStyle::critical, {}}, &window);
    dialog.standApart(1, "");
    EXPECT_EQ(dialog.windowTitle(), window.windowTitle());
}

TEST_F(Widgets, SubjectOfACertificateCannotSpreadThePasswordDialog) {
    PasswordDialog shortOne("token", {"", "Anna", ""}, false, nullptr);
    PasswordDialog longOne("token", {"", std::string(100'000, 'W'), ""}, false, nullptr);
    EXPECT_EQ(longOne.sizeHint().width(), shortOne.sizeHint().width());
    EXPECT_LT(longOne.sizeHint().height(), 2 * shortOne.sizeHint().height());
    EXPECT_LT(longOne.accessibleDescription().size(), 1000);
}

TEST_F(Widgets, LongDetailsScrollAndShortOnesDoNot) {
    const TextBlock little(QStringLiteral("one line"), QFont(), 400, 300);
    const TextBlock much(QStringLiteral("word ").repeated(100'000), QFont(), 400, 300);
    EXPECT_EQ(little.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(much.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_LE(much.height(), 300);
}

TEST_F(Widgets, EndlessTextIsCut) {
    const std::string text(std::size_t{64} << 20, 'x');
    AlertDialog dialog({text, text, NSAlertStyle::critical, {}}, nullptr);
    const std::string shown = textOf(dialog);
    EXPECT_TRUE(shown == text.substr(0, TextBlock::mostCharacters) + "\n[...]\n");
}

TEST_F(Widgets, PartsAreNamedForScreenReaders) {
    StatusWindow window([] {});
    EXPECT_EQ(window.findChild<QPlainTextEdit*>()->accessibleName().toStdString(), "Status");
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&window)->role(), QAccessible::Window);
    AlertDialog alert({"message", "details", NSAlertStyle::critical, {}}, nullptr);
    EXPECT_EQ(alert.accessibleName().toStdString(), "message");
    EXPECT_EQ(alert.accessibleDescription().toStdString(), "details");
    PasswordDialog password("token", {}, false, nullptr);
    EXPECT_EQ(
        password.findChild<QLineEdit*>()->accessibleName().toStdString(), "Password of \"token\"");
}

TEST_F(Widgets, PasswordLeavesTheDialogAndNothingStaysInIt) {
    PasswordDialog dialog("token", {}, false, nullptr);
    auto* edit = dialog.findChild<QLineEdit*>();
    EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
    QTimer::singleShot(0, &dialog, [&] {
        edit->insert(QString::fromUtf8("p\u00e4ss"));
        dialog.accept();
    });
    std::string password;
    EXPECT_TRUE(dialog.run(password));
    EXPECT_EQ(password, "p\xC3\xA4ss");
    EXPECT_EQ(edit->text(), QString(4, QChar(0)));
}

TEST_F(Widgets, CancelledPasswordIsNotHandedOut) {
    PasswordDialog dialog("token", {}, false, nullptr);
    QTimer::singleShot(0, &dialog, [&] {
        dialog.findChild<QLineEdit*>()->insert(QString::fromUtf8("secret"));
        dialog.reject();
    });
    std::string password;
    EXPECT_FALSE(dialog.run(password));
    EXPECT_EQ(password, "");
}

TEST_F(Widgets, EmptyPasswordCannotBeGiven) {
    PasswordDialog dialog("token", {}, false, nullptr);
    const auto* unlock = dialog.findChild<QPushButton*>();
    EXPECT_FALSE(unlock->isEnabled());
    dialog.findChild<QLineEdit*>()->setText(QStringLiteral("x"));
    EXPECT_TRUE(unlock->isEnabled());
}

TEST_F(Widgets, MainLoopWaitsForAWakeFromAnyThreadAndNoneIsLost) {
    QtMainLoop loop([] {});
    loop.wake();
    loop.wait();
    int served = 0;
    std::thread other([&] {
        for (int i = 0; i < 1000; ++i) {
            loop.wake();
        }
    });
    QTimer::singleShot(0, qApp, [&] { ++served; });
    loop.wait();
    other.join();
    loop.wake();
    loop.wait();
    loop.serve();
    EXPECT_EQ(served, 1);
}

TEST_F(Widgets, EndOfTheDesktopsSessionIsToldAndLeavesTheLoopUsable) {
    QtMainLoop loop([] {});
    bool isWaitOver = false;
    QTimer::singleShot(0, qApp, [&] {
        QEvent quit(QEvent::Quit);
        QCoreApplication::sendEvent(qApp, &quit);
        EXPECT_EQ(quits, 1);
        QTimer::singleShot(0, qApp, [&] {
            EXPECT_FALSE(isWaitOver);
            loop.wake();
        });
    });
    loop.wait();
    isWaitOver = true;
    EXPECT_EQ(quits, 1);
}
