// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Types.h"

#include <array>

class CRVStompClient;
class ZqClient;
class ZqMessage;

/// Carries out one "SIGN_XML" command. Stateless.
class ZqXmlSigner {
public:
    /// Signs what `message` asks for and answers with "SIGN_XML_RESPONSE" through `client`. A
    /// request that cannot be carried out ends the process; a failed signing is answered with a
    /// null signature.
    void signXml(CRVStompClient* service, ZqClient* client, const ZqMessage* message) const;

    std::array<std::uint8_t, 20> sha1(BytesView data) const;
    std::array<std::uint8_t, 32> sha256(BytesView data) const;
};
