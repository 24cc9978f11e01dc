#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace fus {

/// An IPv4 address in host byte order. 0 is the any address, and also stands for a name that could
/// not be resolved.
class IPv4Address {
public:
    constexpr IPv4Address() = default;
    constexpr explicit IPv4Address(std::uint32_t value) : m_value(value) {}
    /// Resolves a host name or dotted text; may block for as long as the system's look-up does.
    explicit IPv4Address(const char* name);

    static const IPv4Address ANY;

    constexpr std::uint32_t value() const { return m_value; }
    /// The dotted form.
    std::string toString() const;

private:
    std::uint32_t m_value = 0;
};

inline constexpr IPv4Address IPv4Address::ANY{};

/// A TCP socket and what is known of its local end. It has no lock: see `TCPClient` for which
/// threads may do what.
class TCPSocket {
public:
    /// Opens a socket. A failure is logged and leaves an object without a descriptor.
    TCPSocket();
    virtual ~TCPSocket();
    virtual void close() = 0;
    TCPSocket(const TCPSocket&) = delete;
    TCPSocket& operator=(const TCPSocket&) = delete;

    /// Binds to a local address and port, 0 for any. False after logging why.
    bool bind(const IPv4Address& address, std::uint16_t port);

    /// Level, option and value are the system's. ERR_SOCKET_OPTION without a descriptor or when
    /// the system refuses.
    void setOption(int level, int option, const void* value, int length);
    void getOption(int option, void* value, int length, int level) const;

    bool setBlocking(bool blocking);
    /// Bounds each wait for data [ms], 0 for no bound. A bound that passes loses the connection.
    void setReceiveTimeout(unsigned milliseconds);
    /// Bounds each wait for room in the send buffer [ms], as `setReceiveTimeout` does for data.
    void setSendTimeout(unsigned milliseconds);
    void setNoDelay(bool on);

    IPv4Address localAddress() const { return m_localAddress; }
    std::uint16_t localPort() const { return m_localPort; }
    bool isConnected() const { return hasFlag(CONNECTED); }

protected:
    enum StateFlag : unsigned {
        BOUND = 1,
        CLOSED = 2,
        CONNECTED = 4,
        RECV_SHUT = 8, ///< nothing more will be received
        SEND_SHUT = 16 ///< nothing more can be sent
    };

    /// platform::Socket, spelled out so that this header stays free of the platform's.
    using Descriptor = std::intptr_t;

    bool hasDescriptor() const;
    Descriptor descriptor() const { return m_descriptor; }
    /// As log lines print it.
    int printedDescriptor() const { return static_cast<int>(m_descriptor); }
    void closeDescriptor();

    bool hasFlag(StateFlag flag) const { return (m_flags & flag) != 0; }
    void setFlag(StateFlag flag) { m_flags |= flag; }
    void clearFlag(StateFlag flag) { m_flags &= ~static_cast<unsigned>(flag); }

private:
    [[noreturn]] void throwOptionError() const;

    // atomic
    std::atomic<Descriptor> m_descriptor;
    std::atomic<unsigned> m_flags{CLOSED};

    // written by bind
    IPv4Address m_localAddress;
    std::uint16_t m_localPort = 0;
};

} // namespace fus
