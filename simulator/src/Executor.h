// The thread that executes trajectories, one at a time.
#pragma once

#include "Run.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace fus {
namespace simulator {

class Executor {
public:
    Executor(const RunEnvironment& environment, std::uint64_t seed);
    // Stops what runs and joins the thread.
    ~Executor();
    Executor(const Executor&) = delete;
    Executor& operator=(const Executor&) = delete;

    // Waits for what has sent its last result to be over altogether. To be called before isBusy.
    void settle();
    bool isBusy() const;
    bool isBusyWith(unsigned buffer) const;
    // True if what runs may be replaced by an execution from this buffer.
    bool canSwitchTo(unsigned buffer) const;
    // Ends what runs, and waits for that.
    void stopAndWait(const StopReason& reason);

    // Takes a job on; it waits until it is released, so that its start can be acknowledged before
    // its first result. Not while busy.
    void accept(Job job);
    void release(Bytes before = {}, Bytes afterFirst = {});

private:
    enum class State { IDLE, ACCEPTED, RELEASED };
    void run();

    // constant after construction
    const RunEnvironment m_env;
    const std::uint64_t m_seed;

    mutable std::mutex m_mutex;
    // guarded by m_mutex; the job belongs to the thread while it is released
    std::condition_variable m_changed;
    State m_state = State::IDLE;
    Job m_job;
    std::uint64_t m_jobs = 0;
    bool m_quit = false;

    std::thread m_thread;
};

} // namespace simulator
} // namespace fus
