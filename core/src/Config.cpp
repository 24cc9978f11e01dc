#include "fus/P_Config.h"

#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"

namespace fus {

namespace {

// Signed on every platform: bytes from 0x80 count as blanks, they always have.
bool isBlank(char character) {
    return static_cast<signed char>(character) <= ' ';
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    size_t blanks = 0;
    while (blanks < text.size() && isBlank(text[blanks])) {
        ++blanks;
    }
    return text.substr(blanks);
}

std::string_view withoutTrailingBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isSeparator(char character) {
    return character == '=' || character == ':';
}

// A stream that throws has ended, like one that fails.
bool nextLine(std::istream& stream, std::string& line) {
    try {
        return static_cast<bool>(std::getline(stream, line));
    } catch (...) {
        return false;
    }
}

} // namespace

/// Takes the lines of a text one by one, and knows the section and the comment that it is in.
class ConfigReader {
public:
    explicit ConfigReader(Config& config) : m_config(config), m_section(&config) {}

    void readLine(std::string_view line) {
        const std::string_view content = withoutLeadingBlanks(line);
        if (content.empty() || content.front() == '#' || content.front() == ';') {
            return;
        }
        if (startsWith(content, "/*")) {
            ++m_commentDepth;
        } else if (startsWith(content, "*/")) {
            require(m_commentDepth > 0);
            --m_commentDepth;
        } else if (m_commentDepth > 0) {
            return;
        } else if (content.front() == '[') {
            readSection(content.substr(1));
        } else {
            readParam(content);
        }
    }

private:
    static void require(bool condition) {
        if (!condition) {
            FUS_THROW(ERR_CONFIG_PARSE);
        }
    }

    void readSection(std::string_view content) {
        content = withoutLeadingBlanks(content);
        const size_t end = content.find(']');
        require(end != std::string_view::npos);
        const std::string_view name = withoutTrailingBlanks(content.substr(0, end));
        // A path ends at a zero byte, but its length counts before that.
        require(name.size() != 1);
        m_section = m_config.createSection(name.substr(0, name.find('\0')));
        require(m_section != nullptr);
    }

    void readParam(std::string_view content) {
        size_t keyEnd = 0;
        while (keyEnd < content.size() && !isBlank(content[keyEnd]) &&
               !isSeparator(content[keyEnd])) {
            ++keyEnd;
        }
        const std::string_view rest = withoutLeadingBlanks(content.substr(keyEnd));
        require(!rest.empty() && isSeparator(rest.front()));
        const std::string_view value = withoutLeadingBlanks(rest.substr(1));
        m_section->addParam(content.substr(0, keyEnd), withoutTrailingBlanks(value));
    }

    Config& m_config;
    ConfigSection* m_section;
    size_t m_commentDepth = 0;
};

Config::Config() : ConfigSection("/") {}

void Config::read(std::istream& stream) {
    if (!stream.good()) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, "Invalid stream/file.");
    }
    ConfigReader reader(*this);
    std::string line;
    while (nextLine(stream, line)) {
        reader.readLine(line);
    }
}

} // namespace fus
