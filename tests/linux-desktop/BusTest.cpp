// SPDX-License-Identifier: MIT
// What the desktop shell's classes say and hear on the session bus, inside the test's process.
#include "platform/linux/desktop/AlertPlace.h"
#include "platform/linux/desktop/Appearance.h"
#include "platform/linux/desktop/BusNotifications.h"
#include "platform/linux/desktop/QtApplication.h"
#include "tests/e2e/AgentProcess.h"
#include "tests/linux-desktop/SessionBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QPalette>
#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <sstream>

namespace json = boost::json;
using namespace std::chrono_literals;

namespace {

/// Qt knows one session bus in the life of a process.
struct Surroundings {
    Surroundings() {
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        setenv("XDG_CONFIG_HOME", configuration().c_str(), 1);
        unsetenv("GTK_THEME");
    }
    std::filesystem::path configuration() const { return home.path() / "config"; }

    AgentHome home;
    SessionBus bus{home.path(), home.path() / "home", home.environment()};
};

class OnBus : public testing::Test {
protected:
    static Surroundings& surroundings() {
        static Surroundings all;
        return all;
    }

    OnBus() {
        surroundings();
        m_application = std::make_unique<platform::QtApplication>(
            QStringLiteral("com.quillet.Test"), "offscreen", [] {});
    }

    template <typename Condition>
    static bool eventuallyServed(
        const Condition& condition, std::chrono::milliseconds time = AgentProcess::limit) {
        const auto served = [&] {
            QCoreApplication::processEvents();
            return condition();
        };
        return eventually(served, time);
    }

private:
    std::unique_ptr<platform::QtApplication> m_application;
};

class Notification : public OnBus {
protected:
    void startService(const std::vector<std::string>& capabilities) {
        const std::map<std::string, std::string> onBus{
            {"DBUS_SESSION_BUS_ADDRESS", surroundings().bus.address()}};
        m_service = std::make_unique<AgentProcess>(
            surroundings().home, capabilities, onBus, QUILLET_NOTIFICATION_SERVICE);
        m_service->waitForOutput("ready\n");
    }

    /// What the service was asked to show so far.
    std::vector<json::value> shown() {
        std::vector<json::value> values;
        std::istringstream lines(m_service->output().substr(6));
        for (std::string line; std::getline(lines, line);) {
            values.push_back(json::parse(line));
        }
        return values;
    }

    /// What a service with these capabilities gets to show.
    json::value shownBy(const std::vector<std::string>& capabilities) {
        startService(capabilities);
        platform::BusNotifications notifications(QStringLiteral("com.quillet.Test"));
        notifications.show({"<b>title</b> &amp;", "<i>body</i> & \"more\""});
        eventuallyServed([&] { return !shown().empty(); });
        return shown().at(0);
    }

    static std::string titleOf(const json::value& shown) {
        return json::value_to<std::string>(shown.at("title"));
    }

private:
    std::unique_ptr<AgentProcess> m_service;
};

/// The settings that a desktop tells.
class Portal : public QDBusVirtualObject {
public:
    explicit Portal(uint colorScheme)
        : m_colorScheme(colorScheme) { }
    bool wasAsked = false;
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        wasAsked = true;
        const QVariant inner = QVariant::fromValue(QDBusVariant(m_colorScheme));
        return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(inner))));
    }

private:
    uint m_colorScheme;
};

class DarkOrLight : public OnBus, public testing::WithParamInterface<std::pair<uint, bool>> { };

} // namespace

TEST_F(Notification, MarkupIsEscapedForAServiceThatReadsIt) {
    EXPECT_EQ(shownBy({"body", "body-markup"}),
        (json::value{{"application", "Quillet"}, {"replaces", 0}, {"icon", "com.quillet.Test"},
            {"title", "<b>title</b> &amp;"},
            {"body", "&lt;i&gt;body&lt;/i&gt; &amp; &quot;more&quot;"}}));
}

TEST_F(Notification, MarkupStaysAsItIsForAServiceThatDoesNot) {
    EXPECT_EQ(shownBy({"body"}).at("body"), "<i>body</i> & \"more\"");
}

TEST_F(Notification, FurtherOneReplacesTheOneBefore) {
    startService({"body"});
    platform::BusNotifications notifications(QStringLiteral("com.quillet.Test"));
    EXPECT_FALSE(notifications.hasShown());
    for (const std::size_t count : {1U, 2U, 3U}) {
        notifications.show({std::to_string(count), "body"});
        ASSERT_TRUE(eventuallyServed([&] { return shown().size() == count; }));
        EXPECT_EQ(titleOf(shown().back()), std::to_string(count));
        EXPECT_EQ(shown().back().at("replaces").as_int64(), count == 1 ? 0 : 7);
    }
    EXPECT_TRUE(notifications.hasShown());
}

