#include "BarePeer.h"

#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"

#include <cstdlib>
#include <cstring>

namespace fus::bench {

using namespace gprotocol;

namespace {

constexpr unsigned HEADER = PACKET_HEADER_SIZE;
constexpr unsigned COMMAND_FRAME = 22;
constexpr unsigned SHOT_HEAD = 28;
constexpr unsigned SHOTS_AT_ONCE = 50; // packets in one system call of the flood
constexpr unsigned SHOT_RESULT = 29;

void must(bool condition) {
    if (!condition) {
        std::abort(); // a benchmark without its peer measures nothing
    }
}

Bytes wrap(std::uint16_t type, std::uint32_t id, const Bytes& payload) {
    NetPacket packet(static_cast<std::uint32_t>(HEADER + payload.size()));
    packet.write32(packet.size());
    packet.write32(id);
    packet.write16(type);
    packet.writeBytes(payload.data(), static_cast<std::uint32_t>(payload.size()));
    return Bytes(packet.data(), packet.data() + packet.size());
}

Bytes parameterAnswer() {
    NetPacket packet(28);
    packet.seek(12, 0);
    packet.write8(HWID_PROCESSOR);
    packet.write8(0);
    packet.write16(CMD_BOARD_PARAM_GET);
    packet.write16(CMD_BOARD_PARAM_GET);
    packet.write16(8);
    return Bytes(packet.data(), packet.data() + packet.size());
}

} // namespace

std::string generatorText() {
    return "[Version]\nserver_software_version = 2.9.0.0\nserver_hardware_version = 1.0.0.0\n"
           "amp_board_hardware_version = 1.2.3.4\n"
           "[Available hardware]\nnb_elements = 256\nmax_nb_buffers = 4\nmax_nb_shot = 4096\n"
           "nb_dds_board = 16\nnb_adc_board = 16\nnb_measures_by_amp_board = 4\n"
           "[Timing constraints]\nmax_shot_duration_us = 1000000\nmax_shot_length_us = 2000000\n";
}

Bytes BarePeer::parameterRequest(std::uint32_t id) {
    NetPacket packet(COMMAND_FRAME + 2);
    packet.seek(16, 0);
    packet.write8(HWID_PROCESSOR);
    packet.write8(0);
    packet.write16(CMD_BOARD_PARAM_GET);
    packet.write16(2);
    packet.setByteOrder(NetPacket::LITTLE);
    packet.write16(BPARAM_ALL_UID);
    return wrap(CMD_BOARD_CMD, id, Bytes(packet.data(), packet.data() + packet.size()));
}

std::size_t BarePeer::parameterAnswerSize() {
    return HEADER + parameterAnswer().size();
}

Bytes BarePeer::shotPacket(unsigned executionId) {
    NetPacket packet(SHOT_HEAD + CHANNELS * MEASURES);
    packet.write32(CHANNELS);
    packet.write32(1000);
    packet.write32(0); // shot
    packet.write32(0); // gap
    packet.write32(0); // executions to come
    packet.write16(0);
    packet.write8(SHOT_RESULT);
    packet.seek(SHOT_HEAD, 0);
    for (unsigned i = 0; i < CHANNELS * MEASURES; ++i) {
        packet.write8(static_cast<std::uint8_t>(i));
    }
    return wrap(ANSWER_EXEC_ASYNC, executionId,
                Bytes(packet.data(), packet.data() + packet.size()));
}

BarePeer::BarePeer(bool greets)
    : m_greets(greets), m_listener(platform::openTcpSocket()), m_connection(platform::NO_SOCKET),
      m_payload(1U << 24U) {
    std::uint32_t address = 0;
    must(platform::bindSocket(m_listener, platform::LOOPBACK_ADDRESS, 0) == 0);
    must(platform::socketName(m_listener, address, m_port) == 0);
    must(platform::listenSocket(m_listener, 1) == 0);
    m_server = std::thread([this] { serve(); });
    m_flooder = std::thread([this] { flood(); });
}

BarePeer::~BarePeer() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        m_flooding = false;
    }
    m_wanted.notify_all();
    if (m_connection != platform::NO_SOCKET) {
        platform::shutdownRead(m_connection);
        platform::shutdownWrite(m_connection);
    }
    m_server.join();
    m_flooder.join();
    if (m_connection != platform::NO_SOCKET) {
        platform::closeSocket(m_connection);
    }
    platform::closeSocket(m_listener);
}

