#pragma once

#include "fus/GProtocol.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace fus {

class FloatArray;
class Mask1D;
class Version;

/// How a definition's reader takes the text of a value.
enum class ValueKind {
    TEXT,
    HOST,     ///< a text that is to be an address
    WORD,     ///< one of a few texts
    INTEGER,  ///< as ConfigParam::toInt
    UNSIGNED, ///< as ConfigParam::toUnsigned
    FLOAT,    ///< as ConfigParam::toFloat
    BOOL,     ///< as ConfigParam::toBool
    VERSION,  ///< as Version
    MASK,     ///< as Mask1D
    INTEGERS, ///< and these as the lists of ConfigParam
    UNSIGNEDS,
    FLOATS
};

/// What a value is to be, beyond what the readers see to: they take nearly everything.
struct ValueRule {
    ValueKind kind;
    const char* expected =
        nullptr; ///< for people; null: what kind, range and words tell by themselves
    double least = -std::numeric_limits<double>::infinity(); ///< of a number, or of each of a list
    double greatest = std::numeric_limits<double>::infinity();
    const gprotocol::EnumRow* words = nullptr; ///< that it may be, by their names
    std::size_t wordCount = 0;

    constexpr ValueRule within(double lowest, double highest) const {
        ValueRule rule = *this;
        rule.least = lowest;
        rule.greatest = highest;
        return rule;
    }
    template <std::size_t N>
    constexpr ValueRule oneOf(const gprotocol::EnumRow (&rows)[N], std::size_t skipped = 0) const {
        ValueRule rule = *this;
        rule.words = rows + skipped;
        rule.wordCount = N - skipped;
        return rule;
    }
};

/// "a whole number from 1 to 65535".
std::string expectationOf(const ValueRule& rule);

/// A key that a definition may hold.
struct DefinitionKey {
    std::string section; ///< path; empty: in front of the first section
    std::string name;    ///< with a last '#' for a number: c# is c0, c1, ...
    ValueRule rule;
};

/// What is wrong with a definition as it was read.
struct DefinitionComplaint {
    enum Weight {
        REFUSED, ///< it doesn't load
        IGNORED, ///< it loads, and does not do what is written
        ODD      ///< it does, but hardly what was meant
    };

    Weight weight;
    std::string section;
    std::string key;
    std::string text; ///< what was found; empty: the log's words say it
    std::string log;  ///< the line of the log; empty if there was none
};

/// Goes along with the reading of a definition, which tells it what it makes of each key, and then
/// goes on behind what it would stop at otherwise.
struct DefinitionReview {
    using Place = std::pair<std::string, std::string>; ///< section and key

    std::map<Place, std::string> readings; ///< what each key that was looked up is read as
    std::vector<DefinitionComplaint> complaints;
};

/// Values as a definition would write them.
std::string asWritten(std::int64_t value);
std::string asWritten(float value);
std::string asWritten(bool value);
std::string asWritten(const char* value);
std::string asWritten(const Version& value);
std::string asWritten(const Mask1D& value);
std::string asWritten(const FloatArray& values);
std::string asWritten(const std::vector<float>& values);
std::string asWritten(const std::vector<std::int32_t>& values);
std::string asWritten(const std::vector<std::uint32_t>& values);
inline std::string asWritten(const std::string& value) {
    return value;
}
inline std::string asWritten(std::uint32_t value) {
    return asWritten(static_cast<std::int64_t>(value));
}
inline std::string asWritten(std::int32_t value) {
    return asWritten(static_cast<std::int64_t>(value));
}

} // namespace fus
