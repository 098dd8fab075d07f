// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Types.h"

#include <array>

class CRVStompClient;
class ZqClient;
class ZqMessage;

/// Carries out one "SIGN_PDF" command. Stateless.
class ZqPdfSigner {
public:
    /// Signs what `message` asks for and answers with "SIGN_PDF_RESPONSE" through `client`. A
    /// request that cannot be carried out ends the process; a failed signing is answered with a
    /// null signature.
    void signPdf(CRVStompClient* service, ZqClient* client, const ZqMessage* message) const;

    std::array<std::uint8_t, 20> sha1(BytesView data) const;
    std::array<std::uint8_t, 32> sha256(BytesView data) const;
};
