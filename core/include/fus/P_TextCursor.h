#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace fus {

/// Conversions of the C library with a long of 32 bits, whatever the platform's long is. Base 0
/// takes "0x" as hexadecimal, a leading "0" as octal, else decimal.
namespace text {

/// A number as it was read from the start of a text.
template <typename T>
struct Number {
    T value;
    /// Where the conversion stopped; the start of the text if no number is there.
    const char* end;
    /// True where the C library would have set errno; the value is then saturated.
    bool outOfRange;
};

Number<int32_t> toInt(const char* text, int base) noexcept;
/// A minus sign negates in 32 bits: "-1" is 4294967295.
Number<uint32_t> toUnsigned(const char* text, int base) noexcept;
/// Read in double precision, then rounded. Range errors are those of the double.
Number<float> toFloat(const char* text) noexcept;

} // namespace text

/// A scanner over its own copy of a text. It only ever moves forward. A delimiter of 0 means that
/// there is none.
class TextCursor {
public:
    /// A null or empty text gives a cursor that is at its end at once.
    explicit TextCursor(const char* text);
    TextCursor(const TextCursor&) = delete;
    TextCursor& operator=(const TextCursor&) = delete;

    /// The owned text; null if it is empty.
    const char* text() const noexcept { return m_text.get(); }
    uint64_t length() const noexcept { return m_length; }
    uint64_t position() const noexcept { return m_position; }
    bool atEnd() const noexcept { return m_position >= m_length; }

    /// Read the number that stands before the delimiter. On success the cursor is behind the
    /// delimiter, or behind the number if there is no delimiter. False, without a move, at the
    /// end of the text, if there is no number or if it is out of range. With a null value the
    /// number is only stepped over.
    bool readInt(int32_t* value, char delimiter = '\0', int base = 10);
    bool readUnsigned(uint32_t* value, char delimiter = '\0', int base = 10);
    bool readFloat(float* value, char delimiter = '\0');

    /// Copies up to the delimiter, which is stepped over, or to the end. A token of more than
    /// bufferSize - 1 characters is cut, and the cursor stays at its first unread character.
    /// Returns how many were copied: 0 at the end, but also for an empty token.
    size_t readToken(char* buffer, size_t bufferSize, char delimiter);

    /// Moves on by count; false, without a move, if that lies beyond the end.
    bool skip(uint64_t count) noexcept;
    /// Moves behind the next such character; false, without a move, if there is none.
    bool skipTo(char character) noexcept;
    /// Moves behind a run of characters of the set, and returns the length of the run.
    uint64_t skipAny(const char* set) noexcept;

private:
    template <typename T, typename Convert>
    bool readNumber(T* value, char delimiter, Convert convert);
    uint64_t find(char character) noexcept;
    char* current() noexcept { return m_text.get() + m_position; }

    size_t m_length = 0;
    std::unique_ptr<char[]> m_text;
    uint64_t m_position = 0;
    // The last delimiter that was looked for and where it stands (the length if nowhere). Without
    // this, a list without delimiters would be searched to its end for each of its items.
    char m_soughtCharacter = '\0';
    uint64_t m_soughtPosition = 0;
};

} // namespace fus
