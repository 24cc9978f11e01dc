#include "P_LogFormat.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace fus {

namespace {

/// A buffer that takes what fits.
class Room {
public:
    Room(char* begin, std::size_t room) : m_begin(begin), m_next(begin), m_end(begin + room - 1) {}

    void put(const char* text, std::size_t length) {
        const std::size_t taken = std::min(length, static_cast<std::size_t>(m_end - m_next));
        std::memcpy(m_next, text, taken);
        m_next += taken;
    }

    void putText(const char* text) {
        if (text == nullptr)
            text = "(null)";
        put(text, std::strlen(text));
    }

    void putNumber(std::uint64_t value, unsigned base) {
        char digits[20];
        char* first = digits + sizeof(digits);
        do {
            *--first = "0123456789ABCDEF"[value % base];
            value /= base;
        } while (value != 0);
        put(first, static_cast<std::size_t>(digits + sizeof(digits) - first));
    }

    void putSigned(int value) {
        if (value < 0)
            put("-", 1);
        const auto wide = static_cast<std::int64_t>(value);
        putNumber(static_cast<std::uint64_t>(wide < 0 ? -wide : wide), 10);
    }

    std::size_t finish() {
        *m_next = '\0';
        return static_cast<std::size_t>(m_next - m_begin);
    }

private:
    char* m_begin;
    char* m_next;
    char* m_end;
};

/// Whether every conversion is one that `formatSimple` knows.
bool isSimple(const char* format) {
    while ((format = std::strchr(format, '%')) != nullptr) {
        ++format;
        if (*format == 'z' && format[1] == 'u')
            ++format;
        else if (*format == '\0' || std::strchr("duXs%", *format) == nullptr)
            return false;
        ++format;
    }
    return true;
}

std::size_t formatSimple(Room room, const char* format, va_list arguments) {
    while (const char* const percent = std::strchr(format, '%')) {
        room.put(format, static_cast<std::size_t>(percent - format));
        format = percent + 2;
        switch (percent[1]) {
        case 'd':
            room.putSigned(va_arg(arguments, int));
            break;
        case 'u':
            room.putNumber(va_arg(arguments, unsigned), 10);
            break;
        case 'X':
            room.putNumber(va_arg(arguments, unsigned), 16);
            break;
        case 's':
            room.putText(va_arg(arguments, const char*));
            break;
        case 'z':
            room.putNumber(va_arg(arguments, std::size_t), 10);
            ++format;
            break;
        default:
            room.put("%", 1);
            break;
        }
    }
    room.putText(format);
    return room.finish();
}

/// Whether the format ends in the middle of a conversion. C libraries make different things of
/// that.
bool isCutShort(const char* format) {
    while ((format = std::strchr(format, '%')) != nullptr) {
        format += 1 + std::strspn(format + 1, "-+ #0123456789.*hlLjzt");
        if (*format == '\0')
            return true;
        ++format;
    }
    return false;
}

/// A format that can't be used: the text as it stands, but for "%%".
std::size_t copyRefused(Room room, const char* format) {
    for (; *format != '\0'; ++format) {
        room.put(format, 1);
        if (format[0] == '%' && format[1] == '%')
            ++format;
    }
    return room.finish();
}

} // namespace

std::size_t formatMessage(char* out, std::size_t room, const char* format, va_list arguments) {
    if (isSimple(format))
        return formatSimple(Room(out, room), format, arguments);
    const int length = isCutShort(format) ? -1 : std::vsnprintf(out, room, format, arguments);
    if (length < 0)
        return copyRefused(Room(out, room), format);
    return std::min(static_cast<std::size_t>(length), room - 1);
}

} // namespace fus
