#include "platform/icmpPacket.h"
#include "platform/platform.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <linux/errqueue.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

namespace fus::platform {

namespace {

/// Room for the longest IP header twice (a packet, and one quoted in it) and what lies between.
constexpr std::size_t HEADER_ROOM = 160;

EchoResult failure(EchoStage stage, int error) {
    EchoResult result;
    result.stage = stage;
    result.error = error;
    result.errorText = socketErrorText(error);
    return result;
}

std::uint16_t nextSequence() {
    static std::atomic<unsigned> last{0};
    return static_cast<std::uint16_t>(last.fetch_add(1) + 1);
}

/// A socket that may send echoes: one that any user may have where the system is set up for it,
/// else a raw one, which sees the ICMP messages of the whole computer.
class EchoSocket {
public:
    EchoSocket() : m_fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP)) {
        if (m_fd >= 0) {
            const int on = 1;
            setsockopt(m_fd, IPPROTO_IP, IP_RECVERR, &on, sizeof(on));
            return;
        }
        m_raw = true;
        m_fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    }
    EchoSocket(const EchoSocket&) = delete;
    EchoSocket& operator=(const EchoSocket&) = delete;
    ~EchoSocket() {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    int fd() const { return m_fd; }
    bool isRaw() const { return m_raw; }

private:
    int m_fd;
    bool m_raw = false;
};

/// One echo from its sending to the end of its wait.
class Echo {
public:
    Echo(const EchoSocket& socket, const EchoRequest& request, std::uint8_t* buffer,
         std::size_t room)
        : m_socket(socket), m_request(request), m_buffer(buffer), m_room(room) {}

    EchoResult exchange(std::uint32_t address, unsigned timeoutMs) {
        m_start = tick64();
        if (!sendRequest(address))
            return failure(EchoStage::FAILED, errno);
        const std::uint64_t deadline = m_start + timeoutMs;
        EchoResult result;
        while (waitForPacket(deadline))
            if (readError(result) || readReply(result))
                return result;
        return failure(EchoStage::FAILED, errno);
    }

private:
    bool sendRequest(std::uint32_t address) const {
        const std::vector<std::uint8_t> message = buildEchoRequest(m_request);
        struct sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = htonl(address);
        ssize_t sent = -1;
        do {
            sent = ::sendto(m_socket.fd(), message.data(), message.size(), MSG_NOSIGNAL,
                            reinterpret_cast<const struct sockaddr*>(&to), sizeof(to));
        } while (sent < 0 && errno == EINTR);
        return sent >= 0;
    }

    /// False, with errno set, when the time is over.
    bool waitForPacket(std::uint64_t deadline) const {
        while (true) {
            const std::uint64_t now = tick64();
            // asked first: others' packets may come without end, each of them ready at once
            if (now >= deadline)
                return timedOut();
            const std::uint64_t left = std::min<std::uint64_t>(deadline - now, INT_MAX);
            struct pollfd entry = {m_socket.fd(), POLLIN, 0};
            const int ready = ::poll(&entry, 1, static_cast<int>(left));
            if (ready > 0)
                return true;
            if (ready < 0 && errno != EINTR)
                return false;
        }
    }

    static bool timedOut() {
        errno = ETIMEDOUT;
        return false;
    }

    /// A report that the system keeps beside the socket: only for the kind that isn't raw.
    bool readError(EchoResult& result) {
        if (m_socket.isRaw())
            return false;
        alignas(struct cmsghdr) char control[512];
        struct iovec part = {m_buffer, m_room};
        struct msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        if (::recvmsg(m_socket.fd(), &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0)
            return false;
        for (struct cmsghdr* c = CMSG_FIRSTHDR(&message); c != nullptr;
             c = CMSG_NXTHDR(&message, c))
            if (c->cmsg_level == IPPROTO_IP && c->cmsg_type == IP_RECVERR)
                return takeError(CMSG_DATA(c), result);
        return false;
    }

    bool takeError(const unsigned char* data, EchoResult& result) const {
        struct sock_extended_err error = {};
        std::memcpy(&error, data, sizeof(error));
        if (error.ee_origin != SO_EE_ORIGIN_ICMP)
            result = failure(EchoStage::FAILED, static_cast<int>(error.ee_errno));
        else if (isDeliveryError(error.ee_type))
            result = replied(echoErrorStatus(error.ee_type, error.ee_code));
        else
            return false;
        return true;
    }

    bool readReply(EchoResult& result) {
        const ssize_t received = ::recv(m_socket.fd(), m_buffer, m_room, MSG_DONTWAIT);
        if (received < 0)
            return false;
        const auto size = static_cast<std::size_t>(received);
        const std::size_t header = m_socket.isRaw() ? ipv4HeaderSize(m_buffer, size) : 0;
        if (m_socket.isRaw() && header == 0)
            return false;
        EchoStatus status = {0, ""};
        if (matchEchoReply(m_request, m_buffer + header, size - header, !m_socket.isRaw(),
                           status) == EchoMatch::FOREIGN)
            return false;
        result = replied(status);
        return true;
    }

    EchoResult replied(const EchoStatus& status) const {
        EchoResult result;
        result.stage = EchoStage::REPLIED;
        result.status = status.status;
        result.statusText = status.text;
        result.roundTrip = static_cast<std::int32_t>(tick64() - m_start);
        return result;
    }

    const EchoSocket& m_socket;
    const EchoRequest& m_request;
    std::uint8_t* m_buffer;
    std::size_t m_room;
    std::uint64_t m_start = 0;
};

} // namespace

EchoResult icmpEcho(std::uint32_t address, const void* payload, std::size_t size,
                    std::size_t replySize, unsigned timeoutMs) {
    const std::size_t room = std::max(replySize, size + HEADER_ROOM);
    const std::unique_ptr<std::uint8_t[]> buffer(new (std::nothrow) std::uint8_t[room]);
    if (!buffer)
        return failure(EchoStage::NO_MEMORY, ENOMEM);
    const EchoSocket socket;
    if (socket.fd() < 0)
        return failure(EchoStage::CANNOT_OPEN, errno);
    // a process-wide sequence keeps echoes apart that are under way at the same time
    const EchoRequest request = {static_cast<std::uint16_t>(::getpid() & 0xFFFF), nextSequence(),
                                 payload, size};
    return Echo(socket, request, buffer.get(), room).exchange(address, timeoutMs);
}

} // namespace fus::platform
