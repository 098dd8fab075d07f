// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/PlatformTest.h"

/// A request for a value begins.
inline Events requestStarts(const std::string& url, const std::string& actionText) {
    return {
        "log: Starting '" + actionText + "' task and waiting for completion", "request: " + url};
}

/// Its answer of status 200 arrives.
inline Events answerArrives(const std::string& url, const std::string& body) {
    return {"log: REST client completion handler running for: data=Optional("
        + std::to_string(body.size()) + " bytes), response=Optional(" + url
        + ", status 200), error=nil"};
}

/// A whole request that is answered with a text.
inline Events valueRequest(
    const std::string& url, const std::string& actionText, const std::string& value) {
    const std::string body = R"({"value":")" + value + "\"}";
    return joined(requestStarts(url, actionText), answerArrives(url, body),
        Events{"log: Server REST API response: " + body,
            "log: Task '" + actionText + "' complete with: value=Optional(\"" + value
                + "\"), error=nil"});
}
