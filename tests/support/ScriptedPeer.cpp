#include "support/ScriptedPeer.h"

#include "fus/P_GProtocol.h"
#include "fus/P_Network.h"
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace fus::test {

namespace {

/// How long the peer waits for the system before it looks whether it shall stop [ms].
constexpr unsigned SLICE = 20;

std::uint32_t readBig(const Bytes& bytes, std::size_t offset, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8U | bytes[offset + i];
    }
    return value;
}

std::string typeText(std::uint16_t type) {
    for (const auto& row : gprotocol::COMMANDS) {
        if (row.value == type) {
            return row.name;
        }
    }
    return "type " + std::to_string(type);
}

std::string describe(const PeerPacket& packet) {
    return typeText(packet.type) + " id=" + std::to_string(packet.id) + " payload [" +
           toHex(packet.payload) + "]";
}

} // namespace

PayloadMatcher::PayloadMatcher(const Bytes& expected)
    : description("[" + toHex(expected) + "]"),
      matches([expected](const Bytes& bytes) { return bytes == expected; }) {}

PayloadMatcher PayloadMatcher::any() {
    return {"any payload", [](const Bytes&) { return true; }};
}

PayloadMatcher PayloadMatcher::startsWith(const Bytes& head) {
    return {"[" + toHex(head) + " ...]", [head](const Bytes& bytes) {
                return bytes.size() >= head.size() &&
                       std::equal(head.begin(), head.end(), bytes.begin());
            }};
}

ScriptedPeer::ScriptedPeer() : m_connection(platform::NO_SOCKET) {
    Network::getInstance().init();
    m_listener = platform::openTcpSocket();
    std::uint32_t address = 0;
    if (platform::bindSocket(m_listener, platform::LOOPBACK_ADDRESS, 0) != 0 ||
        platform::listenSocket(m_listener, 8) != 0 ||
        platform::socketName(m_listener, address, m_port) != 0) {
        platform::closeSocket(m_listener);
        throw std::runtime_error("no port to listen on");
    }
    m_thread = std::thread([this] { loop(); });
}

ScriptedPeer::~ScriptedPeer() {
    finish();
}

// ---- Steps --------------------------------------------------------------------------------------

ScriptedPeer& ScriptedPeer::add(std::string description, std::function<void()> action) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.push_back({std::move(description), std::move(action)});
    m_changed.notify_all();
    return *this;
}

ScriptedPeer& ScriptedPeer::expect(std::uint16_t type, const PayloadMatcher& payload) {
    const std::string wanted = typeText(type) + " " + payload.description;
    return add("expect " + wanted, [this, type, payload, wanted] {
        const PeerPacket packet = receiveExpected(type);
        if (packet.type != type || !payload.matches(packet.payload)) {
            throw Failure{"expected " + wanted + "\n     but got " + describe(packet)};
        }
    });
}

ScriptedPeer& ScriptedPeer::expectRaw(const Bytes& bytes) {
    return add("expect bytes [" + toHex(bytes) + "]", [this, bytes] {
        const Bytes got = mustReceive(bytes.size());
        if (got != bytes) {
            throw Failure{"expected bytes [" + toHex(bytes) + "]\n          but got [" +
                          toHex(got) + "]"};
        }
    });
}

ScriptedPeer& ScriptedPeer::expectEnd() {
    return add("expect the end of the connection", [this] {
        needConnection();
        readToEnd();
        closeConnection();
    });
}

ScriptedPeer& ScriptedPeer::allow(std::uint16_t type) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_allowed.insert(type);
    return *this;
}

ScriptedPeer& ScriptedPeer::sendIni(const std::string& characters) {
    const Bytes bytes = be32(static_cast<std::uint32_t>(characters.size())) + text(characters);
    return add("send the INI text", [this, bytes] { transmit(bytes); });
}

ScriptedPeer& ScriptedPeer::answer(std::uint16_t type, const Bytes& payload) {
    return add("answer with type " + std::to_string(type), [this, type, payload] {
        const std::vector<PeerPacket> before = received();
        if (before.empty()) {
            throw Failure{"nothing was received that could be answered"};
        }
        transmit(packet(type, before.back().id, payload));
    });
}

ScriptedPeer& ScriptedPeer::answerTo(std::size_t index, std::uint16_t type, const Bytes& payload) {
    return add(
        "answer number " + std::to_string(index) + " with type " + std::to_string(type),
        [this, index, type, payload] { transmit(packet(type, received().at(index).id, payload)); });
}

ScriptedPeer& ScriptedPeer::sendPacket(std::uint16_t type, std::uint32_t id, const Bytes& payload) {
    return send(packet(type, id, payload));
}

