#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"
#include "fus/P_TextCursor.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace fus {

namespace {

constexpr int DETECT_BASE = 0;
constexpr char LIST_SEPARATOR = '|';

struct Spelling {
    const char* text;
    bool value;
};

// In this order, and by prefix: "nothing" is false, "truest" is true.
constexpr Spelling SPELLINGS[] = {
    {"yes", true}, {"true", true}, {"no", false}, {"false", false},
    {"y", true},   {"1", true},    {"0", false},  {"n", false},
};

char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

bool startsWith(const char* text, const char* lowerPrefix) {
    while (*lowerPrefix != '\0' && lowerCase(*text) == *lowerPrefix) {
        ++text;
        ++lowerPrefix;
    }
    return *lowerPrefix == '\0';
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

} // namespace

ConfigParam::ConfigParam(std::string_view name, std::string_view value)
    : m_nameLength(name.size()), m_texts(new char[name.size() + value.size() + 2]) {
    char* const valueText = std::copy(name.begin(), name.end(), m_texts.get()) + 1;
    valueText[-1] = '\0';
    *std::copy(value.begin(), value.end(), valueText) = '\0';
}

bool ConfigParam::toBool(bool defaultValue) const noexcept {
    const char* const text = value() == nullptr ? "" : value();
    for (const Spelling& spelling : SPELLINGS) {
        if (startsWith(text, spelling.text)) {
            return spelling.value;
        }
    }
    return defaultValue;
}

bool ConfigParam::isBoolWord(const char* text) noexcept {
    return std::any_of(std::begin(SPELLINGS), std::end(SPELLINGS), [text](const Spelling& word) {
        return startsWith(text, word.text) && text[std::strlen(word.text)] == '\0';
    });
}

int32_t ConfigParam::toInt(int32_t defaultValue) const {
    return value() == nullptr ? defaultValue
                              : scalar(text::toInt(value(), DETECT_BASE), value(), defaultValue,
                                       printableName(), "integer");
}

uint32_t ConfigParam::toUnsigned(uint32_t defaultValue) const {
    return value() == nullptr ? defaultValue
                              : scalar(text::toUnsigned(value(), DETECT_BASE), value(),
                                       defaultValue, printableName(), "unsigned integer");
}

float ConfigParam::toFloat(float defaultValue) const {
    return value() == nullptr
               ? defaultValue
               : scalar(text::toFloat(value()), value(), defaultValue, printableName(), "float");
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
