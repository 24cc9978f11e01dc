#include "fus/P_TCPSocket.h"

#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"
#include "platform/platform.h"

#include <cerrno>

namespace fus {

IPv4Address::IPv4Address(const char* name) {
    if (name != nullptr && *name != '\0') {
        m_value = platform::resolveIPv4(name);
    }
}

std::string IPv4Address::toString() const {
    return platform::formatIPv4(m_value);
}

TCPSocket::TCPSocket() : m_descriptor(platform::openTcpSocket()) {
    if (!hasDescriptor()) {
        const int error = errno;
        FUS_LOG(ERROR, "bad socket, errno=%d: %s", error, errnoMessage(error));
    }
}

TCPSocket::~TCPSocket() {
    closeDescriptor();
}

bool TCPSocket::hasDescriptor() const {
    return m_descriptor != platform::NO_SOCKET;
}

void TCPSocket::closeDescriptor() {
    const Descriptor open = m_descriptor.exchange(platform::NO_SOCKET);
    if (open != platform::NO_SOCKET) {
        platform::closeSocket(open);
    }
}

bool TCPSocket::bind(const IPv4Address& address, std::uint16_t port) {
    if (!hasDescriptor()) {
        FUS_LOG(ERROR, "bind: bad socket");
        return false;
    }
    if (platform::bindSocket(m_descriptor, address.value(), port) != 0) {
        const int error = platform::lastSocketError();
        FUS_LOG(ERROR, "bind failed (addr=%s port=%d) desc=%d, error=%d: %s",
                address.toString().c_str(), port, printedDescriptor(), error,
                platform::socketErrorText(error).c_str());
        return false;
    }
    std::uint32_t boundAddress = 0;
    std::uint16_t boundPort = 0;
    if (platform::socketName(m_descriptor, boundAddress, boundPort) == 0) {
        m_localAddress = IPv4Address(boundAddress);
        m_localPort = boundPort;
    } else {
        const int error = platform::lastSocketError();
        FUS_LOG(ERROR, "getsockname failed desc=%d, error=%d: %s", printedDescriptor(), error,
                platform::socketErrorText(error).c_str());
        m_localAddress = address;
        m_localPort = port;
    }
    setFlag(BOUND);
    return true;
}

void TCPSocket::setOption(int level, int option, const void* value, int length) {
    if (!hasDescriptor()) {
        FUS_THROW(ERR_SOCKET_OPTION);
    }
    if (platform::setSocketOption(m_descriptor, level, option, value, length) != 0) {
        throwOptionError();
    }
}

void TCPSocket::getOption(int option, void* value, int length, int level) const {
    if (!hasDescriptor()) {
        FUS_THROW(ERR_SOCKET_OPTION);
    }
    if (platform::getSocketOption(m_descriptor, level, option, value, length) != 0) {
        throwOptionError();
    }
}

void TCPSocket::throwOptionError() const {
    const int systemError = errno;
    const int error = platform::lastSocketError();
    FUS_LOG(ERROR, "WSAerror=%d, %s", error, platform::socketErrorText(error).c_str());
    FUS_LOG(ERROR, "%s", errnoMessage(systemError));
    FUS_THROW(ERR_SOCKET_OPTION);
}

bool TCPSocket::setBlocking(bool blocking) {
    return hasDescriptor() && platform::setBlocking(m_descriptor, blocking) == 0;
}

void TCPSocket::setReceiveTimeout(unsigned milliseconds) {
    setOption(platform::SOCKET_LEVEL_SOCKET, platform::OPTION_RECEIVE_TIMEOUT, &milliseconds,
              sizeof milliseconds);
}

void TCPSocket::setSendTimeout(unsigned milliseconds) {
    setOption(platform::SOCKET_LEVEL_SOCKET, platform::OPTION_SEND_TIMEOUT, &milliseconds,
              sizeof milliseconds);
}

void TCPSocket::setNoDelay(bool on) {
    const std::int32_t value = on ? 1 : 0;
    setOption(platform::LEVEL_TCP, platform::OPTION_NO_DELAY, &value, sizeof value);
}

} // namespace fus
