// SPDX-License-Identifier: MIT
#include "devserver/server/Envelope.h"

#include "devserver/crypto/Encoding.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace devserver {

namespace json = boost::json;

namespace {

constexpr std::size_t foldedLength = 100; // of a text that is shown whole, in bytes
constexpr std::size_t beginningLength = 48; // of a text that is not

std::string folded(std::string_view text) {
    if (text.size() <= foldedLength) {
        return std::string(text);
    }
    std::size_t end = beginningLength;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end; // not within a UTF-8 sequence
    }
    return std::string(text.substr(0, end)) + "... (" + std::to_string(text.size()) + " bytes)";
}

json::value foldedValue(const json::value& value) {
    if (const json::string* text = value.if_string()) {
        return json::value(folded({text->data(), text->size()}));
    }
    if (const json::array* array = value.if_array()) {
        json::array result;
        for (const json::value& element : *array) {
            result.push_back(foldedValue(element));
        }
        return result;
    }
    if (const json::object* object = value.if_object()) {
        json::object result;
        for (const auto& [key, element] : *object) {
            result[key] = foldedValue(element);
        }
        return result;
    }
    return value;
}

} // namespace

std::optional<json::value> parsedJson(std::string_view text) {
    json::parse_options options;
    options.max_depth = 512;
    boost::system::error_code error;
    json::value value = json::parse({text.data(), text.size()}, error, {}, options);
    if (error) {
        return std::nullopt;
    }
    return value;
}

std::string envelopeText(std::string_view command, const std::optional<json::value>& payload,
    const std::optional<json::value>& requestId) {
    std::string text = "{\"command\":" + json::serialize(json::string(command));
    if (payload) {
        text += ",\"payload\":" + json::serialize(*payload);
    }
    if (requestId) {
        text += ",\"requestId\":" + json::serialize(*requestId);
    }
    text += '}';
    return text;
}

std::string foldedEnvelope(std::string_view text) {
    if (const std::optional<json::value> value = parsedJson(text)) {
        return json::serialize(foldedValue(*value));
    }
    std::string line = folded(text);
    for (char& c : line) {
        c = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return line;
}

json::object signPdfPayload(std::string_view digest, std::string_view bytes,
    const std::optional<std::string>& document, std::string_view algorithm) {
    json::object payload;
    payload["certificateDigest"] = digest;
    payload["bytesToSign"] = base64Encoded(bytes);
    if (document) {
        payload["pdfToSign"] = base64Encoded(*document);
    }
    payload["signatureAlgorithm"] = algorithm;
    return payload;
}

json::object signXmlPayload(
    std::string_view digest, std::string_view signedInfo, std::string_view algorithm) {
    json::object payload;
    payload["certificateDigest"] = digest;
    payload["xmlSignedInfo"] = signedInfo;
    payload["signatureAlgorithm"] = algorithm;
    return payload;
}

} // namespace devserver
