#include "fus/BoardInfo.h"

namespace fus {

BoardInfo::BoardInfo(const Version& hardware, const Version& firmware, std::uint32_t crc,
                     std::uint32_t size, const char* datetime)
    : m_hardwareVersion(hardware), m_firmwareVersion(firmware), m_firmwareCRC(crc),
      m_firmwareSize(size) {
    for (std::size_t i = 0; datetime != nullptr && i < DATETIME_SIZE - 1 && datetime[i] != '\0';
         ++i) {
        m_firmwareDatetime[i] = datetime[i];
    }
}

} // namespace fus
