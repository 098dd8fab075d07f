// SPDX-License-Identifier: MIT
#include "platform/linux/PolicyFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::size_t largestPolicy = 64 << 10;

/// Closes a descriptor with its own life.
class Descriptor {
public:
    explicit Descriptor(int number)
        : m_number(number) { }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_number >= 0) {
            close(m_number);
        }
    }
    int get() const { return m_number; }

private:
    int m_number;
};

ManagedPolicy unusable(ManagedPolicy policy, const std::string& cause) {
    policy.state = ManagedPolicy::State::unusable;
    policy.text = cause;
    return policy;
}

/// What could not be opened: absent when it is not there, else unusable.
ManagedPolicy unopened(ManagedPolicy policy, const std::string& what) {
    switch (errno) {
    case ENOENT:
        return policy;
    case ELOOP:
        return unusable(std::move(policy), what + " is a link.");
    default:
        return unusable(
            std::move(policy), what + " cannot be opened: " + std::strerror(errno) + ".");
    }
}

/// What is wrong with who may change the file or folder, or nothing.
std::optional<std::string> problemOf(int descriptor, const std::string& what, uid_t owner) {
    struct stat status { };
    if (fstat(descriptor, &status) != 0) {
        return what + " cannot be examined: " + std::strerror(errno) + ".";
    }
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        return what + " is not a regular file.";
    }
    if (status.st_uid != owner) {
        return what + " belongs to user " + std::to_string(status.st_uid) + ", not to user "
            + std::to_string(owner) + ".";
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return what + " can be written by others than its owner.";
    }
    return std::nullopt;
}

/// The whole content; nothing, with errno 0 when there is too much of it, on failure.
std::optional<std::string> contentOf(int descriptor) {
    std::string content(largestPolicy + 1, '\0');
    std::size_t size = 0;
    while (size < content.size()) {
        const ssize_t count = read(descriptor, content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            content.resize(size);
            return content;
        }
        size += static_cast<std::size_t>(count);
    }
    errno = 0;
    return std::nullopt;
}

} // namespace

ManagedPolicy readPolicyFile(const std::string& folder, const std::string& name, uid_t owner) {
    ManagedPolicy policy{.source = folder + '/' + name};
    const Descriptor directory(
        open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (directory.get() < 0) {
        // A link to a folder, which is none itself, is not told apart by errno.
        struct stat status { };
        const int cause = errno;
        const bool isLink = lstat(folder.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
        errno = isLink ? ELOOP : cause;
        return unopened(std::move(policy), "The folder " + folder);
    }
    if (const auto problem = problemOf(directory.get(), "The folder " + folder, owner)) {
        return unusable(std::move(policy), *problem);
    }
    const Descriptor file(openat(
        directory.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0) {
        return unopened(std::move(policy), "The file");
    }
    if (const auto problem = problemOf(file.get(), "The file", owner)) {
        return unusable(std::move(policy), *problem);
    }
    auto content = contentOf(file.get());
    if (!content) {
        return unusable(std::move(policy),
            errno == 0 ? std::string("The file is larger than 64 KiB.")
                       : std::string("The file cannot be read: ") + std::strerror(errno) + ".");
    }
    policy.state = ManagedPolicy::State::present;
    policy.text = *std::move(content);
    return policy;
}

} // namespace platform
