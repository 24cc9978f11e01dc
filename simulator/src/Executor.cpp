#include "Executor.h"

#include "Noise.h"

#include "fus/GProtocol.h"

namespace fus {
namespace simulator {

Executor::Executor(const RunEnvironment& environment, std::uint64_t seed)
    : m_env(environment), m_seed(seed), m_thread([this] { run(); }) {}

Executor::~Executor() {
    stopAndWait(STOP_ABANDONED);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

bool Executor::isBusy() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_state != State::IDLE;
}

bool Executor::isBusyWith(unsigned buffer) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_state != State::IDLE && m_job.record.buffer == buffer;
}

bool Executor::canSwitchTo(unsigned buffer) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_job.record.buffer != buffer &&
           (m_job.record.flags & gprotocol::EXEC_FLAG_SWITCHABLE) != 0;
}

void Executor::stopAndWait(const StopReason& reason) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_state == State::ACCEPTED) { // nobody will release it any more
        m_state = State::RELEASED;
        m_changed.notify_all();
    }
    m_env.control.stop(reason);
    m_changed.wait(lock, [this] { return m_state == State::IDLE; });
}

void Executor::settle() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_state == State::IDLE || m_env.control.isRunning(); });
}

void Executor::accept(Job job) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_env.journal.startExecution(job.record);
    m_env.control.begin(job.record.trigMode, job.record.flags);
    m_job = std::move(job);
    m_state = State::ACCEPTED;
}

void Executor::release(Bytes before, Bytes afterFirst) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state != State::ACCEPTED) {
        return;
    }
    m_job.before = std::move(before);
    m_job.afterFirst = std::move(afterFirst);
    m_state = State::RELEASED;
    m_changed.notify_all();
}

void Executor::run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] { return m_quit || m_state == State::RELEASED; });
        if (m_state != State::RELEASED) {
            return;
        }
        const std::uint64_t seed = mixedSeed(m_seed, ++m_jobs, 0);
        lock.unlock();
        Run(m_env, m_job, seed).go();
        lock.lock();
        m_job = Job();
        m_state = State::IDLE;
        m_changed.notify_all();
    }
}

} // namespace simulator
} // namespace fus
