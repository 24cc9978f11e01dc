// What the readers make of a value without a word, and what was hardly meant.

#include "fus/P_DefinitionCheck.h"

#include "fus/P_TextCursor.h"
#include "fus/Version.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace fus {

namespace {

const ValueFault GOOD;
constexpr int DETECT_BASE = 0;
constexpr char LIST_SEPARATOR = '|';
constexpr std::size_t MAX_OTHERS = 30; // characters
constexpr const char* BLANKS = " \t";
constexpr unsigned VERSION_NUMBERS = 4;
constexpr unsigned ADDRESS_NUMBERS = 4;
constexpr unsigned ADDRESS_MAX = 255;

ValueFault error(std::string text) {
    return {DefinitionCheck::SEVERITY_ERROR, std::move(text)};
}

ValueFault warning(std::string text) {
    return {DefinitionCheck::SEVERITY_WARNING, std::move(text)};
}

bool isGood(const ValueFault& fault) {
    return fault.text.empty();
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(BLANKS);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

bool isComment(std::string_view text) {
    return !text.empty() && (text.front() == '#' || text.front() == ';' ||
                             text.substr(0, 2) == "//" || text.substr(0, 2) == "/*");
}

/// What stands behind a number. A ';' or '#' at the number itself rather separates than comments.
ValueFault faultOfRest(std::string_view rest) {
    const bool touches = !rest.empty() && (rest.front() == ';' || rest.front() == '#');
    rest = trimmed(rest);
    if (rest.empty()) {
        return GOOD;
    }
    if (isComment(rest) && !touches) {
        return warning("a comment needs a line of its own");
    }
    return error(quoted(rest) + " behind the number isn't read" +
                 (rest.front() == ',' ? ", decimals take a point" : ""));
}

ValueFault faultOfRange(double number, const ValueRule& rule) {
    if (!std::isfinite(number)) {
        return error("not a finite number");
    }
    return number < rule.least || number > rule.greatest ? error("out of range") : GOOD;
}

bool isOctal(std::string_view text) {
    text = trimmed(text);
    text.remove_prefix(!text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0);
    return text.size() > 1 && text[0] == '0' && isDigit(text[1]);
}

ValueFault faultOfWhole(const std::string& text, bool isSigned, const ValueRule& rule) {
    const auto asSigned = text::toInt(text.c_str(), DETECT_BASE);
    const auto asUnsigned = text::toUnsigned(text.c_str(), DETECT_BASE);
    if (asSigned.end == text.c_str()) {
        return error("not a number");
    }
    if (isSigned ? asSigned.outOfRange : asUnsigned.outOfRange) {
        return error("out of the range of a number");
    }
    if (!isSigned && asSigned.value < 0) {
        return error("negative");
    }
    if (isOctal(text)) {
        return error("a number that begins with 0 is an octal one");
    }
    ValueFault rest = faultOfRest(asSigned.end);
    if (!isGood(rest)) {
        return rest;
    }
    const double number = isSigned ? asSigned.value : asUnsigned.value;
    const auto isThis = [&](const gprotocol::EnumRow& row) {
        return row.name == std::to_string(asSigned.value);
    };
    if (rule.wordCount != 0 && std::none_of(rule.words, rule.words + rule.wordCount, isThis)) {
        return error("not possible");
    }
    return faultOfRange(number, rule);
}

ValueFault faultOfReal(const std::string& text, const ValueRule& rule) {
    const auto number = text::toFloat(text.c_str());
    if (number.end == text.c_str()) {
        return error("not a number");
    }
    if (number.outOfRange) {
        return error("out of the range of a number");
    }
    const ValueFault rest = faultOfRest(number.end);
    return isGood(rest) ? faultOfRange(static_cast<double>(number.value), rule) : rest;
}

using FaultOfNumber = ValueFault (*)(const std::string& text, const ValueRule& rule);

ValueFault faultOfInteger(const std::string& text, const ValueRule& rule) {
    return faultOfWhole(text, true, rule);
}

ValueFault faultOfUnsigned(const std::string& text, const ValueRule& rule) {
    return faultOfWhole(text, false, rule);
}

bool isNumberBehindBlank(const char* rest) {
    return isBlank(*rest) && text::toFloat(rest).end != rest;
}

/// Behind the last separator a blank ends an item, too: each of them is looked at.
ValueFault faultOfLastItem(const std::string& item, FaultOfNumber faultOfNumber,
                           const ValueRule& rule) {
    bool hasSeveral = false;
    const char* number = item.c_str();
    for (const char* end = text::toFloat(number).end; isNumberBehindBlank(end);
         end = text::toFloat(number).end) {
        ValueFault fault = faultOfNumber(std::string(number, end), rule);
        if (!isGood(fault)) {
            return fault;
        }
        hasSeveral = true;
        number = end;
    }
    ValueFault fault = faultOfNumber(number, rule);
    const bool isWrong = !isGood(fault) && fault.severity == DefinitionCheck::SEVERITY_ERROR;
    return hasSeveral && !isWrong ? warning("a blank between numbers instead of a |") : fault;
}

ValueFault faultOfItem(const std::string& item, bool isLast, FaultOfNumber faultOfNumber,
                       const ValueRule& rule) {
    if (trimmed(item).empty()) {
        return error("empty: the list ends in front of it");
    }
    return isLast ? faultOfLastItem(item, faultOfNumber, rule) : faultOfNumber(item, rule);
}

/// That of the first item that has one, with the numbers of all.
ValueFault faultOfList(std::string_view value, FaultOfNumber faultOfNumber, const ValueRule& rule) {
    ValueFault first;
    std::string others;
    for (unsigned number = 1; !value.empty(); ++number) {
        const std::size_t end = value.find(LIST_SEPARATOR);
        const bool isLast = end == std::string_view::npos;
        const ValueFault fault =
            faultOfItem(std::string(value.substr(0, end)), isLast, faultOfNumber, rule);
        value.remove_prefix(isLast ? value.size() : end + 1);
        if (isGood(fault)) {
            continue;
        }
        if (isGood(first)) {
            first = {fault.severity, "item " + std::to_string(number) + ": " + fault.text};
        } else if (others.size() < MAX_OTHERS) {
            others += (others.empty() ? "" : ", ") + std::to_string(number);
        }
    }
    first.text += others.empty() ? "" : " (and see item " + others + ")";
    return first;
}

ValueFault faultOfBool(const ConfigParam& param) {
    if (ConfigParam::isBoolWord(param.value())) {
        return GOOD;
    }
    if (isDigit(*param.value())) {
        return faultOfRest(param.value() + 1); // only a first 0 or 1 is looked at
    }
    return param.toBool(true) == param.toBool(false) ? warning("only its beginning is looked at")
                                                     : error("neither true nor false");
}

ValueFault faultOfWord(const std::string& value, const ValueRule& rule) {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < rule.wordCount; ++i) {
        if (value == rule.words[i].name) {
            return GOOD;
        }
        words.emplace_back(rule.words[i].name);
    }
    const std::string meant = nearestName(value, words);
    return error(meant.empty() ? "unknown word" : "unknown word (did you mean " + meant + "?)");
}

/// Runs of digits.
std::size_t countNumbers(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        count += isDigit(text[i]) && (i == 0 || !isDigit(text[i - 1])) ? 1U : 0U;
    }
    return count;
}

