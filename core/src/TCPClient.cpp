#include "fus/P_TCPClient.h"

#include "fus/P_LogMacros.h"
#include "platform/platform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace fus {

namespace {

constexpr std::size_t READ_AHEAD = 65536;
/// Largest header and payload that are joined: above this, a copy costs more than a system call.
constexpr std::size_t MAX_JOINED = 16384;
/// Keeps the count of one system call within an int.
constexpr std::size_t MAX_TRANSFER = 1U << 30U;

constexpr std::array<char, 16> ECHO_PAYLOAD{"Y'a kinkun?"};
constexpr std::size_t ECHO_REPLY_SIZE = 56;

/// A text that lists bytes, built only as the argument of a log line that will be written.
class HexDump {
public:
    HexDump(const unsigned char* bytes, std::size_t count, Log::Level level) {
        const std::size_t most = level >= Log::INFO ? MAX_BYTES_TERSE : MAX_BYTES;
        char* end = m_text.data();
        for (std::size_t i = 0; i < std::min(count, most); ++i) {
            *end++ = ' ';
            *end++ = DIGITS[bytes[i] >> 4U];
            *end++ = DIGITS[bytes[i] & 15U];
        }
        std::strcpy(end, count > most ? " .." : "");
    }

    const char* text() const { return m_text.data(); }

private:
    static constexpr std::size_t MAX_BYTES = 340;
    static constexpr std::size_t MAX_BYTES_TERSE = 40;
    static constexpr char DIGITS[] = "0123456789ABCDEF";

    std::array<char, 1024> m_text;
    static_assert(MAX_BYTES * 3 + sizeof " .." <= std::tuple_size_v<decltype(m_text)>);
};

void logReceived(const unsigned char* bytes, int count, std::size_t wanted, Log::Level level) {
    if (level < Log::VERBOSE) {
        FUS_LOG(DEBUG, "  Recv %4d /%4" FUS_PRIuSIZE " [%s ]", count, wanted,
                HexDump(bytes, static_cast<std::size_t>(count), level).text());
    }
}

void logSent(const unsigned char* bytes, std::size_t count, std::size_t wanted, Log::Level level) {
    if (level < Log::INFO) {
        FUS_LOG(DEBUG, "  Sent %4d /%4" FUS_PRIuSIZE " [%s ]", static_cast<int>(count), wanted,
                HexDump(bytes, count, level).text());
    }
}

/// The condition shuts out the very levels that would show the line; so it is wanted.
void announceWrite(std::size_t size, Log::Level level) {
    if (level >= Log::INFO) {
        FUS_LOG(VERBOSE, "  Send %3" FUS_PRIuSIZE " bytes", size);
    }
}

bool logEchoFailure(const char* address, const platform::EchoResult& echo) {
    switch (echo.stage) {
    case platform::EchoStage::NO_MEMORY:
        FUS_LOG(ERROR, "Ping: Unable to allocate memory.");
        break;
    case platform::EchoStage::CANNOT_OPEN:
        FUS_LOG(ERROR, "Ping[%s]: Can not create ICMP file. Error (%d: %s)", address, echo.error,
                echo.errorText.c_str());
        break;
    case platform::EchoStage::FAILED:
        FUS_LOG(ERROR, "Ping[%s]: ICMP echo failed. Error (%d: %s)", address, echo.error,
                echo.errorText.c_str());
        break;
    case platform::EchoStage::REPLIED:
        FUS_LOG(ERROR, "Ping[%s]: Failure (status: %ld, roundtrip: %ld ms): %.127s", address,
                static_cast<long>(echo.status), static_cast<long>(echo.roundTrip),
                echo.statusText.empty() ? "*ICMP error*" : echo.statusText.c_str());
        break;
    }
    return false;
}

} // namespace

TCPClient::TCPClient()
    : m_buffer(std::make_unique<unsigned char[]>(READ_AHEAD)),
      m_joined(std::make_unique<unsigned char[]>(MAX_JOINED)) {}

TCPClient::~TCPClient() {
    if (hasFlag(CONNECTED)) {
        TCPClient::close();
    }
}

bool TCPClient::connect(const IPv4Address& address, std::uint16_t port, unsigned timeoutMs) {
    if (!hasDescriptor() || address.value() == 0) {
        FUS_LOG(ERROR, "connect failed: bad socket");
        return false;
    }
    if (!hasFlag(BOUND) && !bind(IPv4Address::ANY, 0)) {
        FUS_LOG(ERROR, "connect failed: not bound");
        return false;
    }
    // With a time-out of 0 nothing is sent at all; callers rely on getting a connected object.
    if (timeoutMs != 0 && !(ping(address, timeoutMs) && establish(address, port, timeoutMs))) {
        return false;
    }
    setBlocking(true);
    setFlag(CONNECTED);
    m_remoteAddress = address;
    m_remotePort = port;
    m_totalSent = 0;
    m_totalReceived = 0;
    FUS_LOG(INFO, "Socket(%d) connected to %s@%d", printedDescriptor(), address.toString().c_str(),
            port);
    return true;
}

