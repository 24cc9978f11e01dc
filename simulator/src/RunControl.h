// Time, stops and pulses of the running execution. Any thread may stop or pulse; one thread runs.
#pragma once

#include "Hardware.h"
#include "StopReasons.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace fus {
namespace simulator {

enum class Pulse { TAKEN, NOT_RUNNING, NOT_EXPECTED, UNEXPECTED };

class RunControl {
public:
    RunControl(const Hardware& hardware, double timeScale);

    bool isRealTime() const { return m_timeScale > 0; }

    // --- for the thread that runs; begin() on any, before it ---
    void begin(unsigned trigMode, unsigned flags);
    // Before the last result is sent: a client that has it may start anew at once.
    void end();
    bool isRunning();
    void startClock();
    // Null: go on.
    const StopReason* stopped() const { return m_stop.load(std::memory_order_acquire); }
    // Lets simulated time pass. False when the execution is to stop.
    bool pass(std::uint32_t microseconds);
    // Lets real time pass.
    bool passReal(std::uint32_t milliseconds);
    // From here on a pulse is welcome, as it is from begin() on in a triggered execution. To be
    // called before a client can know that the previous shot is over.
    void expectPulse();
    // Waits for a while. True when the wait is over: a pulse came, or the execution is to stop.
    bool waitForPulse(unsigned milliseconds);

    // --- for all ---
    // The first reason counts. False if nothing runs.
    bool stop(const StopReason& reason);
    Pulse pulse();
    // What pulse() would give now.
    Pulse expectedPulse();
    void heartBeat();

private:
    using Clock = std::chrono::steady_clock;
    bool waitUntil(std::unique_lock<std::mutex>& lock, Clock::time_point deadline);
    bool checkHeartBeat();
    void loadHeartBeatTimeout();
    Pulse outcomeOfPulse() const;

    // constant after construction
    const Hardware& m_hardware;
    const double m_timeScale;

    std::atomic<const StopReason*> m_stop{nullptr};
    std::atomic<Clock::rep> m_lastBeat{0};

    // of the thread that runs
    Clock::time_point m_clockStart;
    double m_elapsed = 0; // simulated microseconds since then
    unsigned m_parameterVersion = 0;
    std::chrono::microseconds m_heartBeatTimeout{0};

    std::mutex m_mutex;
    // guarded by m_mutex
    std::condition_variable m_changed;
    bool m_running = false;
    bool m_waitsForPulse = false;
    bool m_pulsed = false;
    unsigned m_trigMode = 0;
    unsigned m_flags = 0;
};

} // namespace simulator
} // namespace fus
