#include "fus/P_Reader.h"

#include "fus/P_AutoCloseConnectionEvent.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MProtocol.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Upcalls.h"

#include <algorithm>
#include <exception>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned SELECT_STEP = 500; // [ms], bounds the time that a stop takes

// Answers that nobody asked for stay until the connection closes. A generator leaves a few behind;
// one that floods must not take the memory with it.
constexpr std::size_t INBOX_LIMIT = 16384;

// Where the answer of a board says which command it is for.
constexpr std::uint32_t BOARD_FRAME_HWID = 12;
constexpr std::uint32_t BOARD_FRAME_COMMAND = 14;
constexpr std::uint32_t BOARD_FRAME_END = 16;

// Runs what an asynchronous packet asks for. No exception of it costs more than that packet.
template <class Handler>
bool contained(Handler handler) {
    try {
        return handler();
    } catch (const FUSException&) {
        // logged where it was thrown
    } catch (const std::exception& e) {
        FUS_LOG(ERROR, "std::exception in handleAsyncAnswer(): %s", e.what());
    } catch (...) {
        FUS_LOG(ERROR, "Unknown exception in handleAsyncAnswer()");
    }
    return false;
}

} // namespace

std::uint32_t Connection::Reader::Header::payloadSize() const {
    return size - PACKET_HEADER_SIZE;
}

std::unique_ptr<NetPacket> Connection::Reader::Payload::toPacket() {
    return std::make_unique<NetPacket>(size, bytes.release(), true);
}

Connection::Reader::Reader(Connection& connection, Upcalls& upcalls,
                           std::unique_ptr<TCPClient> socket, unsigned receiveTimeoutMs)
    : Thread(false, 0), m_connection(connection), m_upcalls(upcalls), m_socket(std::move(socket)),
      m_receiveTimeout(receiveTimeoutMs), m_inboxCondition(&m_inboxMutex) {}

Connection::Reader::~Reader() {
    shutDown();
}

void Connection::Reader::shutDown() {
    requestStop();
    wakeWaiters();
    m_socket->shutdownRead(); // wakes the thread; it sees the stop before it reads
    wait();
    m_socket->shutdownWrite();
}

unsigned Connection::Reader::run() {
    bool alive = true;
    while (alive && !isStopRequested()) {
        alive = !dataArrived() || receivePacket();
    }
    if (!alive && !isStopRequested()) {
        linkFailed();
    }
    return 0;
}

// A negative result of the wait counts as data: the read that follows fails by itself.
bool Connection::Reader::dataArrived() {
    return (m_socket->hasBufferedData() || m_socket->waitReadable(SELECT_STEP) != 0) &&
           !isStopRequested();
}

// Waits, without the socket mutex, until the next reads can be served: a generator that stops in
// the middle of a packet must not hold up a stop on its way out. With `ready`, something is there
// already. When the bytes don't come, the read that follows fails.
void Connection::Reader::awaitBytes(std::size_t size, bool ready) {
    const unsigned limit = m_receiveTimeout == 0 ? ~0U : m_receiveTimeout;
    Timer silence;
    while (m_socket->bufferedBytes() < size && !isStopRequested()) {
        if (!ready && m_socket->waitReadable(std::min(SELECT_STEP, limit)) == 0) {
            if (silence.elapsed() < limit) {
                continue;
            }
            m_socket->setReceiveTimeout(1); // time is up: the system says so in its own words
        }
        ready = false;
        MutexLocker lock(m_socketMutex);
        if (!m_socket->readAhead(size)) {
            return;
        }
        silence = Timer();
    }
}

bool Connection::Reader::receivePacket() {
    awaitBytes(PACKET_HEADER_SIZE, !m_socket->hasBufferedData());
    Header header;
    if (!readHeader(header)) {
        FUS_LOG(ERROR, "Reader: socket read error (header)");
        return false;
    }
    checkSize(header);
    Payload payload;
    if (!readPayload(header, payload)) {
        FUS_LOG(ERROR, "Reader: socket read error (data)");
        return false;
    }
    if (header.type == ANSWER_EXEC_ASYNC) {
        routeExecution(header, std::move(payload));
        return true;
    }
    if (header.type == ANSWER_BOARD_ASYNC && !routeBoard(header, payload)) {
        return true;
    }
    if (header.type == ANSWER_ANY) {
        FUS_THROW_MSG(ERR_PACKET, "Trying to add a packet with no type.");
    }
    if (isUnknownAnswer(header.type)) {
        FUS_LOG(ERROR, "Unknown packet type (%d) -> ignored.", header.type);
        return true;
    }
    return store(header, std::move(payload));
}