ScriptedPeer& ScriptedPeer::send(const Bytes& bytes) {
    return add("send " + std::to_string(bytes.size()) + " bytes",
               [this, bytes] { transmit(bytes); });
}

ScriptedPeer& ScriptedPeer::sendByteByByte(const Bytes& bytes) {
    return add("send " + std::to_string(bytes.size()) + " single bytes", [this, bytes] {
        for (const unsigned char byte : bytes) {
            transmit({byte});
        }
    });
}

ScriptedPeer& ScriptedPeer::awaitConnection() {
    return add("await a connection", [this] { needConnection(); });
}

ScriptedPeer& ScriptedPeer::waitFor(const Latch& latch) {
    return add("wait to be told", [this, latch] {
        waitUntil([&] { return latch.wait(std::chrono::milliseconds(SLICE)); }, "the latch");
    });
}

ScriptedPeer& ScriptedPeer::tell(const Latch& latch) {
    return add("tell the test", [latch] { latch.open(); });
}

ScriptedPeer& ScriptedPeer::cut() {
    return add("cut the connection", [this] {
        needConnection();
        closeConnection();
    });
}

ScriptedPeer& ScriptedPeer::run(const std::string& description, std::function<void()> action) {
    return add(description, std::move(action));
}

// ---- The end ------------------------------------------------------------------------------------

bool ScriptedPeer::settle() {
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto deadline = std::chrono::system_clock::now() + m_patience + std::chrono::seconds(1);
    const auto done = [this] { return !m_failure.empty() || (m_steps.empty() && !m_busy); };
    return m_changed.wait_until(lock, deadline, done) && m_failure.empty();
}

void ScriptedPeer::finish() {
    if (m_finished) {
        return;
    }
    m_finished = true;
    settle();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        m_changed.notify_all();
    }
    m_thread.join();
    if (m_failure.empty()) {
        checkNothingUnread();
    }
    closeConnection();
    platform::closeSocket(m_listener);
    if (!m_failure.empty()) {
        ADD_FAILURE() << "scripted peer: " << m_failure;
    }
    for (const Step& step : m_steps) {
        ADD_FAILURE() << "scripted peer: step not reached: " << step.description;
    }
}

std::vector<PeerPacket> ScriptedPeer::received() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
}

void ScriptedPeer::setPatience(std::chrono::milliseconds patience) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_patience = patience;
}

/// What the library has sent by now, behind the last step.
void ScriptedPeer::checkNothingUnread() {
    Bytes unread;
    while (m_connection != platform::NO_SOCKET && platform::waitReadable(m_connection, 0) == 1) {
        unsigned char chunk[4096];
        const int count = platform::receive(m_connection, chunk, sizeof chunk);
        if (count <= 0) {
            break;
        }
        unread.insert(unread.end(), chunk, chunk + count);
    }
    std::size_t done = 0;
    while (unread.size() - done >= gprotocol::PACKET_HEADER_SIZE &&
           isAllowed(static_cast<std::uint16_t>(readBig(unread, done + 8, 2)))) {
        done +=
            std::min<std::size_t>(std::max(readBig(unread, done, 4), gprotocol::PACKET_HEADER_SIZE),
                                  unread.size() - done);
    }
    if (done < unread.size()) {
        unread.erase(unread.begin(), unread.begin() + static_cast<std::ptrdiff_t>(done));
        m_failure = "bytes left unread: [" + toHex(unread) + "]";
    }
}

// ---- On the peer's thread -----------------------------------------------------------------------

void ScriptedPeer::loop() {
    Step step;
    while (takeStep(step)) {
        runStep(step);
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_busy = false;
        m_changed.notify_all();
        if (!m_failure.empty()) {
            break;
        }
    }
}

bool ScriptedPeer::takeStep(Step& step) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_stop || !m_steps.empty(); });
    if (m_stop) {
        return false;
    }
    step = std::move(m_steps.front());
    m_steps.pop_front();
    m_busy = true;
    return true;
}

void ScriptedPeer::runStep(const Step& step) {
    std::string failure;
    try {
        step.action();
        return;
    } catch (const Failure& e) {
        failure = e.text;
    } catch (const std::exception& e) {
        failure = e.what();
    }
    closeConnection();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_failure = "in step \"" + step.description + "\": " + failure;
}

/// Polls, which must itself wait for a slice of time, until it is true.
void ScriptedPeer::waitUntil(const std::function<bool()>& poll, const std::string& what) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto deadline = std::chrono::steady_clock::now() + m_patience;
    while (!m_stop) {
        lock.unlock();
        if (poll()) {
            return;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure{"waited in vain for " + what};
        }
        lock.lock();
    }
    throw Failure{"the test ended while waiting for " + what};
}

