// SPDX-License-Identifier: MIT
#include "foundation/SharedText.h"

OwnedText::OwnedText(std::string text) {
    const auto memory = std::make_shared<std::string>(std::move(text));
    m_data = memory->data();
    m_size = memory->size();
    m_memory = memory;
}

OwnedText OwnedText::takePrefix(std::size_t length) {
    OwnedText prefix(m_memory, m_data, length);
    m_data += length;
    m_size -= length;
    return prefix;
}

bool OwnedText::takeOverNext(OwnedText& next) {
    if (m_memory == nullptr || m_memory != next.m_memory || m_data + m_size != next.m_data) {
        return false;
    }
    m_size += next.m_size;
    next = {};
    return true;
}

void OwnedText::swap(OwnedText& other) noexcept {
    std::swap(m_memory, other.m_memory);
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
}

SharedText::SharedText(std::string text) {
    auto memory = std::make_shared<const std::string>(std::move(text));
    m_text = *memory;
    m_memory = std::move(memory);
}
