// SPDX-License-Identifier: MIT
#include "foundation/URLReference.h"

#include "foundation/Ascii.h"

#include <algorithm>

namespace {

using std::string_view;

constexpr string_view subDelimiters = "!$&'()*+,;=";

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool isLetter(char c) {
    return lowerCase(c) >= 'a' && lowerCase(c) <= 'z';
}

bool isHexDigit(char c) {
    return isDigit(c) || (lowerCase(c) >= 'a' && lowerCase(c) <= 'f');
}

bool isIn(char c, string_view set) {
    return set.find(c) != set.npos;
}

bool isUnreserved(char c) {
    return isLetter(c) || isDigit(c) || isIn(c, "-._~");
}

bool areDigits(string_view text) {
    return std::all_of(text.begin(), text.end(), isDigit<char>);
}

/// Unreserved characters, sub-delimiters, whole escapes, and what is allowed besides.
bool isEncodedText(string_view text, string_view besides) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (text.size() - i < 3 || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2])) {
                return false;
            }
            i += 2;
        } else if (!isUnreserved(text[i]) && !isIn(text[i], subDelimiters)
            && !isIn(text[i], besides)) {
            return false;
        }
    }
    return true;
}

/// Takes what stands before the first of some characters, which stays.
string_view takeUntil(string_view& rest, string_view ends) {
    const string_view part = rest.substr(0, rest.find_first_of(ends));
    rest.remove_prefix(part.size());
    return part;
}

bool isScheme(string_view text) {
    return !text.empty() && isLetter(text.front())
        && std::all_of(text.begin(), text.end(),
            [](char c) { return isLetter(c) || isDigit(c) || isIn(c, "+-."); });
}

/// "0" to "255", without leading zeros.
bool isOctet(string_view text) {
    if (text.empty() || text.size() > 3 || !areDigits(text)
        || (text.size() > 1 && text.front() == '0')) {
        return false;
    }
    return text.size() < 3 || text <= "255";
}

bool isAddressOfVersionFour(string_view text) {
    for (int octets = 1; octets < 4; ++octets) {
        if (!isOctet(takeUntil(text, ".")) || text.empty()) {
            return false;
        }
        text.remove_prefix(1);
    }
    return isOctet(text);
}

constexpr int malformed = 100;

/// How many groups of 16 bits stand between single colons; an address of version 4 may be the last
/// two.
int groupsOf(string_view text, bool mayEndInVersionFour) {
    if (text.empty()) {
        return 0;
    }
    for (int groups = 1;; ++groups) {
        const string_view group = takeUntil(text, ":");
        if (text.empty() && mayEndInVersionFour && isAddressOfVersionFour(group)) {
            return groups + 1;
        }
        if (group.empty() || group.size() > 4
            || !std::all_of(group.begin(), group.end(), isHexDigit)) {
            return malformed;
        }
        if (text.empty()) {
            return groups;
        }
        text.remove_prefix(1);
    }
}

bool isAddressOfVersionSix(string_view text) {
    const std::size_t gap = text.find("::");
    if (gap == text.npos) {
        return groupsOf(text, true) == 8;
    }
    return groupsOf(text.substr(0, gap), false) + groupsOf(text.substr(gap + 2), true) <= 7;
}

/// "v", hexadecimal digits, a dot, and any address.
bool isAddressOfLaterVersion(string_view text) {
    if (text.empty() || lowerCase(text.front()) != 'v') {
        return false;
    }
    text.remove_prefix(1);
    const string_view version = takeUntil(text, ".");
    return !version.empty() && std::all_of(version.begin(), version.end(), isHexDigit)
        && text.size() > 1 && text.find('%') == text.npos && isEncodedText(text, ":");
}

std::optional<URLAuthority> authorityOf(string_view text) {
    URLAuthority authority;
    if (const std::size_t at = text.find('@'); at != text.npos) {
        authority.userInformation = text.substr(0, at);
        text.remove_prefix(at + 1);
        if (!isEncodedText(*authority.userInformation, ":")) {
            return std::nullopt;
        }
    }
    if (text.starts_with('[')) {
        const std::size_t end = std::min(text.find(']'), text.size() - 1);
        authority.host = text.substr(0, end + 1);
        const string_view address = text.substr(1, end - 1);
        if (text[end] != ']'
            || (!isAddressOfVersionSix(address) && !isAddressOfLaterVersion(address))) {
            return std::nullopt;
        }
        text.remove_prefix(end + 1);
    } else {
        // A name: what looks like an address of version 4 is one, too.
        authority.host = takeUntil(text, ":");
        if (!isEncodedText(authority.host, "")) {
            return std::nullopt;
        }
    }
    if (!text.empty()) {
        authority.port = text.substr(1);
        if (text.front() != ':' || !areDigits(*authority.port)) {
            return std::nullopt;
        }
    }
    return authority;
}

