#include "fus/P_DefinitionReview.h"

#include "fus/FloatArray.h"
#include "fus/Mask1D.h"
#include "fus/Version.h"

#include <cmath>
#include <locale>
#include <sstream>

namespace fus {

namespace {

struct KindRow {
    ValueKind kind;
    const char* expected;
};

constexpr KindRow KINDS[] = {
    {ValueKind::TEXT, "a text"},
    {ValueKind::HOST, "a name or an IPv4 address"},
    {ValueKind::WORD, "one of a few words"},
    {ValueKind::INTEGER, "a whole number"},
    {ValueKind::UNSIGNED, "a whole number"},
    {ValueKind::FLOAT, "a number"},
    {ValueKind::BOOL, "true or false"},
    {ValueKind::VERSION, "four numbers with points between them"},
    {ValueKind::MASK, "0 or 1 for each channel, in groups with - between them"},
    {ValueKind::INTEGERS, "whole numbers with | between them"},
    {ValueKind::UNSIGNEDS, "whole numbers with | between them"},
    {ValueKind::FLOATS, "numbers with | between them"},
};

std::string wordsOf(const ValueRule& rule) {
    std::string text;
    for (std::size_t i = 0; i < rule.wordCount; ++i) {
        const char* const glue = i == 0 ? "" : i + 1 == rule.wordCount ? " or " : ", ";
        text += glue + std::string(rule.words[i].name);
    }
    return text;
}

std::string rangeOf(const ValueRule& rule) {
    const auto number = [](double bound) { return asWritten(static_cast<float>(bound)); };
    if (std::isfinite(rule.greatest)) {
        return " from " + number(rule.least) + " to " + number(rule.greatest);
    }
    return std::isfinite(rule.least) ? " from " + number(rule.least) + " on" : "";
}

template <typename Items>
std::string listOf(const Items& items) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : "|") + asWritten(item);
    }
    return text;
}

} // namespace

std::string expectationOf(const ValueRule& rule) {
    if (rule.expected != nullptr) {
        return rule.expected;
    }
    if (rule.wordCount != 0) {
        return wordsOf(rule);
    }
    const KindRow* row = KINDS;
    while (row->kind != rule.kind) {
        ++row;
    }
    return row->expected + rangeOf(rule);
}

std::string asWritten(std::int64_t value) {
    return std::to_string(value);
}

std::string asWritten(float value) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(7);
    text << value;
    return text.str();
}

std::string asWritten(bool value) {
    return value ? "true" : "false";
}

std::string asWritten(const char* value) {
    return value == nullptr ? "" : value;
}

std::string asWritten(const Version& value) {
    return value.toString();
}

std::string asWritten(const Mask1D& value) {
    std::string text(value.size() + 1, '\0');
    text.resize(value.toString(&text[0], text.size()));
    return text;
}

std::string asWritten(const FloatArray& values) {
    return listOf(std::vector<float>(values.data(), values.data() + values.size()));
}

std::string asWritten(const std::vector<float>& values) {
    return listOf(values);
}

std::string asWritten(const std::vector<std::int32_t>& values) {
    return listOf(values);
}

std::string asWritten(const std::vector<std::uint32_t>& values) {
    return listOf(values);
}

} // namespace fus
