// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>
#include <string>

namespace devserver {

/// An encoding by its name, of those in which ASCII stands for itself and a character's first byte
/// tells how many it has.
class XmlEncoding {
public:
    /// Null when the system does not know it, or it is of another kind.
    static std::unique_ptr<XmlEncoding> of(const std::string& name);
    ~XmlEncoding();

    /// What a byte stands for: a character; -1: none; -2, -3: the first of so many bytes.
    const std::array<int, 256>& meanings() const { return m_meanings; }
    /// The character of a sequence; -1 when it is none.
    int character(const char* sequence) const;

private:
    explicit XmlEncoding(void* converter);
    int meaningOf(unsigned char first) const;

    void* m_converter;
    std::array<int, 256> m_meanings{};
};

} // namespace devserver
