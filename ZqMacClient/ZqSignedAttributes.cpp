// SPDX-License-Identifier: MIT
#include "ZqMacClient/ZqSignedAttributes.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr std::size_t deepestNesting = 32;
constexpr std::size_t digestSize = 32;

constexpr std::uint8_t booleanTag = 0x01;
constexpr std::uint8_t integerTag = 0x02;
constexpr std::uint8_t octetStringTag = 0x04;
constexpr std::uint8_t nullTag = 0x05;
constexpr std::uint8_t objectIdentifierTag = 0x06;
constexpr std::uint8_t sequenceTag = 0x30;
constexpr std::uint8_t setTag = 0x31;
constexpr std::uint8_t constructedBit = 0x20;
constexpr std::uint8_t classBits = 0xC0;
constexpr std::uint8_t numberBits = 0x1F;

// Contents of object identifiers.
constexpr std::string_view idData = "\x2A\x86\x48\x86\xF7\x0D\x01\x07\x01"sv;
constexpr std::string_view contentType = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x03"sv;
constexpr std::string_view messageDigest = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04"sv;
constexpr std::string_view furtherAttributes[]{
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x05"sv, // signing time
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x0F"sv, // S/MIME capabilities
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x34"sv, // CMS algorithm protection
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x04"sv, // content hints
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x07"sv, // content identifier
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x0A"sv, // content reference
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x0C"sv, // signing certificate
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x0F"sv, // signature policy identifier
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x10"sv, // commitment type indication
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x11"sv, // signer location
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x12"sv, // signer attributes
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x14"sv, // content time-stamp
    "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x10\x02\x2F"sv, // signing certificate, version 2
    "\x04\x00\x8D\x45\x02\x01"sv, // MIME type
    "\x04\x00\x81\x95\x32\x01\x01"sv, // signer attributes, version 2
    "\x2A\x86\x48\x86\xF7\x2F\x01\x01\x08"sv, // revocation information of PDF
};

struct Element {
    std::uint8_t tag = 0;
    BytesView content;
    BytesView encoding;
};

bool isEqual(BytesView bytes, std::string_view text) {
    return std::equal(bytes.begin(), bytes.end(), text.begin(), text.end(),
        [](std::uint8_t byte, char c) { return byte == static_cast<std::uint8_t>(c); });
}

/// Takes the first element off `rest`; nothing when it is not DER (X.690, section 10).
std::optional<Element> takeElement(BytesView& rest) {
    if (rest.size() < 2 || (rest[0] & numberBits) == numberBits) {
        return std::nullopt;
    }
    std::size_t head = 2;
    std::size_t length = rest[1];
    if (length >= 0x80) {
        const std::size_t count = length & 0x7FU;
        if (count == 0 || count > 4 || rest.size() < 2 + count || rest[2] == 0) {
            return std::nullopt;
        }
        length = 0;
        for (std::size_t i = 0; i < count; ++i) {
            length = (length << 8) | rest[2 + i];
        }
        head += count;
        if (length < 0x80) {
            return std::nullopt; // fits the short form
        }
    }
    if (length > rest.size() - head) {
        return std::nullopt;
    }
    const Element element{rest[0], rest.subspan(head, length), rest.first(head + length)};
    rest = rest.subspan(head + length);
    return element;
}

/// The one element that the bytes are.
std::optional<Element> onlyElement(BytesView bytes, std::uint8_t tag) {
    const auto element = takeElement(bytes);
    return element && bytes.empty() && element->tag == tag ? element : std::nullopt;
}

/// Whether a value is in the form that DER prescribes for its universal type, as far as it counts
/// here.
bool isWellFormed(const Element& element, std::size_t depth) {
    const bool isUniversal = (element.tag & classBits) == 0;
    const bool isConstructed = (element.tag & constructedBit) != 0;
    const auto number = static_cast<std::uint8_t>(element.tag & numberBits);
    const bool isCollection
        = number == (sequenceTag & numberBits) || number == (setTag & numberBits);
    if (isUniversal && (number == 0 || isConstructed != isCollection)) {
        return false;
    }
    const BytesView content = element.content;
    switch (element.tag) {
    case booleanTag:
        return content.size() == 1 && (content[0] == 0 || content[0] == 0xFF);
    case integerTag:
        return !content.empty()
            && (content.size() == 1
                || !((content[0] == 0 && content[1] < 0x80)
                    || (content[0] == 0xFF && content[1] >= 0x80)));
    case nullTag:
        return content.empty();
    case objectIdentifierTag:
        return !content.empty() && content.back() < 0x80;
    default:
        break;
    }
    if (!isConstructed) {
        return true;
    }
    BytesView rest = content;
    while (!rest.empty()) {
        const auto child = takeElement(rest);
        if (!child || depth == deepestNesting || !isWellFormed(*child, depth + 1)) {
            return false;
        }
    }
    return true;
}

struct Attribute {
    BytesView type;
    BytesView values; // one or more
};

/// SEQUENCE { attrType OBJECT IDENTIFIER, attrValues SET OF AttributeValue }
std::optional<Attribute> attributeOf(const Element& element) {
    if (element.tag != sequenceTag || !isWellFormed(element, 0)) {
        return std::nullopt;
    }
    BytesView rest = element.content;
    const auto type = takeElement(rest);
    const auto values = onlyElement(rest, setTag);
    if (!type || type->tag != objectIdentifierTag || !values || values->content.empty()) {
        return std::nullopt;
    }
    return Attribute{type->content, values->content};
}

bool isKnown(BytesView type) {
    return std::any_of(std::begin(furtherAttributes), std::end(furtherAttributes),
        [type](std::string_view known) { return isEqual(type, known); });
}

} // namespace

bool isSignedAttributes(BytesView bytes) {
    const auto set = onlyElement(bytes, setTag);
    if (!set) {
        return false;
    }
    bool hasContentType = false;
    bool hasMessageDigest = false;
    BytesView previous;
    for (BytesView rest = set->content; !rest.empty();) {
        const auto element = takeElement(rest);
        const auto attribute = element ? attributeOf(*element) : std::nullopt;
        // DER orders the elements of a SET OF by their encodings.
        if (!attribute
            || !std::lexicographical_compare(previous.begin(), previous.end(),
                element->encoding.begin(), element->encoding.end())) {
            return false;
        }
        previous = element->encoding;
        if (isEqual(attribute->type, contentType)) {
            const auto value = onlyElement(attribute->values, objectIdentifierTag);
            if (hasContentType || !value || !isEqual(value->content, idData)) {
                return false;
            }
            hasContentType = true;
        } else if (isEqual(attribute->type, messageDigest)) {
            const auto value = onlyElement(attribute->values, octetStringTag);
            if (hasMessageDigest || !value || value->content.size() != digestSize) {
                return false;
            }
            hasMessageDigest = true;
        } else if (!isKnown(attribute->type)) {
            return false;
        }
    }
    return hasContentType && hasMessageDigest;
}
