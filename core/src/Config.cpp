#include "fus/P_Config.h"

#include "fus/FUSException.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstring>
#include <ios>
#include <streambuf>

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

} // namespace

namespace {

/// Hands out the lines of a stream, without their line feeds, in place wherever that can be: line
/// by line through the stream costs as much as the rest of the reading. Takes from the stream's
/// buffer only what stands in it, so that nothing is lost when the next filling fails.
class LineSource {
public:
    explicit LineSource(std::istream& stream) : m_stream(stream), m_chunk(CHUNK_SIZE) {}

    /// The line is valid until the next call. False at the end, and when the stream fails or
    /// throws; then what it gave of an unfinished line is dropped.
    bool next(std::string_view& line) {
        m_straddling.clear();
        for (;;) {
            const char* start = m_chunk.data() + m_position;
            const void* feed = std::memchr(start, '\n', m_filled - m_position);
            if (feed != nullptr) {
                const auto length = static_cast<size_t>(static_cast<const char*>(feed) - start);
                m_position += length + 1;
                line = joined({start, length});
                return true;
            }
            m_straddling.append(start, m_filled - m_position);
            if (!fill()) {
                line = m_straddling;
                return !m_broken && !m_straddling.empty();
            }
        }
    }

private:
    static constexpr size_t CHUNK_SIZE = 65536;

    std::string_view joined(std::string_view tail) {
        return m_straddling.empty() ? tail : std::string_view(m_straddling.append(tail));
    }

    bool fill() {
        m_position = m_filled = 0;
        auto state = std::ios::badbit | std::ios::failbit;
        try {
            std::streambuf& buffer = *m_stream.rdbuf();
            if (buffer.sgetc() != std::char_traits<char>::eof()) {
                // A buffer that holds nothing ready has at least the byte that was just peeked.
                const auto ready = std::max<std::streamsize>(buffer.in_avail(), 1);
                m_filled = static_cast<size_t>(
                    buffer.sgetn(m_chunk.data(), std::min<std::streamsize>(ready, CHUNK_SIZE)));
                return true;
            }
            state = std::ios::eofbit | std::ios::failbit;
        } catch (...) {
            m_broken = true;
        }
        leaveStream(state);
        return false;
    }

    // The stream is left as a failed read leaves it, whatever it throws at that.
    void leaveStream(std::ios::iostate state) {
        try {
            m_stream.setstate(state);
        } catch (const std::ios::failure&) {
            // The state is set all the same, and reading has ended anyway.
        }
    }

    std::istream& m_stream;
    std::vector<char> m_chunk;
    size_t m_filled = 0;
    size_t m_position = 0;
    bool m_broken = false;
    // The part of a line that stood in former chunks.
    std::string m_straddling;
};

} // namespace

/// Takes the lines of a text one by one, and knows the section and the comment that it is in.
class ConfigReader {
public:
    ConfigReader(Config& config, ConfigObserver* observer)
        : m_config(config), m_section(&config), m_observer(observer) {}

    /// Null, or why the line can't be read.
    const char* readLine(std::string_view line) {
        const std::string_view content = withoutLeadingBlanks(line);
        if (content.empty() || content.front() == '#' || content.front() == ';') {
            return nullptr;
        }
        if (startsWith(content, "/*")) {
            return moveToDepth(m_commentDepth + 1, content);
        }
        if (startsWith(content, "*/")) {
            return m_commentDepth > 0 ? moveToDepth(m_commentDepth - 1, content)
                                      : "no comment is open that could end here";
        }
        if (m_commentDepth > 0) {
            return nullptr;
        }
        return content.front() == '[' ? readSection(content.substr(1)) : readParam(content);
    }

private:
    const char* moveToDepth(size_t depth, std::string_view content) {
        m_commentDepth = depth;
        if (m_observer != nullptr) {
            m_observer->onComment(depth, withoutTrailingBlanks(content.substr(2)));
        }
        return nullptr;
    }

    const char* readSection(std::string_view content) {
        content = withoutLeadingBlanks(content);
        const size_t end = content.find(']');
        if (end == std::string_view::npos) {
            return "the ']' behind the section's name is missing";
        }
        const std::string_view name = withoutTrailingBlanks(content.substr(0, end));
        // A path ends at a zero byte, but its length counts before that.
        ConfigSection* const section =
            name.size() == 1 ? nullptr : m_config.createSection(name.substr(0, name.find('\0')));
        if (section == nullptr) {
            return "a section's name has at least two characters";
        }
        m_section = section;
        if (m_observer != nullptr) {
            m_observer->onSection(*section, withoutTrailingBlanks(content.substr(end + 1)));
        }
        return nullptr;
    }

    const char* readParam(std::string_view content) {
        size_t keyEnd = 0;
        while (keyEnd < content.size() && !isBlank(content[keyEnd]) &&
               !isSeparator(content[keyEnd])) {
            ++keyEnd;
        }
        const std::string_view rest = withoutLeadingBlanks(content.substr(keyEnd));
        if (rest.empty() || !isSeparator(rest.front())) {
            return "neither a comment nor a section nor 'key = value'";
        }
        const std::string_view value = withoutLeadingBlanks(rest.substr(1));
        m_section->addParam(content.substr(0, keyEnd), withoutTrailingBlanks(value));
        if (m_observer != nullptr) {
            m_observer->onParam(*m_section);
        }
        return nullptr;
    }

    Config& m_config;
    ConfigSection* m_section;
    ConfigObserver* m_observer;
    size_t m_commentDepth = 0;
};

Config::Config() : ConfigSection("/") {}

void Config::read(std::istream& stream, ConfigObserver* observer) {
    if (!stream.good()) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, "Invalid stream/file.");
    }
    ConfigReader reader(*this, observer);
    LineSource source(stream);
    std::string_view line;
    for (size_t number = 1; source.next(line); ++number) {
        if (observer != nullptr) {
            observer->onLine(number, line);
        }
        const char* const fault = reader.readLine(line);
        if (fault == nullptr) {
            continue;
        }
        if (observer == nullptr) {
            FUS_THROW(ERR_CONFIG_PARSE);
        }
        observer->onFault(fault);
    }
}

} // namespace fus
