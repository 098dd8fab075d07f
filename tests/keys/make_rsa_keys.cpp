// SPDX-License-Identifier: MIT
// make_rsa_keys FILE COUNT: writes COUNT new RSA-2048 keys, PEM, for tests.
#include "foundation/Handle.h"

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: make_rsa_keys FILE COUNT\n", stderr);
        return EXIT_FAILURE;
    }
    const Handle<BIO, BIO_vfree> file(BIO_new_file(argv[1], "w"));
    bool isWritten = file != nullptr;
    for (int left = std::atoi(argv[2]); isWritten && left > 0; --left) {
        const Handle<EVP_PKEY, EVP_PKEY_free> key(EVP_RSA_gen(2048));
        isWritten = key
            && PEM_write_bio_PrivateKey(
                   file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr)
                == 1;
    }
    if (!isWritten) {
        std::fprintf(stderr, "make_rsa_keys: %s cannot be written\n", argv[1]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
