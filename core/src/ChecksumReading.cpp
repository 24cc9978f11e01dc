#include "fus/P_ChecksumPrivate.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <string_view>

namespace fus {

namespace {

using EOLType = Checksum::EOLType;

constexpr std::string_view BLANKS = " \t";
constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";
constexpr std::string_view FILE_SECTION = "[File]";
constexpr std::string_view CHECKSUM = "checksum";

const char* eolName(EOLType type) {
    static constexpr const char* NAMES[] = {"EOL_UNKNOWN", "EOL_LINUX", "EOL_MAC", "EOL_DOS"};
    return NAMES[type];
}

/// As of a line that has the wrong one.
const char* shortEOLName(EOLType type) {
    return eolName(type) + std::string_view("EOL_").size();
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

std::string_view withoutLeading(std::string_view text, std::string_view set) {
    const size_t first = text.find_first_not_of(set);
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string_view withoutTrailing(std::string_view text, std::string_view set) {
    return text.substr(0, text.find_last_not_of(set) + 1);
}

/// Cuts the first line off a text. Its end is unknown if the text ends before it does.
class Line {
public:
    explicit Line(std::string_view& rest) {
        size_t length = 0;
        while (length < rest.size() && rest[length] != '\n' && rest[length] != '\r') {
            ++length;
        }
        text = rest.substr(0, length);
        rest.remove_prefix(length);
        end = cutEnd(rest);
    }

    std::string_view text;
    EOLType end;

private:
    static EOLType cutEnd(std::string_view& rest) {
        EOLType type = Checksum::EOL_UNKNOWN;
        if (startsWith(rest, "\n")) {
            type = Checksum::EOL_LINUX;
        } else if (startsWith(rest, "\r\n")) {
            type = Checksum::EOL_DOS;
        } else if (startsWith(rest, "\r")) {
            type = Checksum::EOL_MAC;
        }
        constexpr unsigned LENGTHS[] = {0, 1, 1, 2};
        rest.remove_prefix(LENGTHS[type]);
        return type;
    }
};

class ChecksumReader {
public:
    ChecksumReader(ChecksumPrivate& checksum, bool strict)
        : m_checksum(checksum), m_strict(strict) {}

    Checksum::ValidationProblem read() {
        std::string_view first = m_checksum.input;
        m_checksum.eolType = Line(first).end;
        FUS_LOG(DEBUG, "Checksum: EOL type: %s.", eolName(m_checksum.eolType));
        m_checksum.meaningful.reserve(m_checksum.input.size());
        m_checksum.lines.reserve(expectedLines());
        auto problem = Checksum::VALIDATION_OK;
        for (std::string_view rest = m_checksum.input; !rest.empty() && !problem;) {
            problem = readLine(Line(rest));
        }
        return problem;
    }

private:
    /// As many as there are if all end like the first: a list that grows is moved again and again.
    size_t expectedLines() const {
        const char end = m_checksum.eolType == Checksum::EOL_MAC ? '\r' : '\n';
        const std::string& input = m_checksum.input;
        return static_cast<size_t>(std::count(input.begin(), input.end(), end)) + 1;
    }

    Checksum::ValidationProblem readLine(const Line& line) {
        if (m_strict && (line.end == Checksum::EOL_UNKNOWN || line.end != m_checksum.eolType)) {
            return wrongEnd(line.end);
        }
        m_checksum.lines.emplace_back(line.text);
        const std::string_view content = withoutLeading(line.text, BLANKS);
        if (content.empty() || content.front() == '#' || content.front() == ';') {
            return Checksum::VALIDATION_OK;
        }
        if (content.front() == '[') {
            m_noSectionYet = false;
            m_inFileSection = startsWith(content, FILE_SECTION);
        }
        if (startsWith(content, CHECKSUM) && (m_noSectionYet || m_inFileSection)) {
            if (m_checksum.fileFormat == Checksum::FORMAT_NONE) {
                if (takeChecksum(content.substr(CHECKSUM.size()))) {
                    return Checksum::VALIDATION_OK;
                }
            } else if (refuseChecksum()) {
                return Checksum::VALIDATION_MANY_CHECKSUMS;
            }
        }
        m_checksum.meaningful += withoutTrailing(content, BLANKS);
        return Checksum::VALIDATION_OK;
    }

    Checksum::ValidationProblem wrongEnd(EOLType end) const {
        if (end == Checksum::EOL_UNKNOWN) {
            FUS_LOG(ERROR, "Checksum: no EOL at the end of input data.");
            return Checksum::VALIDATION_NO_FINAL_EOL;
        }
        FUS_LOG(ERROR, "Checksum: Inconsistent EOL found on line %d (%s).",
                static_cast<int>(m_checksum.lines.size()), shortEOLName(end));
        return Checksum::VALIDATION_INCONSISTENT_EOL;
    }

    /// What follows the word in its line; false if it makes no checksum line.
    bool takeChecksum(std::string_view rest) {
        rest = withoutLeading(rest, WHITE_SPACE);
        if (!startsWith(rest, "=") && !startsWith(rest, ":")) {
            return false;
        }
        m_checksum.fileFormat =
            m_noSectionYet ? Checksum::FORMAT_HEADER : Checksum::FORMAT_FILE_SECTION;
        m_checksum.checksumLine = currentLine();
        m_checksum.extractedChecksum = withoutLeading(rest.substr(1), WHITE_SPACE);
        FUS_LOG(DEBUG, "Checksum: extracted = %s", m_checksum.extractedChecksum.c_str());
        return true;
    }

    /// A further one, which anything counts as that begins with the word.
    bool refuseChecksum() const {
        FUS_LOG(
            ERROR, "Checksum: More than one checksum found in INI (line %u and %u, using first).",
            static_cast<unsigned>(m_checksum.checksumLine), static_cast<unsigned>(currentLine()));
        return m_strict;
    }

    int32_t currentLine() const { return static_cast<int32_t>(m_checksum.lines.size()) - 1; }

    ChecksumPrivate& m_checksum;
    const bool m_strict;
    bool m_noSectionYet = true;
    bool m_inFileSection = false;
};

} // namespace

Checksum::ValidationProblem readChecksumLines(ChecksumPrivate& checksum, bool strict) {
    return ChecksumReader(checksum, strict).read();
}

} // namespace fus
