#include "fus/P_Connection.h"

#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Reader.h"
#include "fus/P_TCPClient.h"

#include <algorithm>
#include <string>

namespace fus {

using namespace gprotocol;

namespace {

// Length of the text by which a generator introduces itself.
constexpr unsigned INI_MIN_SIZE = 32;
constexpr unsigned INI_MAX_SIZE = 131072;

} // namespace

Connection::Connection(Upcalls& upcalls) : m_upcalls(upcalls) {}

Connection::~Connection() {
    if (const auto reader = takeReader()) {
        reader->shutDown();
    }
}

bool Connection::connect(const char* host, unsigned short port, unsigned timeoutMs,
                         const GeneratorDefinition& definition) {
    if (reader() || !openLink(host, port, timeoutMs)) {
        return false;
    }
    try {
        if (applyDefinitionBackPanel(definition) && !openLink(host, port, timeoutMs)) {
            return false;
        }
        if (isV3()) {
            FUS_LOG(INFO, "------------------------------ Reading V3 Generator params "
                          "------------------------------");
            m_config.refine(*this);
        }
    } catch (...) {
        close();
        throw;
    }
    FUS_LOG(INFO, "++++++++++++++++++++++++++++++ Connection done ++++++++++++++++++++++++++++++");
    return true;
}

bool Connection::openLink(const char* host, unsigned short port, unsigned timeoutMs) {
    auto socket = std::make_unique<TCPClient>();
    socket->setNoDelay(true);
    if (!socket->connect(IPv4Address(host), port, timeoutMs)) {
        return false;
    }
    socket->setReceiveTimeout(timeoutMs);
    // a generator that no longer reads must not hold a sender, and with it a stop, for ever
    socket->setSendTimeout(timeoutMs);
    try {
        readGeneratorText(*socket);
    } catch (const FUSException&) {
        socket.reset();
        FUS_LOG(ERROR, "Connection error: can not read generator configuration (INI).");
        return false;
    }
    const auto reader = std::make_shared<Reader>(*this, m_upcalls, std::move(socket), timeoutMs);
    {
        const std::lock_guard<std::mutex> lock(m_readerMutex);
        m_reader = reader;
    }
    reader->start();
    return true;
}

// The text comes ahead of any packet: a 32-bit length, then so many bytes.
void Connection::readGeneratorText(TCPClient& socket) {
    const unsigned size = socket.read32();
    if (size < INI_MIN_SIZE || size > INI_MAX_SIZE) {
        FUS_LOG(ERROR, "Connection error: invalid INI size (%u)", size);
        FUS_THROW(ERR_SOCKET_READ);
    }
    std::string text(size, '\0');
    const int received = socket.read(text.data(), size);
    if (received != static_cast<int>(size)) {
        FUS_LOG(ERROR, "Connection error: can not read expected amount of data (%u/%u)",
                static_cast<unsigned>(received), size);
        FUS_THROW(ERR_SOCKET_READ);
    }
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (Log::getInstance().getLevel() < Log::INFO) {
        FUS_LOG(VERBOSE, "Generator INI:\n%s", text.c_str());
    }
    m_config.load(text);
}

void Connection::close() {
    FUS_LOG(INFO, "Closing connection");
    const auto reader = this->reader();
    if (!reader) {
        return;
    }
    reader->logInbox();
    try {
        reader->sendCommand(CMD_CLOSE, nullptr, 0);
    } catch (const FUSException&) {
        // the generator is gone; there is nobody to say goodbye to
    }
    takeReader();
    reader->shutDown();
}

std::shared_ptr<Connection::Reader> Connection::reader() const {
    const std::lock_guard<std::mutex> lock(m_readerMutex);
    return m_reader;
}

std::shared_ptr<Connection::Reader> Connection::takeReader() {
    const std::lock_guard<std::mutex> lock(m_readerMutex);
    return std::move(m_reader);
}

std::shared_ptr<Connection::Reader> Connection::openReader() const {
    auto reader = this->reader();
    if (!reader || reader->isClosed()) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    return reader;
}

bool Connection::isOpen() const {
    const auto reader = this->reader();
    return reader && !reader->isClosed();
}

void Connection::setSecureMode(bool on) {
    FUS_LOG(INFO, "Changing Connection secure mode: %d", on);
    m_secure = on;
}

const GeneratorConfig& Connection::config() const {
    openReader();
    return m_config;
}

unsigned Connection::totalSent() const {
    const auto reader = this->reader();
    return reader ? reader->totalSent() : 0;
}

unsigned Connection::totalReceived() const {
    const auto reader = this->reader();
    return reader ? reader->totalReceived() : 0;
}

std::string Connection::peerAddress() const {
    return openReader()->peerAddress();
}

unsigned short Connection::peerPort() const {
    return openReader()->peerPort();
}

unsigned Connection::nextId() {
    return openReader()->nextId();
}

unsigned Connection::sendCommand(unsigned short type, const void* payload, unsigned size) {
    return openReader()->sendCommand(type, payload, size);
}

unsigned Connection::sendCommand(unsigned short type, const NetPacket& payload) {
    return sendCommand(type, payload.data(), payload.size());
}

unsigned Connection::sendRawData(const void* data, unsigned size) {
    return openReader()->sendRawData(data, size);
}

bool Connection::readAnswer(unsigned id, unsigned short expectedType,
                            std::unique_ptr<NetPacket>* packet, unsigned timeoutMs,
                            unsigned short* foundType) {
    return openReader()->readAnswer(id, expectedType, packet, timeoutMs, foundType);
}

std::unique_ptr<NetPacket> Connection::awaitAnswer(unsigned id, unsigned short expectedType) {
    std::unique_ptr<NetPacket> packet;
    if (!readAnswer(id, expectedType, &packet, TIMEOUT_DEFAULT, nullptr)) {
        FUS_THROW(ERR_TIMEOUT);
    }
    return packet;
}

// Such an end is no loss of the link, and no business of the event sender. The link may be dead by
// the time that the answer is read, so the reader is asked for it itself.
void Connection::sendLastCommand(unsigned short type, const NetPacket& payload,
                                 unsigned timeoutMs) {
    const auto reader = openReader();
    reader->expectEnd(true);
    try {
        const unsigned id = reader->sendCommand(type, payload.data(), payload.size());
        if (!reader->readAnswer(id, ANSWER_OK, nullptr, timeoutMs, nullptr)) {
            FUS_THROW(ERR_TIMEOUT);
        }
    } catch (...) {
        reader->expectEnd(false);
        throw;
    }
}

bool Connection::checkAnswer(unsigned id, unsigned short expectedType) {
    const auto reader = this->reader();
    return reader && reader->checkAnswer(id, expectedType);
}

unsigned Connection::readGeneratorParameter(unsigned short id) {
    if (m_secure && isV3()) {
        FUS_THROW(ERR_PROTOCOL);
    }
    NetPacket payload(2);
    payload.write16(id);
    const auto answer = awaitAnswer(sendCommand(CMD_PARAM_GET, payload), ANSWER_PARAM);
    if (!answer || answer->remaining() < 3 || answer->read16() != id) {
        FUS_THROW(ERR_PACKET);
    }
    return answer->read8();
}

void Connection::writeGeneratorParameter(unsigned short id, unsigned char value) {
    if (m_secure && isV3()) {
        FUS_THROW(ERR_PROTOCOL);
    }
    NetPacket payload(3);
    payload.write16(id);
    payload.write8(value);
    awaitAnswer(sendCommand(CMD_PARAM_SET, payload), ANSWER_OK);
}

} // namespace fus
