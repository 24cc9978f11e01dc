#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"
#include "fus/P_TextCursor.h"

#include <array>

namespace fus {

namespace {

constexpr int DETECT_BASE = 0;
constexpr char LIST_SEPARATOR = '|';

struct Spelling {
    std::string_view text;
    bool value;
};

// In this order, and by prefix: "nothing" is false, "truest" is true.
constexpr std::array<Spelling, 8> SPELLINGS = {{
    {"yes", true}, {"true", true}, {"no", false}, {"false", false}, {"y", true},
    {"1", true},   {"0", false},   {"n", false},
}};

char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

bool startsWith(std::string_view text, std::string_view lowerPrefix) {
    if (text.size() < lowerPrefix.size()) {
        return false;
    }
    for (size_t i = 0; i < lowerPrefix.size(); ++i) {
        if (lowerCase(text[i]) != lowerPrefix[i]) {
            return false;
        }
    }
    return true;
}

template <typename T>
T scalar(const text::Number<T>& number, const char* start, T defaultValue, const char* name,
         const char* kind) {
    if (number.end == start) {
        FUS_LOG(ERROR, "parameter '%s': can not be converted to %s", name, kind);
        return defaultValue;
    }
    return number.value;
}

template <typename T, typename Read>
size_t list(const char* text, std::vector<T>& items, const char* name, const char* kind,
            Read read) {
    TextCursor cursor(text);
    size_t count = 0;
    for (; !cursor.atEnd(); ++count) {
        T item{};
        if (!read(cursor, &item)) {
            FUS_LOG(ERROR, "parameter '%s': can not read %s item %d", name, kind,
                    static_cast<int>(count));
            break;
        }
        items.push_back(item);
    }
    return count;
}

std::string_view cutAtZero(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

} // namespace

ConfigParam::ConfigParam(std::string_view name, std::string_view value)
    : m_name(cutAtZero(name)), m_value(cutAtZero(value)) {}

bool ConfigParam::toBool(bool defaultValue) const noexcept {
    for (const Spelling& spelling : SPELLINGS) {
        if (startsWith(m_value, spelling.text)) {
            return spelling.value;
        }
    }
    return defaultValue;
}

int32_t ConfigParam::toInt(int32_t defaultValue) const {
    return m_value.empty() ? defaultValue
                           : scalar(text::toInt(value(), DETECT_BASE), value(), defaultValue,
                                    printableName(), "integer");
}

uint32_t ConfigParam::toUnsigned(uint32_t defaultValue) const {
    return m_value.empty() ? defaultValue
                           : scalar(text::toUnsigned(value(), DETECT_BASE), value(), defaultValue,
                                    printableName(), "unsigned integer");
}

float ConfigParam::toFloat(float defaultValue) const {
    return m_value.empty() ? defaultValue
                           : scalar(text::toFloat(value()), value(), defaultValue, printableName(),
                                    "float");
}

size_t ConfigParam::toInts(std::vector<int32_t>& items) const {
    return list(value(), items, printableName(), "integer", [](TextCursor& cursor, int32_t* item) {
        return cursor.readInt(item, LIST_SEPARATOR, DETECT_BASE);
    });
}

size_t ConfigParam::toUnsigneds(std::vector<uint32_t>& items) const {
    return list(value(), items, printableName(), "unsigned integer",
                [](TextCursor& cursor, uint32_t* item) {
                    return cursor.readUnsigned(item, LIST_SEPARATOR, DETECT_BASE);
                });
}

size_t ConfigParam::toFloats(std::vector<float>& items) const {
    return list(value(), items, printableName(), "float", [](TextCursor& cursor, float* item) {
        return cursor.readFloat(item, LIST_SEPARATOR);
    });
}

} // namespace fus
