// Serves one client after the other. What a client asked of the generator for its next start is
// done between two of them.
#pragma once

#include "Machine.h"
#include "Session.h"

#include "platform/platform.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace fus {
namespace simulator {

class Server {
public:
    Server(const Description& description, const Options& options);
    // Stops.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // As those of Simulator.
    void start();
    void stop();
    std::uint16_t port() const { return m_port; }
    void dropClient();

    bool isStarted() const { return m_thread.joinable(); }
    Surroundings& surroundings() { return m_surroundings; }
    // The present one. Another one may take its place when its client has gone.
    std::shared_ptr<Machine> machine() const;

private:
    void listen();
    bool bind(std::uint16_t port);
    void run();
    void acceptClient();
    void endSession();
    std::unique_ptr<Session> takeSession();
    bool makeRoom();
    void rewire();
    bool isRebootDue() const;
    std::chrono::duration<double> rebootTime() const;
    void reboot();
    void stayDown();
    std::shared_ptr<Machine> newMachine();
    void note(const std::string& line) const;

    // constant after construction
    const Description& m_description;
    const Options& m_options;

    Surroundings m_surroundings;

    // of start and stop
    std::thread m_thread;
    platform::Socket m_listener = platform::NO_SOCKET;
    std::uint32_t m_address = 0;

    std::atomic<bool> m_quit{false};
    std::atomic<std::uint16_t> m_port{0};

    mutable std::mutex m_mutex;
    // guarded by m_mutex; only the thread of the server replaces them
    std::shared_ptr<Machine> m_machine;
    std::unique_ptr<Session> m_session;
};

} // namespace simulator
} // namespace fus
