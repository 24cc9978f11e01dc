#include "platform/platform.h"
#include "platform/windowsHeaders.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>

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

constexpr std::uint64_t NANOSECONDS_PER_MS = 1'000'000;

SOCKET native(Socket socket) {
    return static_cast<SOCKET>(socket);
}

HANDLE handleOf(Socket socket) {
    return reinterpret_cast<HANDLE>(socket);
}

Socket ownedByThisProcess(SOCKET socket) {
    if (socket == INVALID_SOCKET)
        return NO_SOCKET;
    const auto result = static_cast<Socket>(socket);
    SetHandleInformation(handleOf(result), HANDLE_FLAG_INHERIT, 0);
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

using NameCall = int(WSAAPI*)(SOCKET, struct sockaddr*, int*);

int askName(NameCall call, Socket socket, std::uint32_t& address, std::uint16_t& port) {
    struct sockaddr_in name = {};
    int length = sizeof(name);
    if (call(native(socket), reinterpret_cast<struct sockaddr*>(&name), &length) != 0)
        return -1;
    address = ntohl(name.sin_addr.s_addr);
    port = ntohs(name.sin_port);
    return 0;
}

/// Whether the last call was broken off by `breakOff`.
bool wasBrokenOff() {
    const int error = WSAGetLastError();
    return error == WSA_OPERATION_ABORTED || error == WSAEINTR;
}

/// A direction that is shut doesn't wake who is blocked in it, as it does on other systems. So the
/// calls that are under way are ended: with an error where the direction is shut, and the others
/// begin again.
int breakOff(Socket socket, int shutResult) {
    const int error = WSAGetLastError();
    CancelIoEx(handleOf(socket), nullptr);
    WSASetLastError(error);
    return shutResult == 0 ? 0 : -1;
}

fd_set setOf(SOCKET socket, bool wanted) {
    fd_set set = {};
    set.fd_count = wanted ? 1 : 0;
    set.fd_array[0] = socket;
    return set;
}

bool isSet(const fd_set& set) {
    return set.fd_count != 0;
}

SocketWait selectOnce(SOCKET socket, unsigned interest, std::uint64_t nanoseconds) {
    const std::uint64_t microseconds = (nanoseconds + 999) / 1000;
    struct timeval time = {};
    time.tv_sec = static_cast<long>(microseconds / 1'000'000);
    time.tv_usec = static_cast<long>(microseconds % 1'000'000);
    fd_set readable = setOf(socket, (interest & WAIT_READ) != 0);
    fd_set writable = setOf(socket, (interest & WAIT_WRITE) != 0);
    // urgent data counts as exceptional, too, and is nothing that a reader should wake for: a
    // connection that has failed is readable for him anyway
    fd_set exceptional = setOf(socket, interest != WAIT_READ);
    SocketWait wait;
    wait.result = ::select(0, &readable, &writable, &exceptional, &time);
    if (wait.result > 0) {
        wait.result = 1;
        wait.readable = isSet(readable);
        wait.writable = isSet(writable);
        wait.exceptional = isSet(exceptional);
    }
    return wait;
}

bool isReuseOption(int level, int option) {
    return level == SOL_SOCKET && option == SO_REUSEADDR;
}

} // namespace

int startNetwork() {
    WSADATA data = {};
    const int error = WSAStartup(MAKEWORD(2, 2), &data);
    if (error == 0)
        return 0;
    WSASetLastError(error);
    return -1;
}

int stopNetwork() {
    return WSACleanup() == 0 ? 0 : -1;
}

