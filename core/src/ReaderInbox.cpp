// What callers do with the reader: send, and wait for answers in its inbox.

#include "fus/P_Reader.h"

#include "fus/P_ErrorInfo.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Upcalls.h"

#include <chrono>
#include <string>
#include <thread>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned ERROR_TEXT_OFFSET = 2;
constexpr std::chrono::microseconds SPIN_TIME{50};

[[noreturn]] void logAndThrow(const FUSException& error) {
    FUS_LOG(EXCEPTION, "%s: %s", FUSException::FUSErrorName(error.errorCode()), error.message());
    throw error;
}

} // namespace

unsigned Connection::Reader::nextId() {
    MutexLocker lock(m_socketMutex);
    return takeId();
}

// The socket mutex is held. 0 is never issued: it stands for "no id".
unsigned Connection::Reader::takeId() {
    const std::uint32_t id = m_nextId++;
    if (m_nextId == 0) {
        m_nextId = 1;
    }
    return id;
}

unsigned Connection::Reader::sendCommand(unsigned short type, const void* payload, unsigned size) {
    if (m_closed || isStopRequested()) {
        return 0;
    }
    unsigned id = 0;
    bool written = false;
    {
        MutexLocker lock(m_socketMutex);
        id = takeId();
        written = writePacket(id, type, payload, size);
    }
    if (!written) {
        writeFailed();
    }
    return id;
}

bool Connection::Reader::writePacket(unsigned id, unsigned short type, const void* payload,
                                     unsigned size) {
    const char* const name = commandName(type); // logs an unknown one at any level
    FUS_LOG(INFO, "    SendCommand (%s=0x%04X, id=%d, sz=%d)", name, static_cast<unsigned>(type),
            static_cast<int>(id), static_cast<int>(size + PACKET_HEADER_SIZE));
    NetPacket header(PACKET_HEADER_SIZE);
    header.write32(size + PACKET_HEADER_SIZE);
    header.write32(id);
    header.write16(type);
    return m_socket->writeGather(header.data(), header.size(), payload, size);
}

unsigned Connection::Reader::sendRawData(const void* data, unsigned size) {
    if (m_closed || isStopRequested()) {
        return 0;
    }
    int sent = 0;
    {
        MutexLocker lock(m_socketMutex);
        FUS_LOG(VERBOSE, "    SendRawData (sz=%d)", static_cast<int>(size));
        sent = m_socket->write(data, size);
    }
    if (sent != static_cast<int>(size)) {
        writeFailed();
    }
    return static_cast<unsigned>(sent);
}

// The socket mutex is not held: disconnecting waits for the reader, and the reader may be waiting
// for that mutex.
void Connection::Reader::writeFailed() {
    m_closed = true;
    wakeWaiters();
    m_upcalls.disconnectSocket(1);
    FUS_THROW(ERR_SOCKET_WRITE);
}

bool Connection::Reader::readAnswer(unsigned id, unsigned short expectedType,
                                    std::unique_ptr<NetPacket>* packet, unsigned timeoutMs,
                                    unsigned short* foundType) {
    if (packet != nullptr) {
        packet->reset();
    }
    Answer answer;
    if (!awaitAnswer(id, expectedType, timeoutMs, answer)) {
        return false;
    }
    switch (answer.type) {
    case ANSWER_ERROR:
        FUS_THROW(ERR_GENERATOR);
    case ANSWER_ERROR_MSG:
        throwErrorText(std::move(answer.payload));
    case ANSWER_ERROR_MSGV3:
        throwErrorInfo(std::move(answer.payload));
    default:
        break;
    }
    if (foundType != nullptr) {
        *foundType = answer.type;
    }
    if (expectedType != ANSWER_ANY && answer.type != expectedType) {
        FUS_LOG(ERROR,
                "ReadAnswer: unexpected packet type (deleted) (id=%d, expected=%d, found=%d)",
                static_cast<int>(id), expectedType, answer.type);
        return false;
    }
    if (packet != nullptr && answer.payload.size != 0) {
        *packet = answer.payload.toPacket();
    }
    return true;
}

