#pragma once

#include "fus/P_Connection.h"
#include "fus/P_TCPClient.h"
#include "fus/P_Thread.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace fus {

/// The thread that owns the socket of a connection and takes every packet off it. Synchronous
/// answers go to the inbox, asynchronous ones to whom they concern, on this thread.
///
/// The thread waits for data, for the inbox mutex, and for what an asynchronous answer needs; never
/// for an answer. When the link fails it says so to all who wait and asks the event sender to close
/// the connection; it doesn't close it itself. A packet that declares an impossible size or no type
/// ends the thread: answers then only time out.
class Connection::Reader final : public Thread {
public:
    /// A packet that has begun goes on within `receiveTimeoutMs` of its last byte [ms], or the link
    /// counts as lost; 0 is no limit.
    Reader(Connection& connection, Upcalls& upcalls, std::unique_ptr<TCPClient> socket,
           unsigned receiveTimeoutMs);
    ~Reader() override;

    /// Ends the thread and shuts the socket. Waits for the thread, wakes all who wait for an
    /// answer. They may still be inside: the object is freed by whoever leaves it last.
    void shutDown();

    /// The link is known to be dead.
    bool isClosed() const { return m_closed; }
    unsigned totalSent() const { return m_socket->totalSent(); }
    unsigned totalReceived() const { return m_socket->totalReceived(); }

    std::string peerAddress() const { return m_socket->remoteAddress().toString(); }
    unsigned short peerPort() const { return m_socket->remotePort(); }

    unsigned nextId();
    unsigned sendCommand(unsigned short type, const void* payload, unsigned size);
    unsigned sendRawData(const void* data, unsigned size);
    bool readAnswer(unsigned id, unsigned short expectedType, std::unique_ptr<NetPacket>* packet,
                    unsigned timeoutMs, unsigned short* foundType);
    bool checkAnswer(unsigned id, unsigned short expectedType);
    void logInbox();

    /// Whether the generator is about to end the link by itself. Then nobody is asked to close the
    /// connection, as whoever expects the end does so; when nobody expects it any longer, but it
    /// has come, that is made up for. Each true may be taken back by one false.
    void expectEnd(bool expected);

protected:
    unsigned run() override;

private:
    struct Header {
        std::uint32_t size = 0;
        std::uint32_t id = 0;
        std::uint16_t type = 0;
        std::uint32_t payloadSize() const;
    };
    struct Payload {
        std::unique_ptr<unsigned char[]> bytes;
        std::uint32_t size = 0;
        std::unique_ptr<NetPacket> toPacket();
    };
    struct Answer {
        std::uint16_t type = 0;
        Payload payload;
    };
    using Inbox = std::map<std::pair<std::uint32_t, std::uint16_t>, Payload>;

    // the thread
    bool dataArrived();
    bool receivePacket();
    void awaitBytes(std::size_t size, bool ready);
    bool readHeader(Header& header);
    static void checkSize(const Header& header);
    bool readPayload(const Header& header, Payload& payload);
    void route(const Header& header, Payload payload);
    void routeExecution(const Header& header, Payload payload);
    bool routeBoard(const Header& header, const Payload& payload);
    bool store(const Header& header, Payload payload);
    std::uint16_t inboxType(const Header& header, const Payload& payload) const;
    void linkFailed();
    void askToBeClosed();
    void wakeWaiters();

    // the callers
    unsigned takeId();
    bool writePacket(unsigned id, unsigned short type, const void* payload, unsigned size);
    [[noreturn]] void writeFailed();
    bool awaitAnswer(unsigned id, unsigned short expectedType, unsigned timeoutMs, Answer& answer);
    void spinForAnswer(unsigned id) const;
    bool hasAnswer(unsigned id) const;
    bool takeAnswer(unsigned id, Answer& answer);
    [[noreturn]] void throwErrorText(Payload payload) const;
    [[noreturn]] void throwErrorInfo(Payload payload) const;

    // constant after construction
    Connection& m_connection;
    Upcalls& m_upcalls;
    const std::unique_ptr<TCPClient> m_socket;
    const unsigned m_receiveTimeout;

    // a whole send, each read of the reader
    Mutex m_socketMutex;
    std::uint32_t m_nextId = 1; // guarded by m_socketMutex

    // guarded by m_inboxMutex
    mutable Mutex m_inboxMutex;
    Condition m_inboxCondition;
    Inbox m_inbox;

    std::atomic<unsigned> m_arrivals{0}; // in the inbox, ever; wraps
    std::atomic<bool> m_closed{false};
    std::atomic<int> m_endsExpected{0}; // by so many calls
};

} // namespace fus
