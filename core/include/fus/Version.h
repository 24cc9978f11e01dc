#pragma once

#include "fus/Export.h"

#include <cstdint>
#include <string>

namespace fus {

/// Four components "v1.v2.v3.v4", compared in this order. A plain value.
class FUS_API Version {
public:
    constexpr Version() noexcept = default;
    constexpr Version(unsigned first, unsigned second, unsigned third, unsigned fourth) noexcept
        : v1(first), v2(second), v3(third), v4(fourth) {}
    /// As setFromString; a text that cannot be read leaves 0.0.0.0.
    explicit Version(const char* text);

    void set(unsigned first, unsigned second, unsigned third, unsigned fourth) noexcept;
    void clear() noexcept;

    /// Reads one of two forms; false, with nothing changed, if the text is neither.
    /// - One to four numbers with any run of "-./_" between them: "3.1", "1-2_3/4". Missing
    ///   components are 0, signs are dropped, text behind the fourth is ignored.
    /// - The name of a board (UPB, SNT, AMP, CAL, MOT, THM, PGA), one character, and exactly
    ///   three numbers: "UPB_1.2.3". The third component becomes the number of the board's
    ///   kind, the third number the fourth component.
    bool setFromString(const char* text);
    /// "v1.v2.v3.v4" in decimal.
    std::string toString() const;

    uint32_t v1 = 0;
    uint32_t v2 = 0;
    uint32_t v3 = 0;
    uint32_t v4 = 0;
};

FUS_API bool operator==(const Version& a, const Version& b) noexcept;
FUS_API bool operator<(const Version& a, const Version& b) noexcept;
inline bool operator!=(const Version& a, const Version& b) noexcept {
    return !(a == b);
}
inline bool operator>(const Version& a, const Version& b) noexcept {
    return b < a;
}
inline bool operator<=(const Version& a, const Version& b) noexcept {
    return !(b < a);
}
inline bool operator>=(const Version& a, const Version& b) noexcept {
    return !(a < b);
}

/// All zeros: what accessors return where no board exists.
extern FUS_API const Version nullVersion;

} // namespace fus
