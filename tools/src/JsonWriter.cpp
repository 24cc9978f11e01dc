#include "JsonWriter.h"

#include "Text.h"

#include <charconv>
#include <cmath>
#include <cstddef>

namespace fus::tool {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD

/// A row of the table of well-formed UTF-8: the lead bytes, how many bytes follow, and the range of
/// the first of these.
struct Utf8Row {
    unsigned char firstLead, lastLead;
    std::size_t following;
    unsigned char leastNext, mostNext;
};
constexpr Utf8Row UTF8_ROWS[] = {
    {0x00, 0x7F, 0, 0, 0},       {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F}};

bool isBetween(char byte, unsigned char least, unsigned char most) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= least && value <= most;
}

bool fits(const Utf8Row& row, const std::string& text, std::size_t at) {
    if (!isBetween(text[at], row.firstLead, row.lastLead) || text.size() - at <= row.following) {
        return false;
    }
    for (std::size_t i = 1; i <= row.following; ++i) {
        if (!isBetween(text[at + i], i == 1 ? row.leastNext : 0x80, i == 1 ? row.mostNext : 0xBF)) {
            return false;
        }
    }
    return true;
}

/// Bytes of the character at this place, 0 if there is none.
std::size_t characterLength(const std::string& text, std::size_t at) {
    for (const Utf8Row& row : UTF8_ROWS) {
        if (fits(row, text, at)) {
            return row.following + 1;
        }
    }
    return 0;
}

std::string escaped(char c) {
    switch (c) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return c >= 0 && c < ' ' ? formatted("\\u%04x", static_cast<unsigned>(c))
                                 : std::string(1, c);
    }
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text, at);
        if (length == 0) {
            result += REPLACEMENT;
        } else {
            result += length == 1 ? escaped(text[at]) : text.substr(at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return result + '"';
}

} // namespace

JsonWriter& JsonWriter::key(const std::string& name) {
    newElement();
    m_out << quoted(name) << ':' << (m_indent > 0 ? " " : "");
    m_afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::value(const std::string& text) {
    return literal(quoted(text));
}

JsonWriter& JsonWriter::value(float number) {
    if (!std::isfinite(number)) {
        return null();
    }
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text), number);
    return literal(std::string(text, end.ptr));
}

JsonWriter& JsonWriter::begin(char bracket) {
    newElement();
    m_out << bracket;
    m_hasElements.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
    const bool hadElements = m_hasElements.back();
    m_hasElements.pop_back();
    if (hadElements) {
        newLine();
    }
    m_out << bracket;
    return *this;
}

JsonWriter& JsonWriter::literal(const std::string& text) {
    newElement();
    m_out << text;
    return *this;
}

void JsonWriter::newElement() {
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (m_hasElements.empty()) {
        return;
    }
    if (m_hasElements.back()) {
        m_out << ',';
    }
    m_hasElements.back() = true;
    newLine();
}

void JsonWriter::newLine() {
    if (m_indent > 0) {
        m_out << '\n' << std::string(m_hasElements.size() * m_indent, ' ');
    }
}

} // namespace fus::tool