TEST_F(Notification, ManyAtOnceDoNotPileUp) {
    startService({"body"});
    platform::BusNotifications notifications(QStringLiteral("com.quillet.Test"));
    for (int i = 0; i < 20'000; ++i) {
        notifications.show({std::to_string(i), "body"});
    }
    ASSERT_TRUE(
        eventuallyServed([&] { return !shown().empty() && titleOf(shown().back()) == "19999"; }));
    EXPECT_EQ(shown().size(), 1U);
}

TEST_F(Notification, LastOneIsToldBeforeItsOwnerGoes) {
    startService({"body"});
    {
        platform::BusNotifications notifications(QStringLiteral("com.quillet.Test"));
        notifications.show({"first", "body"});
        notifications.show({"last", "body"});
    }
    // Nothing is served from here on; only the service's own output takes its time.
    ASSERT_TRUE(eventually([&] { return !shown().empty(); }));
    EXPECT_EQ(shown().size(), 1U);
    EXPECT_EQ(titleOf(shown().back()), "last");
}

TEST_P(DarkOrLight, AppearanceIsThatOfTheDesktop) {
    const auto [colorScheme, isDark] = GetParam();
    Portal portal(colorScheme);
    QDBusConnection connection
        = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("portal"));
    ASSERT_TRUE(connection.registerVirtualObject(
        QStringLiteral("/org/freedesktop/portal/desktop"), &portal));
    ASSERT_TRUE(connection.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    const platform::Appearance appearance;
    const auto isDarkNow
        = [] { return QApplication::palette().color(QPalette::Window).lightness() < 128; };
    EXPECT_TRUE(eventuallyServed([&] { return portal.wasAsked; }));
    // Light is what it was before: watched for a while.
    const std::chrono::milliseconds time = isDark ? AgentProcess::limit : 300ms;
    EXPECT_EQ(eventuallyServed(isDarkNow, time), isDark);
    connection.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    connection.unregisterObject(QStringLiteral("/org/freedesktop/portal/desktop"));
}

TEST_F(OnBus, DarkThemesOfXfceAndGtkAreFoundWhereTheyAreKept) {
    const auto isDark = [](const std::string& file, const std::string& content) {
        const auto folder = surroundings().configuration();
        writeFile(folder / file, content);
        const bool dark
            = platform::Appearance::isDarkChosenIn(QString::fromStdString(folder.string()));
        std::filesystem::remove_all(folder);
        return dark;
    };
    const std::string xfce = "xfce4/xfconf/xfce-perchannel-xml/xsettings.xml";
    const auto xfceTheme = [](const std::string& name) {
        return "<?xml version=\"1.0\"?><channel name=\"xsettings\" version=\"1.0\">"
               "<property name=\"Net\" type=\"empty\"><property name=\"ThemeName\" "
               "type=\"string\" value=\""
            + name + "\"/></property></channel>";
    };
    EXPECT_TRUE(isDark(xfce, xfceTheme("Adwaita-dark")));
    EXPECT_TRUE(isDark(xfce, xfceTheme("Greybird-Dark")));
    EXPECT_FALSE(isDark(xfce, xfceTheme("Greybird")));
    EXPECT_FALSE(isDark(xfce, "no XML"));
    EXPECT_TRUE(
        isDark("gtk-3.0/settings.ini", "[Settings]\ngtk-application-prefer-dark-theme=1\n"));
    EXPECT_TRUE(
        isDark("gtk-4.0/settings.ini", "[Settings]\ngtk-application-prefer-dark-theme=true\n"));
    EXPECT_TRUE(isDark("gtk-3.0/settings.ini", "[Settings]\ngtk-theme-name=Adwaita-dark\n"));
    EXPECT_FALSE(isDark("gtk-3.0/settings.ini",
        "[Settings]\ngtk-theme-name=Adwaita\ngtk-application-prefer-dark-theme=0\n"));
}

TEST_F(OnBus, AlertsOfAgentsHavePlacesOfTheirOwnAndFreeOnesAreTakenAgain) {
    const QString identifier = QStringLiteral("com.quillet.Test");
    // Another agent's alert; a process may take a name of its own twice.
    QDBusConnection other
        = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("other"));
    ASSERT_TRUE(other.registerService(identifier + QStringLiteral(".Alert0")));
    EXPECT_EQ(platform::AlertPlace(identifier).number(), 1);
    EXPECT_EQ(platform::AlertPlace(identifier).number(), 1);
    ASSERT_TRUE(other.unregisterService(identifier + QStringLiteral(".Alert0")));
    EXPECT_EQ(platform::AlertPlace(identifier).number(), 0);
}

INSTANTIATE_TEST_SUITE_P(ColorSchemes, DarkOrLight,
    testing::Values(std::pair(0U, false), std::pair(1U, true), std::pair(2U, false)));