bool Connection::Reader::awaitAnswer(unsigned id, unsigned short expectedType, unsigned timeoutMs,
                                     Answer& answer) {
    const Timer timer;
    spinForAnswer(id);
    MutexLocker lock(m_inboxMutex);
    const unsigned limit = timeoutMs == TIMEOUT_DEFAULT ? g_defaultAnswerTimeout.load() : timeoutMs;
    while (!isStopRequested()) {
        if (takeAnswer(id, answer)) { // also one that came just before the end of the link
            FUS_LOG(VERBOSE, "    ReadAnswer found (id=%u, type=%s(0x%X), size=%u, inbox after=%u)",
                    id, answerName(answer.type), static_cast<unsigned>(answer.type),
                    answer.payload.size, static_cast<unsigned>(m_inbox.size()));
            return true;
        }
        const auto elapsed = static_cast<long long>(static_cast<int>(timer.elapsed()));
        if (m_closed || (limit != TIMEOUT_INFINITE && elapsed > static_cast<long long>(limit))) {
            break;
        }
        m_inboxCondition.timedWait(ANSWER_STEP);
    }
    FUS_LOG(ERROR, "ReadAnswer not found (id=%u, type=%s(0x%X), inbox=%u)", id,
            answerName(expectedType), static_cast<unsigned>(expectedType),
            static_cast<unsigned>(m_inbox.size()));
    return false;
}

// A generator answers most commands within tens of microseconds, and a sleep and a wake-up cost as
// much again. So before it sleeps, the caller looks for an arrival for that long, and lets others
// run between the looks.
void Connection::Reader::spinForAnswer(unsigned id) const {
    unsigned seen = 0;
    {
        MutexLocker lock(m_inboxMutex);
        if (hasAnswer(id)) {
            return;
        }
        seen = m_arrivals;
    }
    const auto end = std::chrono::steady_clock::now() + SPIN_TIME;
    while (m_arrivals == seen && !m_closed && !isStopRequested() &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
}

// The inbox mutex is held.
bool Connection::Reader::hasAnswer(unsigned id) const {
    const auto found = m_inbox.lower_bound({id, 0});
    return found != m_inbox.end() && found->first.first == id;
}

// The inbox mutex is held. Takes the first answer of this id, whatever its type.
bool Connection::Reader::takeAnswer(unsigned id, Answer& answer) {
    const auto found = m_inbox.lower_bound({id, 0});
    if (found == m_inbox.end() || found->first.first != id) {
        return false;
    }
    answer.type = found->first.second;
    answer.payload = std::move(found->second);
    m_inbox.erase(found);
    return true;
}

void Connection::Reader::throwErrorText(Payload payload) const {
    if (m_connection.isV3()) {
        FUS_LOG(ERROR, "Version 2 error received from a V3 generator.");
    }
    std::string text;
    if (payload.size > ERROR_TEXT_OFFSET) {
        const auto* bytes = reinterpret_cast<const char*>(payload.bytes.get());
        text.assign(bytes + ERROR_TEXT_OFFSET, payload.size - ERROR_TEXT_OFFSET);
    }
    logAndThrow(FUSException(ERR_GENERATOR, __FILE__, __LINE__, text.c_str()));
}

void Connection::Reader::throwErrorInfo(Payload payload) const {
    if (!m_connection.isV3()) {
        FUS_LOG(ERROR, "Version 3 error received from a V2 generator.");
    }
    const std::unique_ptr<NetPacket> packet = payload.toPacket();
    const ErrorInfo info(*packet);
    logAndThrow(
        FUSException(HardwareCode(info.code()), __FILE__, __LINE__, info.message().c_str()));
}

bool Connection::Reader::checkAnswer(unsigned id, unsigned short expectedType) {
    MutexLocker lock(m_inboxMutex);
    return expectedType == ANSWER_ANY ? hasAnswer(id) : m_inbox.count({id, expectedType}) != 0;
}

void Connection::Reader::logInbox() {
    MutexLocker lock(m_inboxMutex);
    FUS_LOG(VERBOSE, "    Connection.inbox(%u packets)", static_cast<unsigned>(m_inbox.size()));
    for (const auto& [key, payload] : m_inbox) {
        FUS_LOG(VERBOSE, "    - id=%d type=%s(0x%X) size=%u", static_cast<int>(key.first),
                answerName(key.second), static_cast<unsigned>(key.second), payload.size);
    }
}

} // namespace fus