Socket openTcpSocket() {
    return ownedByThisProcess(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
}

int closeSocket(Socket socket) {
    return ::closesocket(native(socket)) == 0 ? 0 : -1;
}

int bindSocket(Socket socket, std::uint32_t address, std::uint16_t port) {
    const struct sockaddr_in name = socketAddress(address, port);
    return ::bind(native(socket), reinterpret_cast<const struct sockaddr*>(&name), sizeof(name));
}

int socketName(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    return askName(&::getsockname, socket, address, port);
}

int peerName(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    return askName(&::getpeername, socket, address, port);
}

int connectSocket(Socket socket, std::uint32_t address, std::uint16_t port) {
    const struct sockaddr_in name = socketAddress(address, port);
    return ::connect(native(socket), reinterpret_cast<const struct sockaddr*>(&name), sizeof(name));
}

int listenSocket(Socket socket, int backlog) {
    return ::listen(native(socket), backlog);
}

Socket acceptSocket(Socket socket, std::uint32_t& address, std::uint16_t& port) {
    struct sockaddr_in name = {};
    int length = sizeof(name);
    const Socket accepted = ownedByThisProcess(
        ::accept(native(socket), reinterpret_cast<struct sockaddr*>(&name), &length));
    if (accepted == NO_SOCKET)
        return NO_SOCKET;
    setBlocking(accepted, true); // it inherits the listener's mode
    address = ntohl(name.sin_addr.s_addr);
    port = ntohs(name.sin_port);
    return accepted;
}

int receive(Socket socket, void* buffer, std::size_t size) {
    int result = 0;
    do {
        result = ::recv(native(socket), static_cast<char*>(buffer), clampedSize(size), 0);
    } while (result < 0 && wasBrokenOff());
    return result;
}

int send(Socket socket, const void* buffer, std::size_t size) {
    const int result =
        ::send(native(socket), static_cast<const char*>(buffer), clampedSize(size), 0);
    // not begun again: nobody knows how much of it went out
    if (result < 0 && wasBrokenOff())
        WSASetLastError(WSAESHUTDOWN);
    return result;
}

int shutdownRead(Socket socket) {
    return breakOff(socket, ::shutdown(native(socket), SD_RECEIVE));
}

int shutdownWrite(Socket socket) {
    return breakOff(socket, ::shutdown(native(socket), SD_SEND));
}

int setBlocking(Socket socket, bool blocking) {
    u_long nonBlocking = blocking ? 0 : 1;
    return ::ioctlsocket(native(socket), static_cast<long>(FIONBIO), &nonBlocking) == 0 ? 0 : -1;
}

int setSocketOption(Socket socket, int level, int option, const void* value, int length) {
    // Elsewhere this lets a program listen again on the port of connections that are just over. On
    // Windows it may do so anyway, and the option would let it take a port from under one that
    // listens there; its opposite, SO_EXCLUSIVEADDRUSE, refuses the port of such connections.
    if (isReuseOption(level, option))
        return 0;
    return ::setsockopt(native(socket), level, option, static_cast<const char*>(value), length);
}

int getSocketOption(Socket socket, int level, int option, void* value, int& length) {
    return ::getsockopt(native(socket), level, option, static_cast<char*>(value), &length);
}

SocketWait waitSocket(Socket socket, unsigned interest, unsigned milliseconds) {
    const std::uint64_t deadline =
        monotonicNanoseconds() + std::uint64_t{milliseconds} * NANOSECONDS_PER_MS;
    std::uint64_t left = std::uint64_t{milliseconds} * NANOSECONDS_PER_MS;
    while (true) {
        SocketWait wait = selectOnce(native(socket), interest, left);
        if (wait.result >= 0 || !wasBrokenOff())
            return wait;
        if ((interest & WAIT_READ) != 0) { // who reads now is told
            wait.result = 1;
            wait.readable = true;
            return wait;
        }
        const std::uint64_t now = monotonicNanoseconds();
        left = now < deadline ? deadline - now : 0;
    }
}

int waitReadable(Socket socket, unsigned milliseconds) {
    return waitSocket(socket, WAIT_READ, milliseconds).result;
}

int lastSocketError() {
    return WSAGetLastError();
}

bool isWouldBlock(int error) {
    return error == WSAEWOULDBLOCK;
}

bool isConnectionLost(int error) {
    constexpr int LOST[] = {WSAENETRESET, WSAECONNABORTED, WSAECONNRESET,
                            WSAENOTCONN,  WSAESHUTDOWN,    WSAETIMEDOUT};
    return std::find(std::begin(LOST), std::end(LOST), error) != std::end(LOST);
}

bool isBadAddress(int error) {
    return error == WSAEFAULT;
}

bool isBusy(int error) {
    return error == WSAEINPROGRESS;
}

std::uint32_t resolveIPv4(const char* name) {
    if (name == nullptr || *name == '\0')
        return 0;
    struct addrinfo hints = {};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* list = nullptr;
    if (::getaddrinfo(name, nullptr, &hints, &list) != 0)
        return 0;
    std::uint32_t address = 0;
    if (list != nullptr && list->ai_addrlen >= sizeof(struct sockaddr_in)) {
        struct sockaddr_in found = {};
        std::memcpy(&found, list->ai_addr, sizeof(found));
        address = ntohl(found.sin_addr.s_addr);
    }
    ::freeaddrinfo(list);
    return address;
}

} // namespace fus::platform
