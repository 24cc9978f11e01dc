// The text by which the generator described itself, as the elements of an array.

#include "fus/P_JSONExport.h"

#include "fus/P_LogMacros.h"

#include <ostream>
#include <sstream>
#include <utility>

namespace fus {

namespace {

constexpr const char* INI_BLANKS = " \t\n\r";

std::string trimmed(const std::string& line) {
    const std::size_t first = line.find_first_not_of(INI_BLANKS);
    if (first == std::string::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(INI_BLANKS) + 1 - first);
}

bool isComment(const std::string& line) {
    return line[0] == '#' || line[0] == ';';
}

// A blank character stays as it is, and the search passes over what follows it, too: consumers know
// a raw tab, and the character behind it without a backslash.
void escapeChars(std::string& text) {
    std::size_t position = 0;
    while ((position = text.find_first_of("\"\\\t\n\r", position)) != std::string::npos) {
        const char found = text[position];
        switch (found) {
        case '"':
        case '\\':
            text.insert(position, 1, '\\');
            break;
        case '\t':
        case '\n':
        case '\r':
            break;
        default:
            FUS_LOG(ERROR, "unhandled char (0x%02X) in escapeChars()",
                    static_cast<unsigned>(static_cast<unsigned char>(found)));
        }
        position += 2;
    }
}

void writeElement(std::ostream& out, const std::string& text) {
    out << "\t\t\"" << text << "\",\n";
}

} // namespace

void writeTextLines(std::ostream& out, const std::string& text) {
    std::istringstream lines(text.c_str()); // up to a null, at which the whole document would end
    bool isFirstSection = true;
    for (std::string raw; std::getline(lines, raw);) {
        std::string line = trimmed(raw);
        if (line.empty() || isComment(line)) {
            continue;
        }
        if (line[0] == '[' && !std::exchange(isFirstSection, false)) {
            writeElement(out, "");
        }
        escapeChars(line);
        writeElement(out, line);
    }
    out << "\t\t\"\"\n";
}

} // namespace fus
