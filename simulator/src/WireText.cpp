#include "WireText.h"

#include <cstddef>

namespace fus {
namespace simulator {

namespace {

constexpr const char* PREFIX = "simulator";

// As the INI reader sees it: high bytes are blanks too.
std::size_t skipBlanks(const std::string& line, std::size_t position) {
    while (position < line.size() && static_cast<signed char>(line[position]) <= 32) {
        ++position;
    }
    return position;
}

class SectionFilter {
public:
    // True if this line is to be kept.
    bool keep(const std::string& line) {
        const std::size_t first = skipBlanks(line, 0);
        if (line.compare(first, 2, "/*") == 0) {
            ++m_commentDepth;
        } else if (line.compare(first, 2, "*/") == 0 && m_commentDepth > 0) {
            --m_commentDepth;
        } else if (m_commentDepth == 0 && first < line.size() && line[first] == '[') {
            const std::size_t name = skipBlanks(line, first + 1);
            m_dropping = line.compare(name, std::string(PREFIX).size(), PREFIX) == 0;
        }
        return !m_dropping;
    }

private:
    unsigned m_commentDepth = 0;
    bool m_dropping = false;
};

} // namespace

std::string withoutSimulatorSections(const std::string& text) {
    std::string kept;
    SectionFilter filter;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        const std::size_t next = end == std::string::npos ? text.size() : end + 1;
        const std::string line = text.substr(start, next - start);
        if (filter.keep(line)) {
            kept += line;
        }
        start = next;
    }
    return kept;
}

} // namespace simulator
} // namespace fus
