#include "fus/Version.h"

#include "fus/P_TextCursor.h"

#include <cstring>
#include <tuple>

namespace fus {

namespace {

constexpr const char* SEPARATORS = "-./_";

struct BoardPrefix {
    const char* letters;
    unsigned value;
};

constexpr size_t PREFIX_LENGTH = 3;
constexpr BoardPrefix BOARD_PREFIXES[] = {
    {"UPB", 10}, {"SNT", 11}, {"AMP", 12}, {"CAL", 14}, {"MOT", 15}, {"THM", 16}, {"PGA", 17},
};

// Negated as unsigned, because the least integer has no positive counterpart.
unsigned magnitude(int32_t value) {
    const auto bits = static_cast<unsigned>(value);
    return value < 0 ? 0U - bits : bits;
}

bool readComponent(TextCursor& cursor, unsigned& component) {
    int32_t value = 0;
    if (!cursor.readInt(&value)) {
        return false;
    }
    component = magnitude(value);
    return true;
}

bool readFurtherComponents(TextCursor& cursor, Version& version) {
    for (unsigned* component : {&version.v2, &version.v3, &version.v4}) {
        cursor.skipAny(SEPARATORS);
        if (cursor.atEnd()) {
            return true;
        }
        if (!readComponent(cursor, *component)) {
            return false;
        }
    }
    return true;
}

const BoardPrefix* boardPrefix(const char* text) {
    for (const BoardPrefix& prefix : BOARD_PREFIXES) {
        if (std::strncmp(text, prefix.letters, PREFIX_LENGTH) == 0) {
            return &prefix;
        }
    }
    return nullptr;
}

bool readBoardVersion(TextCursor& cursor, Version& version) {
    const BoardPrefix* prefix = boardPrefix(cursor.text());
    if (prefix == nullptr || !cursor.skip(PREFIX_LENGTH + 1)) {
        return false;
    }
    version.v3 = prefix->value;
    return readComponent(cursor, version.v1) && cursor.skipAny(SEPARATORS) > 0 &&
           readComponent(cursor, version.v2) && cursor.skipAny(SEPARATORS) > 0 &&
           readComponent(cursor, version.v4);
}

} // namespace

const Version nullVersion;

Version::Version(const char* text) {
    setFromString(text);
}

void Version::set(unsigned first, unsigned second, unsigned third, unsigned fourth) noexcept {
    *this = Version(first, second, third, fourth);
}

void Version::clear() noexcept {
    *this = Version();
}

bool Version::setFromString(const char* text) {
    if (text == nullptr || *text == '\0') {
        return false;
    }
    TextCursor cursor(text);
    Version read;
    const bool ok = readComponent(cursor, read.v1) ? readFurtherComponents(cursor, read)
                                                   : readBoardVersion(cursor, read);
    if (ok) {
        *this = read;
    }
    return ok;
}

std::string Version::toString() const {
    return std::to_string(v1) + "." + std::to_string(v2) + "." + std::to_string(v3) + "." +
           std::to_string(v4);
}

bool operator==(const Version& a, const Version& b) noexcept {
    return std::tie(a.v1, a.v2, a.v3, a.v4) == std::tie(b.v1, b.v2, b.v3, b.v4);
}

bool operator<(const Version& a, const Version& b) noexcept {
    return std::tie(a.v1, a.v2, a.v3, a.v4) < std::tie(b.v1, b.v2, b.v3, b.v4);
}

} // namespace fus