void BarePeer::serve() {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    m_connection = platform::acceptSocket(m_listener, address, port);
    const int on = 1;
    platform::setSocketOption(m_connection, platform::LEVEL_TCP, platform::OPTION_NO_DELAY, &on,
                              sizeof on);
    if (m_greets) {
        const std::string text = generatorText();
        NetPacket greeting(static_cast<std::uint32_t>(4 + text.size()));
        greeting.write32(static_cast<std::uint32_t>(text.size()));
        greeting.writeBytes(text.data(), static_cast<std::uint32_t>(text.size()));
        sendAll(greeting.data(), greeting.size());
    }
    while (serveOne()) {
    }
}

bool BarePeer::serveOne() {
    unsigned char header[HEADER];
    if (!readAll(header, HEADER)) {
        return false;
    }
    NetPacket packet = NetPacket::copyOf(header, HEADER);
    const std::uint32_t size = packet.read32() - HEADER;
    const std::uint32_t id = packet.read32();
    const std::uint16_t type = packet.read16();
    must(size <= m_payload.size());
    if (!readAll(m_payload.data(), size)) {
        return false;
    }
    if (type == CMD_BOARD_CMD) {
        answer(ANSWER_BOARD, id, parameterAnswer());
    } else if (type != CMD_TRAJ_STOP && type != CMD_CLOSE) {
        answer(ANSWER_OK, id, {});
    }
    return true;
}

bool BarePeer::readAll(unsigned char* target, std::size_t size) {
    while (size != 0) {
        const int got = platform::receive(m_connection, target, size);
        if (got <= 0) {
            return false;
        }
        target += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool BarePeer::sendAll(const unsigned char* bytes, std::size_t size) {
    const std::lock_guard<std::mutex> lock(m_sendMutex);
    while (size != 0) {
        const int sent = platform::send(m_connection, bytes, size);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

void BarePeer::answer(std::uint16_t type, std::uint32_t id, const Bytes& payload) {
    const Bytes bytes = wrap(type, id, payload);
    sendAll(bytes.data(), bytes.size());
}

void BarePeer::sendShots(unsigned executionId, unsigned count) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_executionId = executionId;
    m_shots += count;
    m_wanted.notify_all();
}

void BarePeer::startFlood(unsigned executionId) {
    m_flooding = true;
    sendShots(executionId, 1);
}

void BarePeer::endFlood() {
    m_flooding = false;
}

void BarePeer::flood() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wanted.wait(lock, [this] { return m_stop || m_shots != 0; });
        if (m_stop) {
            return;
        }
        const Bytes one = shotPacket(m_executionId);
        unsigned left = m_shots;
        m_shots = 0;
        lock.unlock();
        Bytes batch;
        for (unsigned i = 0; i < SHOTS_AT_ONCE; ++i) {
            batch.insert(batch.end(), one.begin(), one.end());
        }
        bool alive = true;
        while (alive && (left != 0 || m_flooding)) {
            const unsigned now =
                m_flooding ? SHOTS_AT_ONCE : (left < SHOTS_AT_ONCE ? left : SHOTS_AT_ONCE);
            alive = sendAll(batch.data(), now * one.size());
            left -= now < left ? now : left;
        }
        lock.lock();
    }
}

BareClient::BareClient(std::uint16_t port) : m_socket(platform::openTcpSocket()) {
    must(platform::connectSocket(m_socket, platform::LOOPBACK_ADDRESS, port) == 0);
    const int on = 1;
    platform::setSocketOption(m_socket, platform::LEVEL_TCP, platform::OPTION_NO_DELAY, &on,
                              sizeof on);
}

BareClient::~BareClient() {
    platform::closeSocket(m_socket);
}

void BareClient::send(const Bytes& bytes) {
    must(platform::send(m_socket, bytes.data(), bytes.size()) == static_cast<int>(bytes.size()));
}

void BareClient::receive(unsigned char* target, std::size_t size) {
    while (size != 0) {
        const std::size_t got = receiveSome(target, size);
        target += got;
        size -= got;
    }
}

std::size_t BareClient::receiveSome(unsigned char* target, std::size_t size) {
    const int got = platform::receive(m_socket, target, size);
    must(got > 0);
    return static_cast<std::size_t>(got);
}

} // namespace fus::bench
