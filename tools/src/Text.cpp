#include "Text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace fus::tool {

std::string formatted(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string printable(const std::string& text) {
    std::string result = text;
    for (char& c : result) {
        if (c < ' ' || c > '~') {
            c = '?';
        }
    }
    return result;
}

std::string counted(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

std::string ranges(const std::vector<unsigned>& numbers) {
    std::string text;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[first]);
        if (last > first) {
            text += '-' + std::to_string(numbers[last]);
        }
        first = last + 1;
    }
    return text;
}

std::string timeStamp() {
    const std::time_t now = std::time(nullptr);
    const std::tm* const time = std::localtime(&now); // NOLINT(concurrency-mt-unsafe): as told
    if (time == nullptr) {
        return "?";
    }
    char text[32];
    return {text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", time)};
}

std::vector<std::size_t> Table::widths() const {
    std::vector<std::size_t> result;
    for (const auto& row : m_rows) {
        result.resize(std::max(result.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            result[i] = std::max(result[i], row[i].size());
        }
    }
    return result;
}

void Table::print(std::ostream& out, std::size_t indent) const {
    const std::vector<std::size_t> widths = this->widths();
    for (const auto& row : m_rows) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string blanks(widths[i] - row[i].size(), ' ');
            const bool right = i < m_columns.size() && m_columns[i] == Align::RIGHT;
            line += (i > 0 ? "  " : "") + (right ? blanks + row[i] : row[i] + blanks);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

} // namespace fus::tool
