#pragma once

#include "fussim/Simulator.h"
#include "support/Bytes.h"

#include "platform/platform.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace fus::simulator::test {

using namespace fus::test;

constexpr unsigned PATIENCE_MS = 10000;

struct Answer {
    std::uint32_t id = 0;
    unsigned type = 0;
    Bytes payload;

    std::uint32_t be32At(std::size_t offset) const {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            value = value << 8U | payload.at(offset + i);
        }
        return value;
    }
};

// "1301 #7" or "1301 #7: 00 01".
inline std::string described(const Answer& answer) {
    return std::to_string(answer.type) + " #" + std::to_string(answer.id) +
           (answer.payload.empty() ? "" : ": " + toHex(answer.payload));
}

// A client that knows nothing but bytes.
class Client {
public:
    explicit Client(const Simulator& simulator) {
        platform::startNetwork();
        m_socket = platform::openTcpSocket();
        EXPECT_EQ(0,
                  platform::connectSocket(m_socket, platform::LOOPBACK_ADDRESS, simulator.port()));
    }
    ~Client() { close(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void close() {
        if (m_socket != platform::NO_SOCKET) {
            platform::closeSocket(m_socket);
            m_socket = platform::NO_SOCKET;
        }
    }

    void send(const Bytes& bytes) {
        for (std::size_t done = 0; done < bytes.size();) {
            const int count = platform::send(m_socket, bytes.data() + done, bytes.size() - done);
            if (count <= 0) {
                return; // cut off
            }
            done += static_cast<std::size_t>(count);
        }
    }
    void send(unsigned type, std::uint32_t id, const Bytes& payload = {}) {
        send(packet(type, id, payload));
    }

    // Up to so many bytes; fewer at the end of the stream or when patience ends.
    Bytes read(std::size_t size) {
        Bytes bytes(size);
        std::size_t done = 0;
        while (done < size && platform::waitReadable(m_socket, PATIENCE_MS) == 1) {
            const int count = platform::receive(m_socket, bytes.data() + done, size - done);
            if (count <= 0) {
                break;
            }
            done += static_cast<std::size_t>(count);
        }
        bytes.resize(done);
        return bytes;
    }
    // What one receive gives.
    Bytes readSome() {
        Bytes bytes(65536);
        platform::waitReadable(m_socket, PATIENCE_MS);
        const int count = platform::receive(m_socket, bytes.data(), bytes.size());
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }
    bool isAtEnd() { return read(1).empty(); }
    bool isQuiet(unsigned ms) { return platform::waitReadable(m_socket, ms) == 0; }

    std::string welcome() {
        const Bytes length = read(4);
        const std::size_t size = length.size() == 4 ? number(length) : 0;
        const Bytes bytes = read(size);
        return {bytes.begin(), bytes.end()};
    }

    std::optional<Answer> readAnswer() {
        const Bytes head = read(10);
        if (head.size() < 10) {
            return std::nullopt;
        }
        Answer answer;
        answer.id = number({head.begin() + 4, head.begin() + 8});
        answer.type = number({head.begin() + 8, head.end()});
        answer.payload = read(number({head.begin(), head.begin() + 4}) - 10);
        return answer;
    }
    // "end" at the end of the stream.
    std::string nextAnswer() {
        const auto answer = readAnswer();
        return answer ? described(*answer) : "end";
    }
    std::string ask(unsigned type, std::uint32_t id, const Bytes& payload = {}) {
        send(type, id, payload);
        return nextAnswer();
    }

private:
    static std::uint32_t number(const Bytes& bytes) {
        std::uint32_t value = 0;
        for (unsigned char byte : bytes) {
            value = value << 8U | byte;
        }
        return value;
    }

    platform::Socket m_socket = platform::NO_SOCKET;
};

// A started simulator, and a client that has had its welcome.
struct Story {
    explicit Story(Options options = fast(), Description description = Description::builtIn())
        : simulator(std::move(description), std::move(options)) {
        simulator.start();
        client = std::make_unique<Client>(simulator);
        client->welcome();
    }
    static Options fast() {
        Options options;
        options.timeScale = 0;
        return options;
    }
    static Options realTime() { return Options(); }

    Simulator simulator;
    std::unique_ptr<Client> client;
};

struct TestShot {
    std::uint32_t duration = 10000;
    std::uint32_t delay = 0;
    Bytes amplitudes{200};
};

inline Bytes record(const TestShot& shot) {
    return be16(1) + be32(1000000) + be16(1) + u8(64) +
           be16(static_cast<std::uint32_t>(shot.amplitudes.size())) + shot.amplitudes +
           be32(shot.duration) + be32(shot.delay);
}

// A shot that goes on with everything from the previous one.
inline Bytes emptyRecord(const TestShot& shot) {
    return be16(0) + be16(0) + be16(0) + be32(shot.duration) + be32(shot.delay);
}

inline Bytes records(const std::vector<TestShot>& shots) {
    Bytes bytes;
    for (const TestShot& shot : shots) {
        bytes += record(shot);
    }
    return bytes;
}

struct Modes {
    unsigned elec = 0;
    unsigned trig = 0;
    unsigned flags = 0;
    unsigned mech = 0;
};

inline Bytes uploadV3(std::uint32_t buffer, const std::vector<TestShot>& shots,
                      const Modes& modes = {}) {
    return be32(buffer) + be32(modes.flags) + u8(modes.elec) + u8(modes.mech) + u8(modes.trig) +
           u8(0) + be32(static_cast<std::uint32_t>(shots.size())) + records(shots);
}

inline Bytes startV3(std::uint32_t buffer, std::uint32_t count, std::uint32_t delay,
                     std::uint32_t executionId) {
    return be32(buffer) + be32(count) + be32(delay) + be32(executionId);
}

// All channels on.
inline Bytes uploadV2(std::uint32_t buffer, std::uint32_t channels,
                      const std::vector<TestShot>& shots) {
    return be32(buffer) + be32(channels) + be32(channels) + Bytes(channels / 8, 0xFF) +
           be32(static_cast<std::uint32_t>(shots.size())) + records(shots);
}

inline Bytes startV2(std::uint32_t buffer, std::uint32_t count, std::uint32_t delay,
                     std::uint32_t executionId, const Modes& modes = {}) {
    return be32(buffer) + be32(count) + be32(delay) + be32(0) + be32(executionId) + be32(0) +
           u8(modes.elec) + u8(modes.mech) + u8(modes.trig) + u8(0) + zeroes(36);
}

inline Bytes boardCommand(unsigned hwid, unsigned address, unsigned command,
                          const Bytes& data = {}) {
    return zeroes(16) + u8(hwid) + u8(address) + be16(command) +
           be16(static_cast<std::uint32_t>(data.size())) + data;
}

// Head of a board's answer.
inline Bytes boardAnswer(unsigned hwid, unsigned address, unsigned command, unsigned result) {
    return zeroes(12) + u8(hwid) + u8(address) + be16(command) + be16(result);
}

} // namespace fus::simulator::test
