#include "fus/P_TextCursor.h"

#include "fus/Utilities.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace fus {

namespace text {

namespace {

constexpr uint64_t UNSIGNED_MAX = std::numeric_limits<uint32_t>::max();
constexpr unsigned NO_DIGIT = 36;

struct Integer {
    uint64_t magnitude = 0;
    bool negative = false;
    const char* end = nullptr;
};

// Written out rather than left to the C library, whose long has 64 bits on most platforms and
// whose base 0 takes "0b" for binary in newer ones.
unsigned digitValue(char character) {
    if (character >= '0' && character <= '9') {
        return static_cast<unsigned>(character - '0');
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'z' ? static_cast<unsigned>(lower - 'a') + 10 : NO_DIGIT;
}

bool isSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

bool hasHexPrefix(const char* text) {
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && digitValue(text[2]) < 16;
}

// Steps over the prefix that belongs to the base.
unsigned detectBase(const char*& text, int base) {
    if ((base == 0 || base == 16) && hasHexPrefix(text)) {
        text += 2;
        return 16;
    }
    if (base != 0) {
        return static_cast<unsigned>(base);
    }
    return *text == '0' ? 8 : 10;
}

Integer scanInteger(const char* text, int base) {
    const char* next = text;
    while (isSpace(*next)) {
        ++next;
    }
    Integer integer;
    integer.negative = *next == '-';
    next += *next == '-' || *next == '+' ? 1 : 0;
    const unsigned radix = detectBase(next, base);
    const char* digits = next;
    for (; digitValue(*next) < radix; ++next) {
        // Once it is beyond 32 bits it only has to stay there.
        if (integer.magnitude <= UNSIGNED_MAX) {
            integer.magnitude = integer.magnitude * radix + digitValue(*next);
        }
    }
    integer.end = next == digits ? text : next;
    return integer;
}

} // namespace

Number<int32_t> toInt(const char* text, int base) noexcept {
    const Integer integer = scanInteger(text, base);
    const auto magnitude = static_cast<int64_t>(integer.magnitude);
    const int64_t exact = integer.negative ? -magnitude : magnitude;
    const int64_t value = std::clamp<int64_t>(exact, std::numeric_limits<int32_t>::min(),
                                              std::numeric_limits<int32_t>::max());
    return {static_cast<int32_t>(value), integer.end, value != exact};
}

Number<uint32_t> toUnsigned(const char* text, int base) noexcept {
    const Integer integer = scanInteger(text, base);
    if (integer.magnitude > UNSIGNED_MAX) {
        return {std::numeric_limits<uint32_t>::max(), integer.end, true};
    }
    const auto magnitude = static_cast<uint32_t>(integer.magnitude);
    return {integer.negative ? 0U - magnitude : magnitude, integer.end, false};
}

Number<float> toFloat(const char* text) noexcept {
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text, &end);
    return {static_cast<float>(value), end, errno != 0};
}

} // namespace text

TextCursor::TextCursor(const char* text)
    : m_text(copyString(text, 0, std::numeric_limits<size_t>::max(), &m_length)) {}

bool TextCursor::readInt(int32_t* value, char delimiter, int base) {
    return readNumber(value, delimiter, [base](const char* t) { return text::toInt(t, base); });
}

bool TextCursor::readUnsigned(uint32_t* value, char delimiter, int base) {
    return readNumber(value, delimiter,
                      [base](const char* t) { return text::toUnsigned(t, base); });
}

bool TextCursor::readFloat(float* value, char delimiter) {
    return readNumber(value, delimiter, text::toFloat);
}

template <typename T, typename Convert>
bool TextCursor::readNumber(T* value, char delimiter, Convert convert) {
    if (atEnd()) {
        return false;
    }
    const uint64_t cut = find(delimiter);
    const char kept = m_text[cut];
    m_text[cut] = '\0';
    const auto number = convert(current());
    m_text[cut] = kept;
    if (number.outOfRange || number.end == current()) {
        return false;
    }
    m_position = cut < m_length ? cut + 1 : static_cast<uint64_t>(number.end - m_text.get());
    if (value != nullptr) {
        *value = number.value;
    }
    return true;
}

size_t TextCursor::readToken(char* buffer, size_t bufferSize, char delimiter) {
    if (buffer == nullptr || bufferSize == 0) {
        return 0;
    }
    const uint64_t end = find(delimiter);
    const size_t count = std::min<size_t>(end - m_position, bufferSize - 1);
    std::copy_n(current(), count, buffer);
    buffer[count] = '\0';
    m_position += count;
    if (m_position == end && end < m_length) {
        ++m_position;
    }
    return count;
}

bool TextCursor::skip(uint64_t count) noexcept {
    if (count > m_length - m_position) {
        return false;
    }
    m_position += count;
    return true;
}

bool TextCursor::skipTo(char character) noexcept {
    const uint64_t found = find(character);
    if (found == m_length) {
        return false;
    }
    m_position = found + 1;
    return true;
}

uint64_t TextCursor::skipAny(const char* set) noexcept {
    if (atEnd()) {
        return 0;
    }
    const uint64_t count = std::strspn(current(), set);
    m_position += count;
    return count;
}

uint64_t TextCursor::find(char character) noexcept {
    if (atEnd() || character == '\0') {
        return m_length;
    }
    if (m_soughtCharacter != character || m_soughtPosition < m_position) {
        const void* found = std::memchr(current(), character, m_length - m_position);
        m_soughtPosition =
            found == nullptr
                ? m_length
                : static_cast<uint64_t>(static_cast<const char*>(found) - m_text.get());
        m_soughtCharacter = character;
    }
    return m_soughtPosition;
}

} // namespace fus