bool TCPClient::establish(const IPv4Address& address, std::uint16_t port, unsigned timeoutMs) {
    setBlocking(false);
    errno = 0;
    if (platform::connectSocket(descriptor(), address.value(), port) == 0) {
        return true;
    }
    const int error = platform::lastSocketError();
    if (platform::isWouldBlock(error)) {
        return awaitEstablished(timeoutMs);
    }
    FUS_LOG(ERROR, "Socket(%d) connect failed adr=%s port=%d error=%d: %s", printedDescriptor(),
            address.toString().c_str(), port, error, platform::socketErrorText(error).c_str());
    setBlocking(true);
    return false;
}

bool TCPClient::awaitEstablished(unsigned timeoutMs) {
    const platform::SocketWait wait =
        platform::waitSocket(descriptor(), platform::WAIT_WRITE, timeoutMs);
    if (wait.result == 0) {
        FUS_LOG(ERROR, "Connection timed out (%u ms)", timeoutMs);
    } else if (wait.result < 0) {
        const int error = platform::lastSocketError();
        FUS_LOG(ERROR, "Connection: select() error (%d: %s)", error,
                platform::socketErrorText(error).c_str());
    } else if (wait.exceptional) {
        int error = 0;
        int length = sizeof error;
        platform::getSocketOption(descriptor(), platform::SOCKET_LEVEL_SOCKET,
                                  platform::OPTION_ERROR, &error, length);
        FUS_LOG(ERROR, "Connection failed: error %d: %s", error,
                platform::socketErrorText(error).c_str());
    } else if (!wait.writable) {
        FUS_LOG(ERROR, "Connection failed (unexpected case)");
    } else {
        return true;
    }
    close();
    return false;
}

void TCPClient::close() {
    if (!hasDescriptor()) {
        return;
    }
    shutdownRead();
    shutdownWrite();
    FUS_LOG(INFO, "Socket(%d) closed, sent: %u, recv: %u bytes", printedDescriptor(), totalSent(),
            totalReceived());
    closeDescriptor();
    clearFlag(CONNECTED);
    setFlag(CLOSED);
}

void TCPClient::shutdownRead() {
    if (!hasFlag(RECV_SHUT) && platform::shutdownRead(descriptor()) == 0) {
        setFlag(RECV_SHUT);
    }
}

void TCPClient::shutdownWrite() {
    if (!hasFlag(SEND_SHUT) && platform::shutdownWrite(descriptor()) == 0) {
        setFlag(SEND_SHUT);
    }
}

bool TCPClient::canTransfer(StateFlag shut, const void* buffer, std::size_t size) const {
    return isConnected() && !hasFlag(shut) && buffer != nullptr && size != 0;
}

int TCPClient::read(void* buffer, std::size_t size) {
    if (!canTransfer(RECV_SHUT, buffer, size)) {
        return 0;
    }
    const Log::Level level = Log::getInstance().getLevel();
    if (level >= Log::VERBOSE) {
        FUS_LOG(VERBOSE, "  Recv %3" FUS_PRIuSIZE " bytes...", size);
    }
    auto* target = static_cast<unsigned char*>(buffer);
    std::size_t received = 0;
    while (received < size) {
        const std::size_t wanted = size - received;
        const int count = receiveSome(target + received, wanted);
        if (count <= 0) {
            if (count == 0) {
                setFlag(RECV_SHUT);
            } else {
                reportReceiveError(wanted, size, buffer);
            }
            break;
        }
        m_totalReceived += static_cast<std::uint32_t>(count);
        logReceived(target + received, count, wanted, level);
        received += static_cast<std::size_t>(count);
    }
    return static_cast<int>(received);
}

/// One chunk: what is buffered, else what one system call gives; as `platform::receive`.
int TCPClient::receiveSome(unsigned char* target, std::size_t wanted) {
    if (hasBufferedData()) {
        return takeBuffered(target, wanted);
    }
    if (wanted >= READ_AHEAD) {
        return platform::receive(descriptor(), target, std::min(wanted, MAX_TRANSFER));
    }
    const int count = platform::receive(descriptor(), m_buffer.get(), READ_AHEAD);
    if (count <= 0) {
        return count;
    }
    m_bufferBegin = 0;
    m_bufferEnd = static_cast<std::size_t>(count);
    return takeBuffered(target, wanted);
}

bool TCPClient::readAhead(std::size_t wanted) {
    if (!isConnected() || hasFlag(RECV_SHUT)) {
        return false;
    }
    std::memmove(m_buffer.get(), m_buffer.get() + m_bufferBegin, bufferedBytes());
    m_bufferEnd = bufferedBytes();
    m_bufferBegin = 0;
    const int count =
        platform::receive(descriptor(), m_buffer.get() + m_bufferEnd, READ_AHEAD - m_bufferEnd);
    if (count < 0) {
        reportReceiveError(wanted - std::min(wanted, m_bufferEnd), wanted, m_buffer.get());
    }
    m_bufferEnd += static_cast<std::size_t>(std::max(count, 0));
    return count > 0;
}

