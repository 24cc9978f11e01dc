#include "fus/Message.h"

#include "fus/Utilities.h"

namespace fus {

Message::Message(const char* text, size_t maxLength)
    : m_text(copyString(text, 0, maxLength, &m_size)) {}

Message::Message(const Message& other) : Message(other.c_str(), other.size()) {}

} // namespace fus