/// Section 5.2.4.
std::string withoutDotSegments(string_view path) {
    std::string out;
    while (!path.empty()) {
        const bool isRooted = path.starts_with('/');
        path.remove_prefix(isRooted ? 1 : 0);
        const string_view segment = takeUntil(path, "/");
        const bool isParent = segment == "..";
        const bool isDots = isParent || segment == ".";
        if (isParent) {
            out.erase(out.find('/') == out.npos ? 0 : out.rfind('/'));
        }
        if (!isDots) {
            (out += isRooted ? "/" : "") += segment;
        } else if (!isRooted && !path.empty()) {
            path.remove_prefix(1);
        } else if (isRooted && path.empty()) {
            out += '/';
        }
    }
    return out;
}

/// Section 5.2.3: the reference's relative path in place of the base's last segment.
std::string mergedPath(string_view basePath, string_view path) {
    std::string merged(basePath.substr(0, basePath.rfind('/') + 1));
    return (merged.empty() ? "/" : merged) += path;
}

std::string textOf(const URLAuthority& authority) {
    std::string text = "//";
    if (authority.userInformation) {
        text.append(*authority.userInformation) += '@';
    }
    text += authority.host;
    if (authority.port) {
        (text += ':') += *authority.port;
    }
    return text;
}

} // namespace

std::optional<URLReference> URLReference::parse(string_view text) {
    URLReference reference;
    string_view rest = text;
    string_view hierarchy = takeUntil(rest, "?#");
    if (rest.starts_with('?')) {
        rest.remove_prefix(1);
        reference.query = takeUntil(rest, "#");
    }
    if (!rest.empty()) {
        reference.fragment = rest.substr(1);
    }
    // A colon in the first segment ends a scheme, or the text is no URL (section 4.2).
    if (const std::size_t end = hierarchy.find_first_of(":/");
        end != hierarchy.npos && hierarchy[end] == ':') {
        reference.scheme = hierarchy.substr(0, end);
        hierarchy.remove_prefix(end + 1);
        if (!isScheme(*reference.scheme)) {
            return std::nullopt;
        }
    }
    if (hierarchy.starts_with("//")) {
        hierarchy.remove_prefix(2);
        reference.authority = authorityOf(takeUntil(hierarchy, "/"));
        if (!reference.authority) {
            return std::nullopt;
        }
    }
    reference.path = hierarchy;
    if (!isEncodedText(reference.path, ":@/")
        || !isEncodedText(reference.query.value_or(""), ":@/?")
        || !isEncodedText(reference.fragment.value_or(""), ":@/?")) {
        return std::nullopt;
    }
    return reference;
}

bool URLReference::hasScheme(string_view lowerCaseName) const {
    return scheme
        && std::equal(scheme->begin(), scheme->end(), lowerCaseName.begin(), lowerCaseName.end(),
            [](char mine, char other) { return lowerCase(mine) == other; });
}

std::string resolvedURL(const URLReference& base, const URLReference& reference) {
    const bool hasScheme = reference.scheme.has_value();
    const bool hasAuthority = hasScheme || reference.authority;
    const bool hasPath = hasAuthority || !reference.path.empty();
    const auto& authority = hasAuthority ? reference.authority : base.authority;
    const auto& query = hasPath || reference.query ? reference.query : base.query;
    const bool isWhole = hasAuthority || reference.path.starts_with('/');
    const std::string path = !hasPath ? std::string(base.path)
        : isWhole                     ? withoutDotSegments(reference.path)
                                      : withoutDotSegments(mergedPath(base.path, reference.path));

    std::string url(hasScheme ? *reference.scheme : base.scheme.value_or(""));
    url += ':';
    if (authority) {
        url += textOf(*authority);
    } else if (path.starts_with("//")) {
        url += "/."; // else the path would be read as an authority
    }
    url += path;
    if (query) {
        (url += '?') += *query;
    }
    return url;
}

bool hasOnlyURLCharacters(string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= 0x80 || isUnreserved(c) || isIn(c, subDelimiters)
            || isIn(c, ":/?#[]@%");
    });
}
