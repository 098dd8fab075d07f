// SPDX-License-Identifier: MIT
// Texts of any size that are handed on without being copied: the memory below them goes with its
// last holder.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// Bytes that nobody else looks at, so that their holder may change them. They may be a part of a
/// larger memory, whose other parts have other holders.
class OwnedText {
public:
    OwnedText() = default;
    OwnedText(std::string text);
    OwnedText(const char* text)
        : OwnedText(std::string(text)) { }
    OwnedText(std::shared_ptr<void> memory, char* data, std::size_t size)
        : m_memory(std::move(memory))
        , m_data(data)
        , m_size(size) { }
    OwnedText(OwnedText&& other) noexcept { swap(other); }
    OwnedText& operator=(OwnedText&& other) noexcept {
        OwnedText(std::move(other)).swap(*this);
        return *this;
    }

    std::string_view view() const { return {m_data, m_size}; }
    char* data() { return m_data; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    const std::shared_ptr<void>& memory() const { return m_memory; }

    /// The first bytes, which this text then holds no longer.
    OwnedText takePrefix(std::size_t length);
    void removeSuffix(std::size_t length) { m_size -= length; }
    /// Takes over a text that follows this one in the same memory; false when it does not.
    bool takeOverNext(OwnedText& next);

private:
    void swap(OwnedText& other) noexcept;

    std::shared_ptr<void> m_memory;
    char* m_data = nullptr;
    std::size_t m_size = 0;
};

/// A text that stays as it is, whoever holds it.
class SharedText {
public:
    SharedText() = default;
    SharedText(std::string text);
    SharedText(const char* text)
        : SharedText(std::string(text)) { }
    /// `memory` keeps `text`, which nobody changes any more.
    SharedText(std::shared_ptr<const void> memory, std::string_view text)
        : m_memory(std::move(memory))
        , m_text(text) { }

    std::string_view view() const { return m_text; }
    std::size_t size() const { return m_text.size(); }

    friend bool operator==(const SharedText& a, std::string_view b) { return a.m_text == b; }

private:
    std::shared_ptr<const void> m_memory;
    std::string_view m_text;
};
