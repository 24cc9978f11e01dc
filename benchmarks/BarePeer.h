#pragma once

#include "platform/platform.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace fus::bench {

using Bytes = std::vector<unsigned char>;

/// The barest generator that the library talks to: it greets, acknowledges, answers every board
/// command with the same 8 bytes, and floods with shot results on demand. The references use it
/// too, through a bare socket, so that both sides of a comparison face the same peer.
class BarePeer {
public:
    static constexpr unsigned CHANNELS = 256;
    static constexpr unsigned MEASURES = 4;

    /// `greets` is false for references that don't want the INI text.
    explicit BarePeer(bool greets);
    ~BarePeer();
    BarePeer(const BarePeer&) = delete;
    BarePeer& operator=(const BarePeer&) = delete;

    std::uint16_t port() const { return m_port; }
    /// Sends so many shot results of this execution, as fast as the socket takes them.
    void sendShots(unsigned executionId, unsigned count);
    /// Sends shot results until told to end.
    void startFlood(unsigned executionId);
    void endFlood();

    /// A board command that reads a parameter, as the library sends it, and the size of its answer.
    static Bytes parameterRequest(std::uint32_t id);
    static std::size_t parameterAnswerSize();
    /// One shot result, header included.
    static Bytes shotPacket(unsigned executionId);

private:
    void serve();
    bool serveOne();
    bool readAll(unsigned char* target, std::size_t size);
    bool sendAll(const unsigned char* bytes, std::size_t size);
    void answer(std::uint16_t type, std::uint32_t id, const Bytes& payload);
    void flood();

    const bool m_greets;
    platform::Socket m_listener;
    std::atomic<platform::Socket> m_connection;
    std::uint16_t m_port = 0;
    Bytes m_payload;

    std::mutex m_sendMutex; // a whole packet, or a batch of them

    std::mutex m_mutex;
    std::condition_variable m_wanted;
    // guarded by m_mutex
    unsigned m_executionId = 0;
    unsigned m_shots = 0;
    bool m_stop = false;
    std::atomic<bool> m_flooding{false};

    std::thread m_server;
    std::thread m_flooder;
};

/// A blocking socket to a peer of this machine.
class BareClient {
public:
    explicit BareClient(std::uint16_t port);
    ~BareClient();
    BareClient(const BareClient&) = delete;
    BareClient& operator=(const BareClient&) = delete;

    void send(const Bytes& bytes);
    void receive(unsigned char* target, std::size_t size);
    /// Whatever has come, at most `size`.
    std::size_t receiveSome(unsigned char* target, std::size_t size);

private:
    platform::Socket m_socket;
};

/// The text of a 256-channel generator of protocol 2 (which costs no commands at connect) with
/// large limits.
std::string generatorText();

} // namespace fus::bench
