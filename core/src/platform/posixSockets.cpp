#include "platform/platform.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace fus::platform {

const int SOCKET_LEVEL_SOCKET = SOL_SOCKET;
const int LEVEL_TCP = IPPROTO_TCP;
const int OPTION_RECEIVE_TIMEOUT = SO_RCVTIMEO;
const int OPTION_SEND_TIMEOUT = SO_SNDTIMEO;
const int OPTION_ERROR = SO_ERROR;
const int OPTION_REUSE_ADDRESS = SO_REUSEADDR;
const int OPTION_RECEIVE_BUFFER = SO_RCVBUF;
const int OPTION_SEND_BUFFER = SO_SNDBUF;
const int OPTION_NO_DELAY = TCP_NODELAY;

namespace {

int descriptor(Socket socket) {
    return static_cast<int>(socket);
}

template <typename Call>
auto resumed(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int clampedSize(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, INT_MAX));
}

struct sockaddr_in socketAddress(std::uint32_t address, std::uint16_t port) {
    struct sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

using NameCall = int (*)(int, struct sockaddr*, socklen_t*);

int askName(NameCall call, Socket socket, std::uint32_t& address, std::uint16_t& port) {
    struct sockaddr_in name = {};
    socklen_t length = sizeof(name);
    if (call(descriptor(socket), reinterpret_cast<struct sockaddr*>(&name), &length) != 0)
        return -1;
    address = ntohl(name.sin_addr.s_addr);
    port = ntohs(name.sin_port);
    return 0;
}

int pollUntil(struct pollfd& entry, unsigned milliseconds) {
    const std::uint64_t deadline = tick64() + milliseconds;
    std::uint64_t left = milliseconds;
    while (true) {
        const int result =
            poll(&entry, 1, static_cast<int>(std::min<std::uint64_t>(left, INT_MAX)));
        if (result >= 0 || errno != EINTR)
            return result;
        const std::uint64_t now = tick64();
        left = now < deadline ? deadline - now : 0;
    }
}

/// A connection that a signal interrupts goes on by itself; another call would only be refused.
int finishInterruptedConnect(int fd) {
    struct pollfd entry = {fd, POLLOUT, 0};
    if (resumed([&] { return poll(&entry, 1, -1); }) < 0)
        return -1;
    int error = 0;
    socklen_t length = sizeof(error);
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0)
        return -1;
    errno = error;
    return error == 0 ? 0 : -1;
}

/// Blocking sockets report a time-out as "would block" here; everywhere else it is a time-out.
void nameTimeout(int fd) {
    const int error = errno;
    if (error != EAGAIN && error != EWOULDBLOCK)
        return;
    const int flags = fcntl(fd, F_GETFL);
    errno = flags >= 0 && (flags & O_NONBLOCK) == 0 ? ETIMEDOUT : error;
}

bool isTimeoutOption(int level, int option) {
    return level == SOL_SOCKET && (option == SO_RCVTIMEO || option == SO_SNDTIMEO);
}

int setTimeoutOption(int fd, int option, const void* value, int length) {
    std::uint32_t milliseconds = 0;
    if (value == nullptr || length != static_cast<int>(sizeof(milliseconds))) {
        errno = EINVAL;
        return -1;
    }
    std::memcpy(&milliseconds, value, sizeof(milliseconds));
    struct timeval time = {};
    time.tv_sec = static_cast<time_t>(milliseconds / 1000);
    time.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    return setsockopt(fd, SOL_SOCKET, option, &time, sizeof(time));
}

int getTimeoutOption(int fd, int option, void* value, int& length) {
    struct timeval time = {};
    socklen_t timeLength = sizeof(time);
    if (value == nullptr || length < static_cast<int>(sizeof(std::uint32_t))) {
        errno = EINVAL;
        return -1;
    }
    if (getsockopt(fd, SOL_SOCKET, option, &time, &timeLength) != 0)
        return -1;
    const auto milliseconds = static_cast<std::uint32_t>(time.tv_sec * 1000 + time.tv_usec / 1000);
    std::memcpy(value, &milliseconds, sizeof(milliseconds));
    length = sizeof(milliseconds);
    return 0;
}

} // namespace

int startNetwork() {
    return 0;
}

int stopNetwork() {
    return 0;
}

Socket openTcpSocket() {
    return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
}

int closeSocket(Socket socket) {
    // not repeated when interrupted: the descriptor is free by then, and may be another's
    return ::close(descriptor(socket)) == 0 || errno == EINTR ? 0 : -1;
}

int bindSocket(Socket socket, std::uint32_t address, std::uint16_t port) {
    const struct sockaddr_in name = socketAddress(address, port);
    return ::bind(descriptor(socket), reinterpret_cast<const struct sockaddr*>(&name),
                  sizeof(name));
}

int socketName(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    return askName(&::getsockname, socket, address, port);
}

int peerName(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    return askName(&::getpeername, socket, address, port);
}

