#include "fus/P_Network.h"

#include "fus/P_LogMacros.h"
#include "platform/platform.h"

namespace fus {

Network& Network::getInstance() {
    static Network instance;
    return instance;
}

bool Network::init() {
    if (!m_initialised) {
        m_initialised = platform::startNetwork() == 0;
    }
    return m_initialised;
}

Network::~Network() {
    exit();
}

void Network::exit() {
    if (m_initialised) {
        const int result = platform::stopNetwork();
        const bool busy = result != 0 && platform::isBusy(platform::lastSocketError());
        FUS_LOG(VERBOSE, "Network::exit() result=%d", result);
        if (busy) {
            platform::stopNetwork();
        }
    }
    m_initialised = false;
}

} // namespace fus