ValueFault faultOfVersion(const std::string& value) {
    Version version;
    if (!version.setFromString(value.c_str())) {
        return error("not a version");
    }
    const bool isPlain = value.find_first_not_of("0123456789-./_") == std::string::npos;
    return isPlain && countNumbers(value) == VERSION_NUMBERS ? GOOD : warning("not four numbers");
}

/// Whether the groups between dashes have as many entries each.
bool hasEqualGroups(std::string_view mask) {
    const std::size_t length = mask.find('-');
    for (std::size_t end = length; end != std::string_view::npos; end = mask.find('-')) {
        if (end != length) {
            return false;
        }
        mask.remove_prefix(end + 1);
    }
    return length == std::string_view::npos || mask.empty() || mask.size() == length;
}

ValueFault faultOfMask(std::string_view value) {
    const auto isForeign = [](char c) {
        return c != '0' && c != '1' && c != '-' && std::strchr(BLANKS, c) == nullptr;
    };
    const auto foreign = std::find_if(value.begin(), value.end(), isForeign);
    if (foreign != value.end()) {
        return error(quoted({&*foreign, 1}) + " isn't counted as a channel");
    }
    return hasEqualGroups(value) ? GOOD : warning("groups of different lengths");
}

bool isAddress(const std::string& value) {
    unsigned numbers = 0;
    for (const char* next = value.c_str(); numbers < ADDRESS_NUMBERS; ++next) {
        const auto number = text::toUnsigned(next, 10);
        if (!isDigit(*next) || number.value > ADDRESS_MAX) {
            return false;
        }
        next = number.end;
        ++numbers;
        if (*next != '.') {
            return numbers == ADDRESS_NUMBERS && *next == '\0';
        }
    }
    return false;
}

ValueFault faultOfHost(const std::string& value) {
    const auto isForeign = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) == 0 && std::strchr("-._", c) == nullptr;
    };
    const auto foreign = std::find_if(value.begin(), value.end(), isForeign);
    if (foreign != value.end()) {
        return error("no address has a " + quoted({&*foreign, 1}));
    }
    const bool isNumeric = value.find_first_not_of("0123456789.") == std::string::npos;
    return isNumeric && !isAddress(value) ? error("not an IPv4 address") : GOOD;
}

ValueFault faultOfText(const std::string& value) {
    return value.find(" #") != std::string::npos || value.find(" ;") != std::string::npos
               ? warning("a comment needs a line of its own: this one is a part of the text")
               : GOOD;
}

ValueFault faultOfValue(const ConfigParam& param, const ValueRule& rule) {
    const char* const value = param.value();
    switch (rule.kind) {
    case ValueKind::HOST:
        return faultOfHost(value);
    case ValueKind::WORD:
        return faultOfWord(value, rule);
    case ValueKind::INTEGER:
        return faultOfInteger(value, rule);
    case ValueKind::UNSIGNED:
        return faultOfUnsigned(value, rule);
    case ValueKind::FLOAT:
        return faultOfReal(value, rule);
    case ValueKind::BOOL:
        return faultOfBool(param);
    case ValueKind::VERSION:
        return faultOfVersion(value);
    case ValueKind::MASK:
        return faultOfMask(value);
    case ValueKind::INTEGERS:
        return faultOfList(value, faultOfInteger, rule);
    case ValueKind::UNSIGNEDS:
        return faultOfList(value, faultOfUnsigned, rule);
    case ValueKind::FLOATS:
        return faultOfList(value, faultOfReal, rule);
    case ValueKind::TEXT:
        break;
    }
    return faultOfText(value);
}

} // namespace

ValueFault faultOf(const ConfigParam& param, const ValueRule& rule) {
    return param.value() == nullptr ? warning("no value") : faultOfValue(param, rule);
}

} // namespace fus