int connectSocket(Socket socket, std::uint32_t address, std::uint16_t port) {
    const struct sockaddr_in name = socketAddress(address, port);
    const int fd = descriptor(socket);
    if (::connect(fd, reinterpret_cast<const struct sockaddr*>(&name), sizeof(name)) == 0)
        return 0;
    return errno == EINTR ? finishInterruptedConnect(fd) : -1;
}

int listenSocket(Socket socket, int backlog) {
    return ::listen(descriptor(socket), backlog);
}

Socket acceptSocket(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    struct sockaddr_in name = {};
    socklen_t length = sizeof(name);
    const int accepted = resumed([&] {
        length = sizeof(name);
        return ::accept4(descriptor(socket), reinterpret_cast<struct sockaddr*>(&name), &length,
                         SOCK_CLOEXEC);
    });
    if (accepted < 0)
        return NO_SOCKET;
    address = ntohl(name.sin_addr.s_addr);
    port = ntohs(name.sin_port);
    return accepted;
}

int receive(Socket socket, void* buffer, std::size_t size) {
    const int fd = descriptor(socket);
    const auto wanted = static_cast<std::size_t>(clampedSize(size));
    const ssize_t result = resumed([&] { return ::recv(fd, buffer, wanted, 0); });
    if (result < 0)
        nameTimeout(fd);
    return static_cast<int>(result);
}

int send(Socket socket, const void* buffer, std::size_t size) {
    const int fd = descriptor(socket);
    const auto wanted = static_cast<std::size_t>(clampedSize(size));
    const ssize_t result = resumed([&] { return ::send(fd, buffer, wanted, MSG_NOSIGNAL); });
    if (result < 0)
        nameTimeout(fd);
    return static_cast<int>(result);
}

int shutdownRead(Socket socket) {
    return ::shutdown(descriptor(socket), SHUT_RD);
}

int shutdownWrite(Socket socket) {
    return ::shutdown(descriptor(socket), SHUT_WR);
}

int setBlocking(Socket socket, bool blocking) {
    const int flags = fcntl(descriptor(socket), F_GETFL);
    if (flags < 0)
        return -1;
    const int wanted = blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    return fcntl(descriptor(socket), F_SETFL, wanted) < 0 ? -1 : 0;
}

int setSocketOption(Socket socket, int level, int option, const void* value, int length) {
    if (isTimeoutOption(level, option))
        return setTimeoutOption(descriptor(socket), option, value, length);
    return setsockopt(descriptor(socket), level, option, value, static_cast<socklen_t>(length));
}

int getSocketOption(Socket socket, int level, int option, void* value, int& length) {
    if (isTimeoutOption(level, option))
        return getTimeoutOption(descriptor(socket), option, value, length);
    auto nativeLength = static_cast<socklen_t>(length);
    const int result = getsockopt(descriptor(socket), level, option, value, &nativeLength);
    length = static_cast<int>(nativeLength);
    return result;
}

SocketWait waitSocket(Socket socket, unsigned interest, unsigned milliseconds) {
    struct pollfd entry = {descriptor(socket), 0, 0};
    if ((interest & WAIT_READ) != 0)
        entry.events |= POLLIN;
    if ((interest & WAIT_WRITE) != 0)
        entry.events |= POLLOUT;
    SocketWait wait;
    wait.result = pollUntil(entry, milliseconds);
    if (wait.result <= 0)
        return wait;
    if ((entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        wait.result = -1;
        return wait;
    }
    // a failed connection counts as writable here, too; only one of the two may be told
    wait.exceptional = (entry.revents & POLLERR) != 0;
    wait.writable = !wait.exceptional && (entry.revents & POLLOUT) != 0;
    wait.readable = (interest & WAIT_READ) != 0 && (entry.revents & (POLLIN | POLLHUP)) != 0;
    return wait;
}

int waitReadable(Socket socket, unsigned milliseconds) {
    return waitSocket(socket, WAIT_READ, milliseconds).result;
}

int lastSocketError() {
    return errno;
}

bool isWouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINPROGRESS;
}

bool isConnectionLost(int error) {
    constexpr int LOST[] = {ENETRESET, ECONNABORTED, ECONNRESET, ENOTCONN,
                            ESHUTDOWN, ETIMEDOUT,    EPIPE};
    return std::find(std::begin(LOST), std::end(LOST), error) != std::end(LOST);
}

bool isBadAddress(int error) {
    return error == EFAULT;
}

bool isBusy(int error) {
    return error == EINPROGRESS;
}

std::uint32_t resolveIPv4(const char* name) {
    if (name == nullptr || *name == '\0')
        return 0;
    struct addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* list = nullptr;
    if (getaddrinfo(name, nullptr, &hints, &list) != 0)
        return 0;
    std::uint32_t address = 0;
    if (list != nullptr && list->ai_addrlen >= sizeof(struct sockaddr_in)) {
        struct sockaddr_in found = {};
        std::memcpy(&found, list->ai_addr, sizeof(found));
        address = ntohl(found.sin_addr.s_addr);
    }
    freeaddrinfo(list);
    return address;
}

} // namespace fus::platform