bool Connection::Reader::readHeader(Header& header) {
    try {
        MutexLocker lock(m_socketMutex);
        header.size = m_socket->read32();
        header.id = m_socket->read32();
        header.type = m_socket->read16();
        const char* const name = answerName(header.type); // logs an unknown one at any level
        FUS_LOG(VERBOSE, "    Reader: receive message (%s(0x%X), id=%u, size=%u)", name,
                static_cast<unsigned>(header.type), header.id, header.size);
        return true;
    } catch (const FUSException&) {
        return false;
    }
}

// Leaves the thread: what follows an impossible size can't be told apart into packets.
void Connection::Reader::checkSize(const Header& header) {
    if (header.size < PACKET_MIN_SIZE || header.size > PACKET_MAX_SIZE) {
        FUS_LOG(ERROR, "Reader: unexpected packet size (%d), will be flushed",
                static_cast<int>(header.size));
        FUS_THROW_MSG(ERR_PACKET, "Reader: connection seems corrupted, closing");
    }
}

bool Connection::Reader::readPayload(const Header& header, Payload& payload) {
    payload.size = header.payloadSize();
    if (payload.size == 0) {
        return true;
    }
    payload.bytes.reset(new unsigned char[payload.size]);
    awaitBytes(payload.size, false);
    MutexLocker lock(m_socketMutex);
    return m_socket->read(payload.bytes.get(), payload.size) == static_cast<int>(payload.size);
}

void Connection::Reader::routeExecution(const Header& header, Payload payload) {
    NetPacket packet(payload.size, payload.bytes.release(), true);
    contained([&] {
        m_upcalls.handleAsyncAnswer(header.id, header.type, packet);
        return true;
    });
}

bool Connection::Reader::routeBoard(const Header& header, const Payload& payload) {
    return contained([&] {
        NetPacket packet(payload.size, payload.bytes.get(), false);
        return m_connection.handleMechanicalAsync(header.id, header.type, packet);
    });
}

// False when the inbox overflows, which counts as a failed link.
bool Connection::Reader::store(const Header& header, Payload payload) {
    MutexLocker lock(m_inboxMutex);
    const unsigned size = payload.size;
    const std::uint16_t type = inboxType(header, payload);
    m_inbox.emplace(std::make_pair(header.id, type), std::move(payload));
    ++m_arrivals;
    FUS_LOG(DEBUG, "    Adding packet to inbox (id=%d, type=%s(0x%X), size=%u), inbox after=%u",
            static_cast<int>(header.id), answerName(header.type),
            static_cast<unsigned>(header.type), size, static_cast<unsigned>(m_inbox.size()));
    m_inboxCondition.broadcast();
    if (m_inbox.size() > INBOX_LIMIT) {
        FUS_LOG(ERROR, "Reader: more than %u packets that nobody reads",
                static_cast<unsigned>(INBOX_LIMIT));
        return false;
    }
    return true;
}

// The inbox mutex is held. A packet whose type is taken is not stored: but for the second answer of
// a mechanical command, which may look like the first one, and come before that one was read. It is
// stored like the asynchronous packet that it is from other boards.
std::uint16_t Connection::Reader::inboxType(const Header& header, const Payload& payload) const {
    const bool second =
        header.type == ANSWER_BOARD && payload.size >= BOARD_FRAME_END &&
        m_inbox.count({header.id, header.type}) != 0 &&
        payload.bytes[BOARD_FRAME_HWID] == HWID_MECHANICS &&
        mprotocol::hasSecondAnswer(static_cast<std::uint16_t>(
            payload.bytes[BOARD_FRAME_COMMAND] << 8U | payload.bytes[BOARD_FRAME_COMMAND + 1]));
    return second ? std::uint16_t{ANSWER_BOARD_ASYNC} : header.type;
}

// Closing waits for this thread, so another one has to do it.
void Connection::Reader::linkFailed() {
    m_closed = true;
    wakeWaiters();
    if (m_endsExpected == 0) {
        askToBeClosed();
    }
}

void Connection::Reader::askToBeClosed() {
    m_upcalls.notifyListeners(new AutoCloseConnectionEvent);
}

// Both flags are written before the other one is read, here and in `linkFailed`: one of the two
// asks, or both do, and a second request finds nothing to close.
void Connection::Reader::expectEnd(bool expected) {
    m_endsExpected += expected ? 1 : -1;
    if (m_endsExpected == 0 && m_closed) {
        askToBeClosed();
    }
}

void Connection::Reader::wakeWaiters() {
    MutexLocker lock(m_inboxMutex);
    m_inboxCondition.broadcast();
}

} // namespace fus
