#include "fus/Message.h"

#include "fus/Utilities.h"

#include <cstring>
#include <utility>

namespace fus {

Message::Message(const char* text, size_t maxLength)
    : m_text(copyString(text, 0, maxLength, &m_size)) {}

Message::Message(std::unique_ptr<char[]> bytes, size_t size) noexcept
    : m_size(size), m_text(size == 0 ? nullptr : std::move(bytes)) {}

Message Message::ofBytes(std::unique_ptr<char[]> bytes, size_t size) noexcept {
    return Message(std::move(bytes), size);
}

// By the size, not up to a zero.
Message::Message(const Message& other)
    : m_size(other.m_size), m_text(m_size == 0 ? nullptr : new char[m_size + 1]) {
    if (m_text != nullptr) {
        std::memcpy(m_text.get(), other.m_text.get(), m_size + 1);
    }
}

} // namespace fus
