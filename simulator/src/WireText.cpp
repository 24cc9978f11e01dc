#include "WireText.h"

#include <cstddef>
#include <vector>

namespace fus {
namespace simulator {

namespace {

constexpr const char* BACK_PANEL = "BKP";

// As the INI reader sees it: high bytes are blanks too.
bool isBlank(char character) {
    return static_cast<signed char>(character) <= 32;
}

std::size_t skipBlanks(const std::string& line, std::size_t position) {
    while (position < line.size() && isBlank(line[position])) {
        ++position;
    }
    return position;
}

// Lines with their ends.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        const std::size_t next = end == std::string::npos ? text.size() : end + 1;
        lines.push_back(text.substr(start, next - start));
        start = next;
    }
    return lines;
}

// Goes through a text line by line, and knows what each of them is.
class LineReader {
public:
    enum Kind { COMMENT, SECTION, CONTENT };

    Kind read(const std::string& line) {
        const std::size_t first = skipBlanks(line, 0);
        if (line.compare(first, 2, "/*") == 0) {
            ++m_commentDepth;
            return COMMENT;
        }
        if (line.compare(first, 2, "*/") == 0 && m_commentDepth > 0) {
            --m_commentDepth;
            return COMMENT;
        }
        if (m_commentDepth > 0) {
            return COMMENT;
        }
        if (first == line.size() || line[first] != '[') {
            return CONTENT;
        }
        const std::size_t name = skipBlanks(line, first + 1);
        m_section = line.substr(name, line.find(']', name) - name);
        while (!m_section.empty() && isBlank(m_section.back())) {
            m_section.pop_back();
        }
        return SECTION;
    }
    const std::string& section() const { return m_section; }

private:
    unsigned m_commentDepth = 0;
    std::string m_section;
};

std::string endOf(const std::string& line) {
    const std::size_t end = line.find_last_not_of("\r\n");
    return line.substr(end == std::string::npos ? 0 : end + 1);
}

// A line that gives this key a value; the value is replaced.
bool replaceValue(std::string& line, const std::string& key, const std::string& value) {
    const std::size_t first = skipBlanks(line, 0);
    const std::size_t separator = skipBlanks(line, first + key.size());
    const bool isIt = line.compare(first, key.size(), key) == 0 && separator < line.size() &&
                      (line[separator] == '=' || line[separator] == ':');
    if (isIt) {
        line = line.substr(0, separator + 1) + " " + value + endOf(line);
    }
    return isIt;
}

struct KeyValue {
    std::string key;
    std::string value;
    bool isSet = false;
};

} // namespace

std::string withBackPanel(const std::string& text, const std::string& snt, const std::string& amp) {
    std::vector<std::string> lines = linesOf(text);
    KeyValue pairs[] = {{"snt_chr", snt}, {"amp_chr", amp}};
    std::size_t header = lines.size();
    LineReader reader;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const LineReader::Kind kind = reader.read(lines[i]);
        if (reader.section() != BACK_PANEL) {
            continue;
        }
        header = header == lines.size() ? i : header;
        for (KeyValue& pair : pairs) {
            const bool isOpen = kind == LineReader::CONTENT && !pair.isSet; // the first one counts
            pair.isSet = pair.isSet || (isOpen && replaceValue(lines[i], pair.key, pair.value));
        }
    }
    std::string result;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        result += lines[i];
        for (const KeyValue& pair : pairs) {
            const bool isMissing = i == header && !pair.isSet;
            result += isMissing ? pair.key + " = " + pair.value + endOf(lines[i]) : "";
        }
    }
    return result;
}

} // namespace simulator
} // namespace fus
