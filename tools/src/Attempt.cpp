#include "Attempt.h"

namespace fus::tool {

bool isLinkLost(const FUSException& error) {
    const FUSError code = error.errorCode();
    return code == ERR_NOT_CONNECTED || code == ERR_SOCKET_READ || code == ERR_SOCKET_WRITE;
}

bool isTimeOut(const FUSException& error) {
    return error.errorCode() == ERR_TIMEOUT;
}

} // namespace fus::tool
