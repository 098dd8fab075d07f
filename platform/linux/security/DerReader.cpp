// SPDX-License-Identifier: MIT
#include "platform/linux/security/DerReader.h"

#include <algorithm>
#include <limits>
#include <openssl/asn1.h>
#include <openssl/err.h>

namespace platform {

std::optional<DerElement> DerReader::read() {
    // The bits of what ASN1_get_object returns.
    constexpr int broken = 0x80;
    constexpr int indefiniteLength = 0x01; // BER alone has it
    const unsigned char* position = m_rest.data();
    long length = 0;
    int tag = 0;
    int tagClass = 0;
    const long available
        = static_cast<long>(std::min<std::size_t>(m_rest.size(), std::numeric_limits<long>::max()));
    const int form = ASN1_get_object(&position, &length, &tag, &tagClass, available);
    if ((form & (broken | indefiniteLength)) != 0) {
        ERR_clear_error(); // the queue is the thread's; whoever looks next must not find this
        return std::nullopt;
    }
    const auto header = static_cast<std::size_t>(position - m_rest.data());
    const auto size = static_cast<std::size_t>(length);
    const DerElement element = {tag, tagClass == V_ASN1_UNIVERSAL, (form & V_ASN1_CONSTRUCTED) != 0,
        m_rest.subspan(header, size), m_rest.first(header + size)};
    m_rest = m_rest.subspan(header + size);
    return element;
}

std::optional<DerElement> DerReader::read(int tag) {
    const auto element = read();
    return element && element->isUniversal && element->tag == tag ? element : std::nullopt;
}

std::optional<DerElement> DerReader::readContext(int tag) {
    const int identifier = V_ASN1_CONTEXT_SPECIFIC | V_ASN1_CONSTRUCTED | tag;
    return !m_rest.empty() && m_rest[0] == identifier ? read() : std::nullopt;
}

} // namespace platform
