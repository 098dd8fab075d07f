// SPDX-License-Identifier: MIT
// A headless Chromium, driven by chromedriver (W3C WebDriver). What waits, waits a minute at most
// and then throws std::runtime_error; so does whatever fails.
#pragma once

#include "tests/e2e/AgentProcess.h"

#include <boost/json/object.hpp>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

class Browser {
public:
    /// `home` holds the database of trusted authorities, the profile and the downloads.
    explicit Browser(const AgentHome& home);
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;
    ~Browser();

    void open(const std::string& address);
    void resize(int width, int height);
    void preferColors(const std::string& scheme); // "light" or "dark"
    void saveScreenshot(const std::filesystem::path& path);

    /// Elements are named by CSS selectors. A hidden element has no text.
    std::string text(const std::string& selector);
    std::string attribute(const std::string& selector, const std::string& name);
    /// As assistive technology sees it.
    std::string role(const std::string& selector);
    std::string label(const std::string& selector);
    bool isShown(const std::string& selector);
    bool isEnabled(const std::string& selector);
    std::size_t count(const std::string& selector);
    void click(const std::string& selector);
    void type(const std::string& selector, const std::string& keys);
    /// Presses keys where the focus is, and tells the identifier of the element that has it then.
    std::string press(const std::string& keys);

    void waitForText(const std::string& selector, const std::string& part);
    void waitUntilEnabled(const std::string& selector);
    /// The value of a JavaScript function's body.
    boost::json::value run(const std::string& script);
    /// What the console holds, if it is an error.
    std::vector<std::string> consoleErrors();
    std::filesystem::path downloads() const { return m_downloads; }

    static constexpr const char* tab = "\xEE\x80\x84"; // U+E004
    static constexpr const char* enter = "\xEE\x80\x87"; // U+E007
    static constexpr const char* space = "\xEE\x80\x8D"; // U+E00D
    static constexpr const char* down = "\xEE\x80\x95"; // U+E015

private:
    boost::json::value call(
        const std::string& method, const std::string& path, const boost::json::object& body = {});
    std::string elementPath(const std::string& selector);

    std::filesystem::path m_downloads;
    AgentProcess m_driver;
    std::string m_port;
    std::string m_session; // path
};
