// SPDX-License-Identifier: MIT
#include "tests/browser/Browser.h"

#include "devserver/crypto/Encoding.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstring>
#include <stdexcept>

namespace beast = boost::beast;
namespace http = beast::http;
namespace json = boost::json;
using boost::asio::ip::tcp;

namespace {

constexpr std::chrono::seconds limit{60};
constexpr const char* startedOnPort = "started successfully on port ";

std::string textOf(const json::value& value) {
    return value.is_string() ? std::string(value.get_string()) : "";
}

json::object capabilities(
    const std::filesystem::path& profile, const std::filesystem::path& downloads) {
    json::array arguments;
    for (const char* argument : {"--headless=new", "--no-sandbox", "--disable-gpu",
             "--disable-quic", "--no-first-run", "--disable-background-networking",
             "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage"}) {
        arguments.emplace_back(argument);
    }
    arguments.emplace_back("--user-data-dir=" + profile.string());
    const json::object options{{"args", std::move(arguments)},
        {"prefs", json::object{{"download.default_directory", downloads.string()}}}};
    const json::object browser{{"browserName", "chrome"}, {"goog:chromeOptions", options},
        {"goog:loggingPrefs", json::object{{"browser", "ALL"}}}};
    return {{"capabilities", json::object{{"alwaysMatch", browser}}}};
}

} // namespace

Browser::Browser(const AgentHome& home)
    : m_downloads(home.path() / "downloads")
    , m_driver(home, {"--port=0"}, {}, "/usr/bin/chromedriver") {
    std::filesystem::create_directories(m_downloads);
    if (!m_driver.waitForOutput(startedOnPort)
        || !eventually([&] { // the number is written after the words
               const std::string output = m_driver.output();
               const std::size_t start = output.find(startedOnPort) + std::strlen(startedOnPort);
               const std::size_t end = output.find('.', start);
               m_port = end == std::string::npos ? "" : output.substr(start, end - start);
               return !m_port.empty();
           })) {
        throw std::runtime_error("chromedriver: " + m_driver.output());
    }
    const json::value session
        = call("POST", "/session", capabilities(home.path() / "profile", m_downloads));
    m_session = "/session/" + textOf(session.at("sessionId"));
}

Browser::~Browser() {
    try {
        call("DELETE", m_session); // ends the browser; chromedriver's own end would not
    } catch (const std::exception&) { }
}

json::value Browser::call(
    const std::string& method, const std::string& path, const json::object& body) {
    boost::asio::io_context io;
    beast::tcp_stream stream(io);
    stream.expires_after(limit);
    stream.connect(
        {boost::asio::ip::address_v4::loopback(), static_cast<std::uint16_t>(std::stoi(m_port))});
    http::request<http::string_body> request;
    request.method_string(method);
    request.target(path);
    request.set(http::field::host, "localhost:" + m_port);
    request.set(http::field::content_type, "application/json");
    request.body() = method == "POST" ? json::serialize(body) : "";
    request.prepare_payload();
    http::write(stream, request);
    beast::flat_buffer buffer;
    http::response_parser<http::string_body> answer;
    answer.body_limit(std::uint64_t{64} << 20);
    http::read(stream, buffer, answer);
    json::value value = json::parse(answer.get().body()).at("value");
    if (answer.get().result_int() != 200) {
        throw std::runtime_error(method + " " + path + ": " + json::serialize(value));
    }
    return value;
}

void Browser::open(const std::string& address) {
    call("POST", m_session + "/url", {{"url", address}});
}

void Browser::resize(int width, int height) {
    call("POST", m_session + "/goog/cdp/execute",
        {{"cmd", "Emulation.setDeviceMetricsOverride"},
            {"params",
                json::object{{"width", width}, {"height", height}, {"deviceScaleFactor", 1},
                    {"mobile", false}}}});
}

void Browser::preferColors(const std::string& scheme) {
    json::array features;
    features.push_back(json::object{{"name", "prefers-color-scheme"}, {"value", scheme}});
    call("POST", m_session + "/goog/cdp/execute",
        {{"cmd", "Emulation.setEmulatedMedia"},
            {"params", json::object{{"features", std::move(features)}}}});
}

void Browser::saveScreenshot(const std::filesystem::path& path) {
    const std::string image = textOf(call("GET", m_session + "/screenshot"));
    writeFile(path, devserver::base64Decoded(image).value());
}

std::string Browser::elementPath(const std::string& selector) {
    const json::value element
        = call("POST", m_session + "/element", {{"using", "css selector"}, {"value", selector}});
    return m_session + "/element/" + textOf(element.as_object().begin()->value());
}

std::string Browser::text(const std::string& selector) {
    return textOf(call("GET", elementPath(selector) + "/text"));
}

std::string Browser::attribute(const std::string& selector, const std::string& name) {
    return textOf(call("GET", elementPath(selector) + "/attribute/" + name));
}

std::string Browser::role(const std::string& selector) {
    return textOf(call("GET", elementPath(selector) + "/computedrole"));
}

std::string Browser::label(const std::string& selector) {
    return textOf(call("GET", elementPath(selector) + "/computedlabel"));
}

bool Browser::isShown(const std::string& selector) {
    return call("GET", elementPath(selector) + "/displayed").as_bool();
}

bool Browser::isEnabled(const std::string& selector) {
    return call("GET", elementPath(selector) + "/enabled").as_bool();
}

std::size_t Browser::count(const std::string& selector) {
    return call("POST", m_session + "/elements", {{"using", "css selector"}, {"value", selector}})
        .as_array()
        .size();
}

void Browser::click(const std::string& selector) {
    call("POST", elementPath(selector) + "/click");
}

void Browser::type(const std::string& selector, const std::string& keys) {
    call("POST", elementPath(selector) + "/value", {{"text", keys}});
}

std::string Browser::press(const std::string& keys) {
    json::array actions;
    for (const char* type : {"keyDown", "keyUp"}) {
        actions.push_back(json::object{{"type", type}, {"value", keys}});
    }
    json::array sources;
    sources.push_back(
        json::object{{"type", "key"}, {"id", "keyboard"}, {"actions", std::move(actions)}});
    call("POST", m_session + "/actions", {{"actions", std::move(sources)}});
    return textOf(run("return document.activeElement.id"));
}

void Browser::waitForText(const std::string& selector, const std::string& part) {
    if (!eventually([&] { return text(selector).find(part) != std::string::npos; }, limit)) {
        throw std::runtime_error(
            "no \"" + part + "\" in " + selector + ", but \"" + text(selector) + "\"");
    }
}

void Browser::waitUntilEnabled(const std::string& selector) {
    if (!eventually([&] { return isEnabled(selector); }, limit)) {
        throw std::runtime_error(selector + " is not enabled; " + text("body"));
    }
}

json::value Browser::run(const std::string& script) {
    return call("POST", m_session + "/execute/sync", {{"script", script}, {"args", json::array()}});
}

std::vector<std::string> Browser::consoleErrors() {
    const json::value log = call("POST", m_session + "/se/log", {{"type", "browser"}});
    std::vector<std::string> errors;
    for (const json::value& entry : log.as_array()) {
        if (entry.at("level") == "SEVERE") {
            errors.push_back(textOf(entry.at("message")));
        }
    }
    return errors;
}
