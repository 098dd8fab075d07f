// SPDX-License-Identifier: MIT
// URLs taken apart and resolved as Boost.URL does. Input: a reference, a line break, where it is
// found. Different on purpose, as RFC 3986 has it and Boost.URL 1.81 has not:
//  - a host that begins with a whole address of version 4 and goes on is a name (section 3.2.2);
//  - the "v" of an address of a later version may be upper-case (section 1.3);
//  - a path after an authority begins with a slash (section 3.3): "//h:x" is no empty port and a
//    path "x";
//  - ".." above the root is dropped (section 5.2.4), Boost.URL keeps it;
//  - a reference without a path takes over that of the base as it stands (section 5.2.2), there
//    without its dots;
//  - escapes in paths stay as they are when resolved, there "%2F" becomes a slash;
//  - Boost.URL has its own rules for paths without root, which a URL with an authority never has.
#include "foundation/URLReference.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <boost/url/parse.hpp>
#include <boost/url/url.hpp>

using fuzz::require;

namespace {

namespace urls = boost::urls;
using Part = std::optional<std::string_view>;

std::string_view textOf(boost::core::string_view text) {
    return {text.data(), text.size()};
}

Part partOf(bool isThere, boost::core::string_view text) {
    return isThere ? Part(textOf(text)) : std::nullopt;
}

/// Whether a name follows four decimal numbers with nothing between.
bool goesOnAfterAddress(std::string_view host) {
    for (int octets = 0; octets < 4; ++octets) {
        const std::size_t digits = std::min(host.find_first_not_of("0123456789"), host.size());
        const bool endsWell = octets == 3 || host.substr(digits, 1) == ".";
        if (digits == 0 || !endsWell) {
            return false;
        }
        host.remove_prefix(digits + (octets == 3 ? 0 : 1));
    }
    return true;
}

bool hasRootlessPathAfterAuthority(const urls::url_view& url) {
    const std::string_view path = textOf(url.encoded_path());
    return url.has_authority() && !path.empty() && path.front() != '/';
}

bool hasParentSegment(std::string_view path) {
    return path.ends_with("/..") || path.find("/../") != path.npos;
}

void requireSameParts(const URLReference& ours, const urls::url_view& theirs) {
    require(ours.scheme == partOf(theirs.has_scheme(), theirs.scheme()), "same scheme");
    require(ours.authority.has_value() == theirs.has_authority(), "an authority or none");
    if (ours.authority) {
        const URLAuthority& authority = *ours.authority;
        require(
            authority.userInformation == partOf(theirs.has_userinfo(), theirs.encoded_userinfo()),
            "same user information");
        require(authority.host == textOf(theirs.encoded_host()), "same host");
        require(authority.port == partOf(theirs.has_port(), theirs.port()), "same port");
    }
    require(ours.path == textOf(theirs.encoded_path()), "same path");
    require(ours.query == partOf(theirs.has_query(), theirs.encoded_query()), "same query");
    require(
        ours.fragment == partOf(theirs.has_fragment(), theirs.encoded_fragment()), "same fragment");
}

void requireSameResolution(std::string_view baseText, const URLReference& reference,
    const urls::url_view& theirReference) {
    const auto base = URLReference::parse(baseText);
    const auto theirBase = urls::parse_uri(baseText);
    if (!base || !base->scheme || !base->authority || !theirBase
        || hasRootlessPathAfterAuthority(*theirBase)) {
        return;
    }
    const std::string ours = resolvedURL(*base, reference);
    const bool isComparable = !reference.path.empty() && (reference.authority || !reference.scheme)
        && reference.path.find('%') == reference.path.npos
        && base->path.find('%') == base->path.npos;
    urls::url theirs;
    require(urls::resolve(*theirBase, theirReference, theirs).has_value(), "Boost.URL resolves");
    theirs.remove_fragment();
    if (isComparable && !hasParentSegment(textOf(theirs.encoded_path()))) {
        require(ours == textOf(theirs.buffer()), "resolved alike");
    }
    require(URLReference::parse(ours).has_value(), "what is resolved is a URL");
}

} // namespace

void fuzz::target(std::string_view bytes) {
    Input input(bytes);
    const std::string_view text = input.takeUntil('\n');
    const auto ours = URLReference::parse(text);
    const auto theirs = urls::parse_uri_reference(text);
    if (theirs && !hasRootlessPathAfterAuthority(*theirs)) {
        require(ours.has_value(), "what Boost.URL reads is a URL");
        requireSameParts(*ours, *theirs);
        const std::string_view base = input.takeRest();
        requireSameResolution(base.empty() ? "https://h/a/b?c" : base, *ours, *theirs);
    } else if (ours) {
        const std::string_view host = ours->authority.value_or(URLAuthority{}).host;
        require(goesOnAfterAddress(host) || host.starts_with("[V"),
            "only names that begin with an address, and [V1.x], are read by us alone");
    }
}
