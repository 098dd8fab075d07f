// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserInterface.h"

#include <functional>
#include <utility>

namespace platform {

/// A status view whose text storage hands all text on.
class StatusView final : public NSTextView, private NSTextStorage {
public:
    using Append = std::function<void(std::string_view text)>;

    explicit StatusView(Append append)
        : m_append(std::move(append)) { }
    NSTextStorage* textStorage() override { return this; }

private:
    void append(std::string_view text) override { m_append(text); }

    const Append m_append;
};

} // namespace platform
