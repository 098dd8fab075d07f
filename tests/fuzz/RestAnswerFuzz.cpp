// SPDX-License-Identifier: MIT
// The answer to a REST request: its value is returned, or an alert ends the process; an address in
// it is opened or refused. Input: the body of the answer.
#include "ZqMacClient/ViewController.h"
#include "ZqMacClient/ZqRestApiClient.h"
#include "foundation/JsonReader.h"
#include "tests/fuzz/DefinedEnd.h"

using fuzz::require;

void fuzz::target(std::string_view body) {
    MemoryPlatform memory;
    const std::string url = "https://h:443/update/version?os=macos";
    memory.network().answer(url, std::string(body));
    std::optional<std::string> value;
    const std::string end = endOf([&] { value = ZqRestApiClient(url).getValue("asking"); });
    requireDefinedEnd(memory, end);

    const JsonReadResult json = readJson(std::string(body));
    const auto* object = json.value ? json.value->as<JsonObject>() : nullptr;
    const bool isError = object == nullptr || object->find("status") != nullptr;
    require(end == (isError ? "exit 1" : "runs on"), "an error answer ends the process");
    if (isError) {
        return;
    }
    const JsonValue* member = object->find("value");
    const auto* text = member == nullptr ? nullptr : member->as<JsonText>();
    require(value == (text == nullptr ? std::nullopt : std::optional(std::string(text->view()))),
        "the value is the text under \"value\"");
    if (value) {
        ViewController view(memory.userInterface().statusTextView());
        const std::string offerEnd = endOf([&] { view.displayUpgradeNotification("2", *value); });
        const auto& opened = memory.userInterface().openedUrls;
        require(offerEnd == (formsURL(*value) ? "exit 0" : "abort"), "accepting ends the process");
        require(opened.size() == (formsURL(*value) ? 1U : 0U), "a page is opened if it is a URL");
    }
}
