// SPDX-License-Identifier: MIT
#include "platform/linux/net/HostName.h"

#include "foundation/Handle.h"
#include "foundation/PercentEncoding.h"
#include "foundation/Utf8.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <dlfcn.h>
#include <memory>

namespace platform::linux_ {

namespace {

constexpr std::size_t longestName = 253; // RFC 1035, section 2.3.4, as text
constexpr std::size_t longestShown = 300; // bytes of a faulty name that a message repeats

bool isAscii(std::string_view text) {
    return std::all_of(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Letters, digits, hyphens, dots, and the underscore that local names bear.
bool isNameText(std::string_view text) {
    return text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                  "0123456789-._")
        == text.npos;
}

/// The library that the C library itself loads for AI_IDN. It is loaded when the first name that
/// needs it comes up, so that the agent also starts where it is missing.
class Idn2 {
public:
    Idn2()
        : m_library(dlopen("libidn2.so.0", RTLD_NOW | RTLD_LOCAL)) {
        if (m_library) {
            m_toAscii = symbol<ToAscii>("idn2_to_ascii_8z");
            m_free = symbol<Free>("idn2_free");
        }
    }

    bool isPresent() const { return m_toAscii != nullptr && m_free != nullptr; }

    /// The A-labels of a UTF-8 name (UTS #46, non-transitional); empty when it has none.
    std::string toAscii(const std::string& name) const {
        constexpr int normalise = 1;
        constexpr int nonTransitional = 8;
        char* output = nullptr;
        const int status = m_toAscii(name.c_str(), &output, normalise | nonTransitional);
        const std::unique_ptr<char, Free> owner(output, m_free);
        return status == 0 && output != nullptr ? std::string(output) : std::string();
    }

private:
    using ToAscii = int (*)(const char* input, char** output, int flags);
    using Free = void (*)(void* memory);

    template <typename Function>
    Function symbol(const char* name) {
        return reinterpret_cast<Function>(dlsym(m_library.get(), name));
    }

    Handle<void, dlclose> m_library;
    ToAscii m_toAscii = nullptr;
    Free m_free = nullptr;
};

Failure notAHostName(std::string_view text) {
    return {singleLine(text.substr(0, longestShown)) + " is not a host name"};
}

std::optional<HostName> parseAddress(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        return std::nullopt; // the system would read what is before it
    }
    boost::system::error_code error;
    const auto address = boost::asio::ip::make_address(text, error);
    if (error || !isAscii(text)) {
        return std::nullopt;
    }
    return HostName{address.is_v6() ? '[' + text + ']' : text, text, true};
}

} // namespace

std::string singleLine(std::string_view text) {
    std::string out = utf8Repaired(text);
    std::replace_if(
        out.begin(), out.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return out;
}

std::string HostName::certificateName() const {
    std::string name = ascii.substr(0, isAddress ? ascii.find('%') : ascii.npos);
    if (!isAddress && name.ends_with('.')) {
        name.pop_back();
    }
    return name;
}

std::string HostName::authority(std::uint16_t port, std::uint16_t defaultPort) const {
    std::string text = certificateName();
    if (text.find(':') != text.npos) {
        text = '[' + text + ']';
    }
    return port == defaultPort ? text : text + ':' + std::to_string(port);
}

Expected<HostName> parseHostName(std::string_view text) {
    const bool bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
    const auto decoded = percentDecoded(bracketed ? text.substr(1, text.size() - 2) : text);
    // An address may have a zone that begins with a bare per cent sign.
    const std::string plain
        = decoded.value_or(std::string(bracketed ? text.substr(1, text.size() - 2) : text));
    if (plain.empty()) {
        return Failure{"no host is given"};
    }
    if (auto address = parseAddress(plain)) {
        return *std::move(address);
    }
    if (!decoded || bracketed || plain.size() > 4 * longestName) {
        return notAHostName(text);
    }
    std::string ascii = plain;
    if (!isAscii(plain)) {
        static const Idn2 idn2;
        if (!idn2.isPresent()) {
            return Failure{"name " + singleLine(plain)
                + " cannot be looked up, as the library libidn2 is not installed"};
        }
        ascii = plain.find('\0') == plain.npos ? idn2.toAscii(plain) : std::string();
    }
    if (ascii.empty() || ascii.size() > longestName || !isNameText(ascii)) {
        return notAHostName(plain);
    }
    return HostName{plain, ascii, false};
}

Expected<std::uint16_t> parsePort(std::uint64_t port) {
    if (port == 0 || port > 65535) {
        return Failure{"port " + std::to_string(port) + " does not exist, ports are 1 to 65535"};
    }
    return static_cast<std::uint16_t>(port);
}

Expected<std::uint16_t> parsePort(std::string_view digits, std::uint16_t defaultPort) {
    if (digits.empty()) {
        return defaultPort;
    }
    std::uint64_t port = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return Failure{"port " + singleLine(digits.substr(0, longestShown))
            + " does not exist, ports are 1 to 65535"};
    }
    return parsePort(port);
}

} // namespace platform::linux_
