// What is really connected, told by the hardware itself.

#include "fus/FUS.h"

#include "fus/FUSEvent.h"
#include "fus/P_Connection.h"
#include "fus/P_FUSPrivate.h"
#include "fus/P_JSONExport.h"

#include <string>

namespace fus {

using namespace gprotocol;

BoardInfo FUS::readBoardInfo(BoardType type, unsigned char address) {
    return m_private->getConnection()->readBoardInfo(type, address);
}

void FUS::readBoardVersions(BoardType type, unsigned char address, Version& hardware,
                            Version& firmware) {
    m_private->getConnection()->readBoardVersions(type, address, hardware, firmware);
}

Message FUS::exportJSONConfig() {
    const auto connection = m_private->connection();
    const std::string text = connection ? exportJSON(*connection) : "{}";
    return {text.c_str(), text.size()};
}

void FUS::reboot(unsigned what) {
    m_private->getConnection()->reboot(what);
    if (what == REBOOT_ALL || what == REBOOT_SLAVES) {
        m_private->disconnectSocket(ConnectEvent::REASON_USER_REQUEST);
    }
}

} // namespace fus