int TCPClient::takeBuffered(unsigned char* target, std::size_t wanted) {
    const std::size_t count = std::min(wanted, m_bufferEnd - m_bufferBegin);
    std::memcpy(target, m_buffer.get() + m_bufferBegin, count);
    m_bufferBegin += count;
    return static_cast<int>(count);
}

void TCPClient::reportReceiveError(std::size_t wanted, std::size_t size, const void* buffer) {
    const int error = platform::lastSocketError();
    if (platform::isConnectionLost(error)) {
        setFlag(RECV_SHUT);
    }
    FUS_LOG(ERROR, "recv WSAerror=%d, %s", error, platform::socketErrorText(error).c_str());
    if (platform::isBadAddress(error)) {
        FUS_LOG(ERROR, "recv WSAEFAULT: size: %u / %u, received: %u, buffer: %p",
                static_cast<unsigned>(wanted), static_cast<unsigned>(size),
                static_cast<unsigned>(size - wanted), buffer);
    }
}

void TCPClient::reportSendError() {
    const int error = platform::lastSocketError();
    if (platform::isConnectionLost(error)) {
        setFlag(SEND_SHUT);
    }
    FUS_LOG(ERROR, "send WSAerror=%d, %s", error, platform::socketErrorText(error).c_str());
}

int TCPClient::write(const void* buffer, std::size_t size) {
    if (!canTransfer(SEND_SHUT, buffer, size)) {
        return 0;
    }
    const Log::Level level = Log::getInstance().getLevel();
    announceWrite(size, level);
    return static_cast<int>(sendAll(static_cast<const unsigned char*>(buffer), size, size, level));
}

bool TCPClient::writeGather(const void* header, std::size_t headerSize, const void* payload,
                            std::size_t payloadSize) {
    const bool hasPayload = payload != nullptr && payloadSize != 0;
    if (!hasPayload || headerSize > MAX_JOINED || payloadSize > MAX_JOINED - headerSize) {
        return write(header, headerSize) == static_cast<int>(headerSize) &&
               (!hasPayload || write(payload, payloadSize) == static_cast<int>(payloadSize));
    }
    if (!canTransfer(SEND_SHUT, header, headerSize)) {
        return false;
    }
    const Log::Level level = Log::getInstance().getLevel();
    announceWrite(headerSize, level);
    announceWrite(payloadSize, level);
    const std::size_t size = headerSize + payloadSize;
    std::memcpy(m_joined.get(), header, headerSize);
    std::memcpy(m_joined.get() + headerSize, payload, payloadSize);
    return sendAll(m_joined.get(), size, headerSize, level) == size;
}

/// Sends bytes that count as two writes, up to the boundary and from there on, and returns how many
/// went out. Each chunk is logged against what was missing of its own write.
std::size_t TCPClient::sendAll(const unsigned char* bytes, std::size_t size, std::size_t boundary,
                               Log::Level level) {
    std::size_t sent = 0;
    while (sent < size) {
        const int count =
            platform::send(descriptor(), bytes + sent, std::min(size - sent, MAX_TRANSFER));
        if (count <= 0) {
            if (count < 0) {
                reportSendError();
            }
            break;
        }
        m_totalSent += static_cast<std::uint32_t>(count);
        const std::size_t end = sent + static_cast<std::size_t>(count);
        for (const std::size_t writeEnd : {boundary, size}) {
            const std::size_t chunkEnd = std::min(end, writeEnd);
            if (sent < chunkEnd) {
                logSent(bytes + sent, chunkEnd - sent, writeEnd - sent, level);
                sent = chunkEnd;
            }
        }
    }
    return sent;
}

void TCPClient::readExactly(void* buffer, std::size_t size) {
    if (read(buffer, size) != static_cast<int>(size)) {
        FUS_THROW(ERR_SOCKET_READ);
    }
}

std::uint16_t TCPClient::read16() {
    unsigned char b[2];
    readExactly(b, sizeof b);
    return static_cast<std::uint16_t>(b[0] << 8 | b[1]);
}

std::uint32_t TCPClient::read32() {
    unsigned char b[4];
    readExactly(b, sizeof b);
    return static_cast<std::uint32_t>(b[0]) << 24U | static_cast<std::uint32_t>(b[1]) << 16U |
           static_cast<std::uint32_t>(b[2]) << 8U | b[3];
}

int TCPClient::waitReadable(unsigned milliseconds) const {
    return platform::waitReadable(descriptor(), milliseconds);
}

bool TCPClient::ping(const IPv4Address& address, unsigned timeoutMs) {
    const std::string text = address.toString();
    FUS_LOG(INFO, "Ping '%s' waiting %u ms", text.c_str(), timeoutMs);
    const platform::EchoResult echo = platform::icmpEcho(
        address.value(), ECHO_PAYLOAD.data(), ECHO_PAYLOAD.size(), ECHO_REPLY_SIZE, timeoutMs);
    if (echo.stage != platform::EchoStage::REPLIED || echo.status != 0) {
        return logEchoFailure(text.c_str(), echo);
    }
    FUS_LOG(VERBOSE, "  received pong from %s (status: %ld, roundtrip: %ld ms)", text.c_str(),
            static_cast<long>(echo.status), static_cast<long>(echo.roundTrip));
    return true;
}

} // namespace fus
