// SPDX-License-Identifier: MIT
#include "foundation/CleanText.h"

#include "foundation/Utf8.h"

#include <algorithm>

CleanText CleanText::beginningOf(std::string_view text) {
    return CleanText(text.substr(0, utf8PrefixLengthWithoutNul(text)));
}

JudgedText::JudgedText(OwnedText text)
    : m_text(std::move(text))
    , m_cleanLength(CleanText::beginningOf(m_text.view()).view().size()) {
}

void JudgedText::removeSuffix(std::size_t length) {
    m_text.removeSuffix(length);
    m_cleanLength = std::min(m_cleanLength, m_text.size());
}
