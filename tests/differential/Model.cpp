// SPDX-License-Identifier: MIT
#include "tests/differential/Model.h"

#include "tests/differential/ModelSession.h"

#include <algorithm>

namespace differential {

namespace {

/// What a request for a value comes to.
std::optional<std::string> request(
    Story& story, const std::string& url, const std::string& action, const Answer& answer) {
    story.add("log: Starting '" + action + "' task and waiting for completion");
    story.add("request: " + url);
    const std::string message = "Error " + action;
    const std::string begin = "log: REST client completion handler running for: data=";
    const auto complete = [&](const std::string& value, const std::string& error) {
        story.add("log: Task '" + action + "' complete with: value=" + value + ", error=" + error);
    };
    const auto fails = [&](const std::string& details) {
        complete("nil", "Optional(" + message + ": " + details + ")");
        story.alert(message, details);
    };
    if (answer.kind == Answer::Kind::lost) {
        story.add(begin + "nil, response=nil, error=Optional(" + answer.body + ")");
        fails(answer.body);
        return std::nullopt;
    }
    story.add(begin + "Optional(" + std::to_string(answer.body.size())
        + " bytes), response=Optional(" + url + ", status 200), error=nil");
    if (answer.kind == Answer::Kind::notJson) {
        story.alert(message, "Error parsing server response"); // at once
    }
    if (answer.json.kind != Json::Kind::object) {
        fails("Error parsing server response");
    }
    story.add("log: Server REST API response: " + compact(answer.json));
    const auto printed = [](const Json& value) {
        return value.isText()                ? value.text
            : value.kind == Json::Kind::null ? std::string("<null>")
                                             : compact(value);
    };
    if (const Json* status = answer.json.find("status")) {
        const Json* text = answer.json.find("message");
        fails("(" + printed(*status) + ") " + (text == nullptr ? "" : printed(*text)));
    }
    const Json* value = answer.json.find("value");
    if (value == nullptr || !value->isText()) {
        complete("nil", "nil");
        return std::nullopt;
    }
    complete("Optional(" + quoted(value->text) + ")", "nil");
    return value->text;
}

void checkForUpdates(Story& story, const Scenario& scenario) {
    story.statusLine("Checking for application updates...");
    if (!scenario.link.isAccepted) {
        story.alert("Error", "Could not parse server URL: " + scenario.link.text);
    }
    const auto latest = request(
        story, versionUrl(scenario), "checking for Quillet updates", scenario.versionAnswer);
    story.add("log: Installed Quillet version: " + versionText(installedVersion));
    if (!latest) {
        story.abort();
    }
    story.add("log: Latest available Quillet version: " + *latest);
    if (!(installedVersion < scenario.latest)) {
        story.statusLine("No application updates found.");
        return;
    }
    const auto page = request(
        story, bundleUrl(scenario), "getting Quillet update download URL", scenario.bundleAnswer);
    if (!page) {
        story.abort();
    }
    story.statusLine("New version available: " + *latest);
    story.add("alert: Please upgrade Quillet | Newer version is available: " + *latest);
    story.add("dismissed");
    if (scenario.acceptsUpgrade) {
        story.add("log: Opening download update page: " + *page);
        story.add("open: " + *page);
        story.exit(0);
    }
}

void launch(Story& story, const Scenario& scenario) {
    const std::string& link = scenario.link.text;
    story.add("reopen standard error: /tmp/Quillet.log a+");
    story.add("event handler set");
    story.add("default handler: quillet com.quillet.ZqMacClient");
    story.add("SecKeychainSetUserInteractionAllowed true");
    story.statusLine("Starting Quillet version " + versionText(installedVersion) + ".");
    story.statusLine("Running on macOS 13.6.0.");
    story.add("log: Command line parameters ("
        + (scenario.linkIsArgument ? "2): /opt/ZqMacClient " + link : "1): /opt/ZqMacClient")
        + " ");
    // The argument counts only with its two slashes.
    story.add((scenario.linkIsArgument ? "log: Overriding custom URL with command line URL: "
                                       : "log: Launching with custom URL: ")
        + link);
}

} // namespace

std::vector<std::string> expectedEvents(const Scenario& scenario) {
    Story story;
    try {
        launch(story, scenario);
        checkForUpdates(story, scenario);
        runSession(story, scenario);
    } catch (const Story::End&) { }
    return story.events();
}

} // namespace differential
