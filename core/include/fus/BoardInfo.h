#pragma once

#include "fus/Export.h"
#include "fus/Version.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace fus {

/// What a board says of itself when it is asked: its versions, and which firmware runs on it.
///
/// A plain value, filled by `FUS::readBoardInfo`; it stays good after a disconnect.
class FUS_API BoardInfo {
public:
    /// All fields 0 and empty.
    BoardInfo() = default;
    /// Of the date and time no more is kept than 29 characters; null is none.
    BoardInfo(const Version& hardware, const Version& firmware, std::uint32_t crc,
              std::uint32_t size, const char* datetime);

    Version hardwareVersion() const { return m_hardwareVersion; }
    Version firmwareVersion() const { return m_firmwareVersion; }
    /// CRC of the firmware, of 16 bits from older boards and of 32 from newer ones; 0 if unknown.
    std::uint32_t firmwareCRC() const { return m_firmwareCRC; }
    /// Size of the firmware [byte]; 0 if the board doesn't report one.
    std::uint32_t firmwareSize() const { return m_firmwareSize; }
    /// When the firmware was built, as the board writes it: date, blank, time. Empty if unknown,
    /// never null; lives as long as this object.
    const char* firmwareDatetime() const { return m_firmwareDatetime.data(); }

private:
    static constexpr std::size_t DATETIME_SIZE = 30;

    Version m_hardwareVersion;
    Version m_firmwareVersion;
    std::uint32_t m_firmwareCRC = 0;
    std::uint32_t m_firmwareSize = 0;
    std::array<char, DATETIME_SIZE> m_firmwareDatetime{}; // ends with a null
};

} // namespace fus
