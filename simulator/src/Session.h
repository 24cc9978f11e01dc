// One client, from its welcome to its end.
#pragma once

#include "Commands.h"
#include "Machine.h"
#include "Outlet.h"
#include "Refusal.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fus {
namespace simulator {

class Session {
public:
    Session(std::shared_ptr<Machine> machine, Surroundings& surroundings, platform::Socket socket);
    // Cuts the client off and joins the thread.
    ~Session();

    void cut() { m_outlet->cut(); }
    bool isOver() const { return m_over; }
    // The client has said good-bye, or has gone, or is to go.
    bool isEnding() const { return m_ending || m_isLeaving; }

private:
    using Clock = std::chrono::steady_clock;
    struct Outgoing {
        Bytes data;
        bool startsJob = false;
        bool isLast = false; // the link is cut behind it
    };
    // An answer that a fault holds back.
    struct LateAnswer {
        Clock::time_point due;
        Outgoing answer;
    };

    void note(const char* format, ...) const FUS_PRINTF_FORMAT(2, 3);
    void run();
    void serve();
    bool sendWelcome();
    unsigned sliceMs() const;
    bool sendLateAnswers();
    bool isStuck() const;
    void leave();
    void receive(const std::uint8_t* data, std::size_t size);
    bool handleInput();
    bool handlePacket(const Request& request);
    bool carryOut(const Request& request);
    Packet refusalPacket(const Request& request, const Fault& fault) const;
    Packet refusalPacket(const Request& request, const Refusal& refusal) const;
    bool deliver(const Request& request, Packet packet, bool startsJob);
    bool sendAnswer(const Outgoing& answer);
    void waitSimulated(std::uint32_t microseconds);

    // constant after construction
    const std::shared_ptr<Machine> m_machine;
    Surroundings& m_surroundings;
    const std::shared_ptr<Outlet> m_outlet;
    Commands m_commands;

    // of the session's thread
    Bytes m_input;
    std::size_t m_inputStart = 0;
    Clock::time_point m_lastInput;
    std::vector<LateAnswer> m_lateAnswers;
    Clock::time_point m_leaveAt = Clock::time_point::max(); // the generator ends the link then

    std::atomic<bool> m_over{false};
    std::atomic<bool> m_ending{false};
    std::atomic<bool> m_isLeaving{false};
    std::thread m_thread;
};

} // namespace simulator
} // namespace fus
