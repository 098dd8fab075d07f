// SPDX-License-Identifier: MIT
#include "platform/linux/security/X509Extensions.h"

#include <algorithm>
#include <openssl/asn1.h>
#include <optional>

namespace platform {

namespace {

/// The value of an extension: what its OCTET STRING holds.
std::optional<BytesView> extensionValue(BytesView extension, BytesView wantedType) {
    DerReader parts(extension);
    const auto type = parts.read(V_ASN1_OBJECT);
    if (!type
        || !std::equal(
            type->content.begin(), type->content.end(), wantedType.begin(), wantedType.end())) {
        return std::nullopt;
    }
    auto value = parts.read();
    if (value && value->isUniversal && value->tag == V_ASN1_BOOLEAN) { // critical
        value = parts.read();
    }
    return value ? std::optional(value->content) : std::nullopt;
}

/// Of BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, ... }.
bool isAuthority(BytesView basicConstraints) {
    DerReader outside(basicConstraints);
    const auto constraints = outside.read(V_ASN1_SEQUENCE);
    DerReader inside(constraints ? constraints->content : BytesView());
    const auto authority = inside.read(V_ASN1_BOOLEAN);
    return authority && authority->content.size() == 1 && authority->content[0] != 0;
}

/// Of KeyUsage ::= BIT STRING: the sixth bit, behind the count of unused ones.
bool signsCertificates(BytesView keyUsage) {
    constexpr std::uint8_t keyCertSign = 0x04;
    DerReader outside(keyUsage);
    const auto bits = outside.read(V_ASN1_BIT_STRING);
    return bits && bits->content.size() > 1 && (bits->content[1] & keyCertSign) != 0;
}

/// Whether Extensions ::= SEQUENCE OF Extension are those of an authority, which must have both.
bool nameAuthority(BytesView extensions) {
    static constexpr std::uint8_t basicConstraintsType[] = {0x55, 0x1D, 0x13};
    static constexpr std::uint8_t keyUsageType[] = {0x55, 0x1D, 0x0F};
    bool mayIssue = false;
    bool signs = false;
    for (DerReader list(extensions); !list.atEnd();) {
        const auto extension = list.read(V_ASN1_SEQUENCE);
        if (!extension) {
            return false;
        }
        if (const auto constraints = extensionValue(extension->content, basicConstraintsType)) {
            mayIssue = isAuthority(*constraints);
        } else if (const auto usage = extensionValue(extension->content, keyUsageType)) {
            signs = signsCertificates(*usage);
        }
    }
    return mayIssue && signs;
}

} // namespace

bool hasExtensionsOfAuthority(DerReader fields) {
    while (!fields.atEnd()) {
        if (const auto extensions = fields.readContext(3)) {
            DerReader inside(extensions->content);
            const auto list = inside.read(V_ASN1_SEQUENCE);
            return list && nameAuthority(list->content);
        }
        if (!fields.read()) {
            return false;
        }
    }
    return false;
}

} // namespace platform
