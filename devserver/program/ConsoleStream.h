// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>

namespace devserver {

/// Writes to a console what may stand there. An agent's words must not move the cursor: control
/// characters (C0 but line break and tab, DEL, C1) and what is no UTF-8 become "?".
class ConsoleStream final : public std::ostream {
public:
    /// `console` outlives it. Several may write to one console.
    explicit ConsoleStream(std::ostream& console)
        : std::ostream(nullptr)
        , m_buffer(*console.rdbuf()) {
        rdbuf(&m_buffer);
    }

private:
    /// Bytes of a sequence that has begun wait until it is whole.
    class Buffer final : public std::streambuf {
    public:
        explicit Buffer(std::streambuf& console)
            : m_console(console) { }

    private:
        int_type overflow(int_type c) override;
        int sync() override { return m_console.pubsync(); }

        bool take(unsigned char byte);
        bool put(char c) { return m_console.sputc(c) != traits_type::eof(); }

        std::streambuf& m_console;
        std::string m_begun; // of a sequence of UTF-8
        std::size_t m_missing = 0; // bytes of it
    };

    Buffer m_buffer;
};

} // namespace devserver
