// What a text looks like to the reader: bytes that it skips, and comments that go on.

#include "fus/P_DefinitionCheck.h"

#include <algorithm>
#include <istream>
#include <iterator>
#include <streambuf>

namespace fus {

namespace {

constexpr std::size_t MAX_PRINTED = 60;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view HARD_BLANK = "\xC2\xA0";

/// A text as the buffer of a stream, without a copy.
class ViewBuffer : public std::streambuf {
public:
    explicit ViewBuffer(std::string_view text) {
        char* const begin = const_cast<char*>(text.data()); // a buffer for reading doesn't write
        setg(begin, begin, begin + text.size());
    }
};

bool isHigh(char byte) {
    return static_cast<signed char>(byte) < 0;
}

bool isControl(char byte) {
    return (byte >= 0 && byte < ' ' && byte != '\t' && byte != '\r') || byte == '\x7F';
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

/// Bytes beyond ASCII, but for blanks that a word processor may leave.
std::ptrdiff_t countHigh(std::string_view text) {
    std::ptrdiff_t count = std::count_if(text.begin(), text.end(), isHigh);
    for (std::size_t at = text.find(HARD_BLANK); at != std::string_view::npos;
         at = text.find(HARD_BLANK, at + HARD_BLANK.size())) {
        count -= static_cast<std::ptrdiff_t>(HARD_BLANK.size());
    }
    return count;
}

std::string_view viewOf(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

std::string_view trimmed(std::string_view line) {
    constexpr const char* BLANKS = " \t\r";
    const std::size_t first = std::min(line.find_first_not_of(BLANKS), line.size());
    line.remove_prefix(first);
    return line.substr(0, line.find_last_not_of(BLANKS) + 1);
}

/// Whether something follows a carriage return that is to end a line.
bool hasInnerReturn(std::string_view line) {
    const std::size_t at = line.find('\r');
    return at != std::string_view::npos &&
           line.find_first_not_of("\r \t", at) != std::string_view::npos;
}

} // namespace

std::string printable(std::string_view bytes) {
    static constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes.substr(0, MAX_PRINTED)) {
        if (byte >= ' ' && byte < '\x7F') {
            text += byte;
        } else {
            const auto code = static_cast<unsigned char>(byte);
            text += {'\\', 'x', DIGITS[code >> 4], DIGITS[code & 0xF]};
        }
    }
    return text + (bytes.size() > MAX_PRINTED ? "..." : "");
}

std::string quoted(std::string_view bytes) {
    return "'" + printable(bytes) + "'";
}

void DefinitionFindings::moveTo(std::vector<Finding>& all) {
    const std::size_t dropped = m_count - m_kept.size();
    std::move(m_kept.begin(), m_kept.end(), std::back_inserter(all));
    if (dropped != 0) {
        all.push_back({m_dropped, all.back().line, "", "",
                       "and " + std::to_string(dropped) + " more like these"});
    }
}

DefinitionText::DefinitionText(std::string_view text) {
    ViewBuffer buffer(text);
    std::istream stream(&buffer);
    m_config.read(stream, this);
    if (m_commentDepth > 0 && !m_isCommentTold) {
        m_findings.error(m_commentLine,
                         "the comment that begins here isn't closed: all that follows is skipped");
    }
}

void DefinitionText::onLine(std::size_t number, std::string_view line) {
    m_number = number;
    m_line = line;
    if (number == 1 && startsWith(line, BYTE_ORDER_MARK)) { // which the reader takes for blanks
        m_line.remove_prefix(BYTE_ORDER_MARK.size());
    }
    if (hasInnerReturn(line)) {
        m_findings.error(number, "a carriage return alone doesn't end a line: what follows it is "
                                 "read as a part of this one");
    }
}

void DefinitionText::onSection(const ConfigSection& section, std::string_view ignored) {
    m_headers.push_back({static_cast<unsigned>(m_number), &section});
    if (!ignored.empty() && ignored.find_first_of("#;") != ignored.find_first_not_of(" \t")) {
        m_findings.error(m_number, "what stands behind the ']' isn't read: " + quoted(ignored));
    }
    if (std::any_of(m_line.begin(), m_line.end(), isControl)) {
        m_findings.error(m_number, "bytes that are no text: " + quoted(m_line));
    }
}

void DefinitionText::onParam(const ConfigSection& section) {
    const std::size_t index = section.params().size() - 1;
    m_entries.push_back({static_cast<unsigned>(m_number), &section, index});
    const std::string_view name = viewOf(m_entries.back().param().name());
    const std::string_view value = viewOf(m_entries.back().param().value());
    std::string text;
    if (std::any_of(m_line.begin(), m_line.end(), isControl)) {
        text = "bytes that are no text: " + quoted(trimmed(m_line));
    } else if (countHigh(m_line) != countHigh(name) + countHigh(value)) {
        text = "letters and signs beyond ASCII are skipped at both ends of a key and of a value: "
               "read as " +
               quoted(name) + " = " + quoted(value);
    }
    if (!text.empty()) {
        m_findings.add({DefinitionCheck::SEVERITY_ERROR, static_cast<unsigned>(m_number),
                        printable(pathOf(section)), printable(name), text});
    }
}

void DefinitionText::onComment(std::size_t depth, std::string_view ignored) {
    const bool opens = depth > m_commentDepth;
    m_commentDepth = depth;
    if (opens && depth == 1) {
        m_commentLine = m_number;
        m_isCommentTold = false;
    }
    if (opens && ignored.find("*/") != std::string_view::npos) {
        m_isCommentTold = true;
        m_findings.error(m_number, "'*/' ends a comment at the start of a line only: this one goes "
                                   "on, and what it covers isn't read");
    } else if (!opens && depth == 0 && !ignored.empty()) {
        m_findings.error(m_number, "what stands behind '*/' isn't read: " + quoted(ignored));
    }
}

void DefinitionText::onFault(const char* why) {
    m_readable = false;
    m_findings.error(m_number, std::string(why) + ": " + quoted(trimmed(m_line)));
}

} // namespace fus
