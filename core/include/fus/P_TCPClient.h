#pragma once

#include "fus/Log.h"
#include "fus/P_TCPSocket.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace fus {

/// The client's end of one TCP connection. It serves one connect and is not reused.
///
/// Reads and writes never throw: they return short counts, as the end of the stream, an error and a
/// time-out all do, and once a direction is shut it stays so.
///
/// Threads: one thread reads at a time, and one writes at a time; the two may be different ones and
/// run at once. `shutdownRead` and `shutdownWrite` may be called on any thread, and unblock a read
/// or write that is under way. `close` and the destructor want everybody else to be out.
///
/// Reads are served from a buffer that one system call fills with whatever has arrived. The log and
/// the counter of received bytes show what is handed out of it.
class TCPClient : public TCPSocket {
public:
    TCPClient();
    /// Closes a connection that is still open.
    ~TCPClient() override;

    /// Connects within `timeoutMs`: first the peer must answer an ICMP echo within this time, then
    /// TCP has as long again. False after logging why; then the object is good for destruction
    /// only. A time-out of 0 connects nothing and yet gives a "connected" object.
    bool connect(const IPv4Address& address, std::uint16_t port, unsigned timeoutMs);

    /// Shuts both directions and closes the descriptor.
    void close() override;

    void shutdownRead();
    void shutdownWrite();

    /// Blocks until all bytes have come, and returns how many came.
    int read(void* buffer, std::size_t size);
    /// Blocks until the system has taken all bytes, and returns how many it took.
    int write(const void* buffer, std::size_t size);
    /// Two writes, the second only if the first was complete, in one system call where they are
    /// small. True if all was taken. The payload may be null with a size of 0.
    bool writeGather(const void* header, std::size_t headerSize, const void* payload,
                     std::size_t payloadSize);

    /// An integer in network order; ERR_SOCKET_READ when the stream ends within it.
    std::uint16_t read16();
    std::uint32_t read32();

    /// Whether the next read can be served, at least in part, without the system: then a wait for
    /// the socket would miss data that is here already. For the reading thread.
    bool hasBufferedData() const { return m_bufferBegin != m_bufferEnd; }
    /// How much of the next reads can be served so. For the reading thread.
    std::size_t bufferedBytes() const { return m_bufferEnd - m_bufferBegin; }
    /// Fetches what has come, with one system call, so that `bufferedBytes` rises towards `wanted`
    /// (below 64 KiB). Blocks only if nothing has come. False at the end of the stream, and after
    /// an error, which is logged: the next read then fails. For the reading thread.
    bool readAhead(std::size_t wanted);
    /// Waits until the socket has more, or its end, whatever is buffered: 1 when there is, 0 when
    /// the time has passed, -1 on failure. For the reading thread.
    int waitReadable(unsigned milliseconds) const;

    /// Sends one ICMP echo and waits for its answer. False after logging why.
    static bool ping(const IPv4Address& address, unsigned timeoutMs);

    IPv4Address remoteAddress() const { return m_remoteAddress; }
    std::uint16_t remotePort() const { return m_remotePort; }
    /// Bytes since the connect; they wrap.
    std::uint32_t totalSent() const { return m_totalSent; }
    std::uint32_t totalReceived() const { return m_totalReceived; }

private:
    bool establish(const IPv4Address& address, std::uint16_t port, unsigned timeoutMs);
    bool awaitEstablished(unsigned timeoutMs);
    void readExactly(void* buffer, std::size_t size);
    bool canTransfer(StateFlag shut, const void* buffer, std::size_t size) const;
    int receiveSome(unsigned char* target, std::size_t wanted);
    int takeBuffered(unsigned char* target, std::size_t wanted);
    void reportReceiveError(std::size_t wanted, std::size_t size, const void* buffer);
    void reportSendError();
    std::size_t sendAll(const unsigned char* bytes, std::size_t size, std::size_t boundary,
                        Log::Level level);

    // written by connect
    IPv4Address m_remoteAddress;
    std::uint16_t m_remotePort = 0;

    // atomic
    std::atomic<std::uint32_t> m_totalSent{0};
    std::atomic<std::uint32_t> m_totalReceived{0};

    // of the reading thread: bytes that came and weren't asked for yet
    std::unique_ptr<unsigned char[]> m_buffer;
    std::size_t m_bufferBegin = 0;
    std::size_t m_bufferEnd = 0;

    // of the writing thread: where header and payload are joined
    std::unique_ptr<unsigned char[]> m_joined;
};

} // namespace fus
