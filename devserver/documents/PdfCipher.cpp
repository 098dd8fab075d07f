// SPDX-License-Identifier: MIT
#include "devserver/documents/PdfCipher.h"

#include "devserver/crypto/OpenSsl.h"
#include "foundation/Handle.h"

#include <array>
#include <numeric>
#include <utility>

#include <openssl/evp.h>
#include <openssl/rand.h>

namespace devserver {

namespace {

using openssl::unsignedBytes;

constexpr std::size_t block = 16;

} // namespace

// OpenSSL has it in a module that not every system installs.
std::string rc4(std::string_view key, std::string_view bytes) {
    std::array<unsigned char, 256> state{};
    std::iota(state.begin(), state.end(), static_cast<unsigned char>(0));
    std::size_t j = 0;
    for (std::size_t i = 0; i < state.size() && !key.empty(); ++i) {
        j = (j + state[i] + static_cast<unsigned char>(key[i % key.size()])) % state.size();
        std::swap(state[i], state[j]);
    }
    std::string result(bytes);
    std::size_t i = 0;
    j = 0;
    for (char& byte : result) {
        i = (i + 1) % state.size();
        j = (j + state[i]) % state.size();
        std::swap(state[i], state[j]);
        byte = static_cast<char>(
            static_cast<unsigned char>(byte) ^ state[(state[i] + state[j]) % state.size()]);
    }
    return result;
}

std::string aesCbc(std::string_view key, std::string_view bytes) {
    const Handle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free> context(EVP_CIPHER_CTX_new());
    std::string result(block + bytes.size() + block, '\0');
    int written = 0;
    int rest = 0;
    const bool isDone = context && (key.size() == 16 || key.size() == 32)
        && RAND_bytes(unsignedBytes(result), block) == 1
        && EVP_EncryptInit_ex(context.get(),
               key.size() == 16 ? EVP_aes_128_cbc() : EVP_aes_256_cbc(), nullptr,
               unsignedBytes(key), unsignedBytes(result))
            == 1
        && EVP_EncryptUpdate(context.get(), unsignedBytes(result) + block, &written,
               unsignedBytes(bytes), static_cast<int>(bytes.size()))
            == 1
        && EVP_EncryptFinal_ex(context.get(), unsignedBytes(result) + block + written, &rest) == 1;
    result.resize(isDone ? block + static_cast<std::size_t>(written + rest) : 0);
    return result;
}

} // namespace devserver