void ScriptedPeer::needConnection() {
    if (m_connection != platform::NO_SOCKET) {
        return;
    }
    waitUntil([this] { return platform::waitReadable(m_listener, SLICE) == 1; }, "a connection");
    std::uint32_t address = 0;
    std::uint16_t port = 0;
    m_connection = platform::acceptSocket(m_listener, address, port);
    if (m_connection == platform::NO_SOCKET) {
        throw Failure{"the connection could not be accepted"};
    }
    const int on = 1;
    platform::setSocketOption(m_connection, platform::LEVEL_TCP, platform::OPTION_NO_DELAY, &on,
                              sizeof on);
    platform::setBlocking(m_connection, false);
}

void ScriptedPeer::closeConnection() {
    if (m_connection != platform::NO_SOCKET) {
        platform::closeSocket(m_connection);
        m_connection = platform::NO_SOCKET;
    }
}

/// Fills the bytes; false when the stream ended first, and then they hold what came.
bool ScriptedPeer::receiveAll(Bytes& bytes) {
    needConnection();
    std::size_t done = 0;
    while (done < bytes.size()) {
        waitUntil([this] { return platform::waitReadable(m_connection, SLICE) != 0; },
                  std::to_string(bytes.size() - done) + " more bytes");
        const int count = platform::receive(m_connection, bytes.data() + done, bytes.size() - done);
        if (count < 0 && platform::isWouldBlock(platform::lastSocketError())) {
            continue;
        }
        if (count <= 0) {
            bytes.resize(done);
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

Bytes ScriptedPeer::mustReceive(std::size_t size) {
    Bytes bytes(size);
    if (!receiveAll(bytes)) {
        throw Failure{"the connection ended after [" + toHex(bytes) + "], " +
                      std::to_string(size - bytes.size()) + " bytes too early"};
    }
    return bytes;
}

PeerPacket ScriptedPeer::receivePacket() {
    const Bytes head = mustReceive(gprotocol::PACKET_HEADER_SIZE);
    const std::uint32_t size = readBig(head, 0, 4);
    if (size < gprotocol::PACKET_HEADER_SIZE) {
        throw Failure{"a packet header declares an impossible size: [" + toHex(head) + "]"};
    }
    return {static_cast<std::uint16_t>(readBig(head, 8, 2)), readBig(head, 4, 4),
            mustReceive(size - gprotocol::PACKET_HEADER_SIZE)};
}

/// The next packet that has this type, or isn't one that may come at any time.
PeerPacket ScriptedPeer::receiveExpected(std::uint16_t type) {
    PeerPacket packet = receivePacket();
    while (packet.type != type && isAllowed(packet.type)) {
        packet = receivePacket();
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_received.push_back(packet);
    return packet;
}

bool ScriptedPeer::isAllowed(std::uint16_t type) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_allowed.count(type) != 0;
}

/// Sends all of it; a peer that has gone ends the script.
void ScriptedPeer::transmit(const Bytes& bytes) {
    needConnection();
    std::size_t done = 0;
    while (done < bytes.size()) {
        waitUntil(
            [this] {
                return platform::waitSocket(m_connection, platform::WAIT_WRITE, SLICE).result != 0;
            },
            "the library to read");
        const int count = platform::send(m_connection, bytes.data() + done, bytes.size() - done);
        if (count < 0 && platform::isWouldBlock(platform::lastSocketError())) {
            continue;
        }
        if (count <= 0) {
            throw Failure{"the connection was gone after " + std::to_string(done) + " of " +
                          std::to_string(bytes.size()) + " bytes"};
        }
        done += static_cast<std::size_t>(count);
    }
}

void ScriptedPeer::readToEnd() {
    for (;;) {
        Bytes head(gprotocol::PACKET_HEADER_SIZE);
        if (!receiveAll(head)) {
            if (!head.empty()) {
                throw Failure{"bytes before the end: [" + toHex(head) + "]"};
            }
            return;
        }
        const auto type = static_cast<std::uint16_t>(readBig(head, 8, 2));
        if (!isAllowed(type)) {
            throw Failure{"a packet before the end: " + typeText(type) + " [" + toHex(head) + "]"};
        }
        mustReceive(std::max(readBig(head, 0, 4), gprotocol::PACKET_HEADER_SIZE) -
                    gprotocol::PACKET_HEADER_SIZE);
    }
}

} // namespace fus::test
