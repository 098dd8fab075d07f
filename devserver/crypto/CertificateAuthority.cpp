// SPDX-License-Identifier: MIT
#include "devserver/crypto/CertificateAuthority.h"

#include "devserver/crypto/Certificates.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace devserver {

namespace {

using namespace openssl;

/// A kept authority that ends within this time is made anew.
constexpr std::chrono::hours renewedBefore(24 * 31);

struct Authority {
    Key key;
    Certificate certificate;
};

Authority newAuthority(bool isKept) {
    Authority authority{makeKey(), nullptr};
    if (authority.key) {
        authority.certificate = makeAuthority(authority.key.get(), isKept);
    }
    return authority;
}

std::string keyFileIn(const std::string& folder) {
    return folder + "/authority-key.pem";
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Whether a file or folder is somebody else's, or lets others do what is forbidden. What is not
/// there is not.
bool isOpenToOthers(const std::string& path, mode_t forbidden) {
    struct stat status { };
    return stat(path.c_str(), &status) == 0
        && (status.st_uid != geteuid() || (status.st_mode & forbidden) != 0);
}

/// Why the authority of a folder may not be used; nothing when it may.
std::optional<std::string> mistrust(const std::string& folder) {
    constexpr mode_t othersWrite = S_IWGRP | S_IWOTH;
    const auto reason = [](const std::string& path, const std::string& who) {
        return path + " must belong to you, and nobody else may " + who + " it";
    };
    if (isOpenToOthers(folder, othersWrite)) {
        return reason(folder, "write to");
    }
    if (isOpenToOthers(keyFileIn(folder), S_IRWXG | S_IRWXO)) {
        return reason(keyFileIn(folder), "read or change");
    }
    const std::string certificate = CertificateAuthority::fileIn(folder);
    if (isOpenToOthers(certificate, othersWrite)) {
        return reason(certificate, "change");
    }
    return std::nullopt;
}

/// Whether a certificate vouches for servers alone (RFC 5280, 4.2.1.12).
bool isForServersAlone(X509* certificate) {
    return X509_get_extended_key_usage(certificate) == XKU_SSL_SERVER;
}

Bio reading(const std::string& text) {
    return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

/// The authority of a folder; without a certificate when there is none that can be used.
Authority storedAuthority(const std::string& folder) {
    const std::string keyText = contentOf(keyFileIn(folder));
    const std::string certificateText = contentOf(CertificateAuthority::fileIn(folder));
    Authority authority{
        Key(PEM_read_bio_PrivateKey(reading(keyText).get(), nullptr, nullptr, nullptr)),
        Certificate(PEM_read_bio_X509(reading(certificateText).get(), nullptr, nullptr, nullptr))};
    std::time_t limit = std::time(nullptr) + std::chrono::seconds(renewedBefore).count();
    if (!authority.key || !authority.certificate || !isForServersAlone(authority.certificate.get())
        || X509_check_private_key(authority.certificate.get(), authority.key.get()) != 1
        || X509_cmp_time(X509_get0_notAfter(authority.certificate.get()), &limit) != 1) {
        ERR_clear_error();
        return {};
    }
    return authority;
}

/// Writes a file that appears whole or not at all.
bool store(const std::string& path, const std::string& text) {
    std::string name = path + ".XXXXXX";
    const int descriptor = mkstemp(name.data()); // for its owner alone
    if (descriptor < 0) {
        return false;
    }
    const bool isWritten
        = write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(descriptor);
    if (!isWritten || std::rename(name.c_str(), path.c_str()) != 0) {
        std::remove(name.c_str());
        return false;
    }
    return true;
}

/// Held by one process at a time; where it cannot be had, nothing can be kept either.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder) {
        std::error_code code;
        if (std::filesystem::create_directories(folder, code)) {
            std::filesystem::permissions(folder, std::filesystem::perms::owner_all, code);
        }
        m_descriptor = open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        while (m_descriptor >= 0 && flock(m_descriptor, LOCK_EX) != 0 && errno == EINTR) { }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;
    ~FolderLock() {
        if (m_descriptor >= 0) {
            close(m_descriptor);
        }
    }

private:
    int m_descriptor = -1;
};

bool store(const Authority& authority, const std::string& folder) {
    std::error_code code;
    std::filesystem::create_directories(folder, code);
    return !code && store(keyFileIn(folder), pemOf(authority.key.get()))
        && store(CertificateAuthority::fileIn(folder), pemOf(authority.certificate.get()))
        && chmod(CertificateAuthority::fileIn(folder).c_str(), 0644) == 0;
}

} // namespace

std::string CertificateAuthority::fileIn(const std::string& folder) {
    return folder + "/authority.pem";
}

std::optional<CertificateAuthority> CertificateAuthority::make(
    const CertificateOptions& options, std::string& error) {
    const Authority authority = newAuthority(false);
    return issued(authority.certificate.get(), authority.key.get(), options, error);
}

std::optional<CertificateAuthority> CertificateAuthority::kept(
    const std::string& folder, const CertificateOptions& options, std::string& error) {
    const FolderLock lock(folder); // of processes that start together, one makes it
    if (const std::optional<std::string> reason = mistrust(folder)) {
        error = *reason;
        return std::nullopt;
    }
    Authority authority = storedAuthority(folder);
    if (!authority.certificate) {
        authority = newAuthority(true);
        if (authority.certificate && !store(authority, folder)) {
            error = "the authority cannot be kept in " + folder;
            return std::nullopt;
        }
    }
    return issued(authority.certificate.get(), authority.key.get(), options, error);
}

std::optional<CertificateAuthority> CertificateAuthority::issued(X509* authority,
    EVP_PKEY* authorityKey, const CertificateOptions& options, std::string& error) {
    const Key serverKey = makeKey();
    const Certificate server = authority != nullptr && serverKey
        ? makeServerCertificate(serverKey.get(), authority, authorityKey, options)
        : nullptr;
    if (!server) {
        error = "the certificates could not be made: " + lastError();
        return std::nullopt;
    }
    CertificateAuthority result;
    result.m_certificatePem = pemOf(authority);
    result.m_serverCertificatePem = pemOf(server.get());
    result.m_serverKeyPem = pemOf(serverKey.get());
    return result;
}

} // namespace devserver
