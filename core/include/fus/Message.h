#pragma once

#include "fus/Export.h"

#include <cstddef>
#include <memory>

namespace fus {

/// A text that is handed out by value: an owned, zero-terminated string that cannot be changed.
/// A text that may hold zeros is as long as its size; every other ends at its terminating zero.
/// An empty text is a null pointer with size 0, so a caller of c_str() must expect null.
class FUS_API Message {
public:
    Message() noexcept = default;
    /// Copies at most maxLength characters; a null or empty text, or 0, gives the null message.
    Message(const char* text, size_t maxLength);
    /// Takes over so many characters, which may hold zeros, with a terminating zero behind them.
    static Message ofBytes(std::unique_ptr<char[]> bytes, size_t size) noexcept;
    Message(const Message& other);
    ~Message() = default;
    Message& operator=(const Message&) = delete;

    /// Lives as long as this object; null if the message is empty.
    const char* c_str() const noexcept { return m_text.get(); }
    /// Characters without the terminating zero.
    size_t size() const noexcept { return m_size; }

private:
    Message(std::unique_ptr<char[]> bytes, size_t size) noexcept;

    // In this order: copying the text tells its size.
    size_t m_size = 0;
    std::unique_ptr<char[]> m_text;
};

} // namespace fus
