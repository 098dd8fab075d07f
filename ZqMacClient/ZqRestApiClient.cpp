// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqRestApiClient.h"

#include "ZqMacClient/DebugDescription.h"
#include "ZqMacClient/ZqError.h"
#include "ZqMacClient/ZqGatekeeper.h"
#include "ZqMacClient/ZqLogPrivacy.h"
#include "foundation/JsonReader.h"
#include "foundation/JsonWriter.h"
#include "platform/Platform.h"

#include <utility>

using platform::NSLog;

namespace {

/// What the completion handler leaves for the waiting caller; the semaphore orders the two.
struct Outcome {
    std::optional<std::string> value;
    std::optional<ZqError> error;
};

/// The printed form of a value in an error text: a text as it stands.
std::string printed(const JsonValue& value) {
    if (const auto* text = value.as<JsonText>()) {
        return std::string(text->view());
    }
    return value.isNull() ? "<null>" : writeJson(value).text.value_or(std::string());
}

std::string printed(const std::optional<platform::URLResponse>& response) {
    return response
        ? "Optional(" + response->url + ", status " + std::to_string(response->statusCode) + ")"
        : "nil";
}

std::string printed(const std::optional<platform::TransportError>& error) {
    return error ? "Optional(" + error->localizedDescription + ")" : "nil";
}

std::string printed(const std::optional<ZqError>& error) {
    return error ? "Optional(" + error->loggedMessage() + ": " + error->loggedDetails() + ")"
                 : "nil";
}

/// Decides by the JSON body alone; the HTTP status does not count.
void readAnswer(std::string_view data, const std::string& actionText, Outcome& outcome) {
    const std::string message = "Error " + actionText;
    const char* const notParsed = "Error parsing server response";
    const JsonReadResult result = readJson(data);
    if (!result.value) {
        ZqError(message, notParsed).showAndExit();
    }
    const auto* object = result.value->as<JsonObject>();
    if (object == nullptr) {
        outcome.error.emplace(message, notParsed);
        return;
    }
    ZqLogPrivacy::addValue(LogLine().add("Server REST API response: "), *result.value).write();
    if (const JsonValue* status = object->find("status")) {
        const JsonValue* text = object->find("message");
        const std::string details
            = "(" + printed(*status) + ") " + (text == nullptr ? std::string() : printed(*text));
        outcome.error.emplace(message, details).logAs(message, ZqLogPrivacy::text(details));
        return;
    }
    const JsonValue* value = object->find("value");
    if (const auto* text = value == nullptr ? nullptr : value->as<JsonText>()) {
        outcome.value = text->view();
    }
}

} // namespace

ZqRestApiClient::ZqRestApiClient(std::string url)
    : m_url(std::move(url)) {
}

std::optional<std::string> ZqRestApiClient::getValue(const std::string& actionText) const {
    Outcome outcome;
    const auto semaphore = platform::current().application().makeSemaphore(0);
    const auto completionHandler
        = [&](std::optional<std::string> data, std::optional<platform::URLResponse> response,
              std::optional<platform::TransportError> error) {
              NSLog("REST client completion handler running for: data=",
                  data ? "Optional(" + std::to_string(data->size()) + " bytes)" : "nil",
                  ", response=", printed(response), ", error=", printed(error));
              if (error) {
                  const std::string& words = error->localizedDescription;
                  outcome.error.emplace(ZqGatekeeper::hasRefused(words) ? "Server not allowed"
                                                                        : "Error " + actionText,
                      words);
              } else if (!data) {
                  platform::fatalError("a REST request ended without data and without error");
              } else {
                  readAnswer(*data, actionText, outcome);
              }
              semaphore->signal();
          };
    const auto task = platform::current().network().dataTaskWithURL(m_url, completionHandler);
    NSLog("Starting '", actionText, "' task and waiting for completion");
    task->resume();
    semaphore->wait();
    LogLine()
        .add("Task '")
        .add(actionText)
        .add("' complete with: value=")
        .addOptional(outcome.value)
        .add(", error=")
        .add(printed(outcome.error))
        .write();
    if (outcome.error) {
        outcome.error->showAndExit();
    }
    return std::move(outcome.value);
}
