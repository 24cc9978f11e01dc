// What happened, for tests to look at and to wait for. Any thread.
#pragma once

#include "StopReasons.h"

#include "fussim/Records.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

namespace fus {
namespace simulator {

class Journal {
public:
    void addCommand(std::uint32_t id, unsigned type, const std::vector<std::uint8_t>& payload);
    std::vector<ReceivedCommand> commands() const;
    std::size_t commandCount(unsigned type) const;

    void startExecution(const ExecutionRecord& record);
    // Of the execution started last.
    void updateExecution(std::uint32_t executionsDone, std::uint64_t shotsDone);
    void endExecution(const Alarm& stop);
    void setTriggerWait(bool waiting);
    std::vector<ExecutionRecord> executions() const;

    void rebooted();
    void clientCame();
    void clientGone();
    void clientRefused();
    unsigned clients() const;
    unsigned refused() const;

    bool waitForCommand(unsigned type, std::size_t count, unsigned timeoutMs) const;
    bool waitUntilIdle(unsigned timeoutMs) const;
    bool waitForTriggerWait(unsigned timeoutMs) const;
    bool waitForReboots(unsigned count, unsigned timeoutMs) const;
    bool waitForClients(unsigned connected, unsigned timeoutMs) const;

private:
    template <class Predicate>
    bool wait(unsigned timeoutMs, Predicate predicate) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), predicate);
    }
    std::size_t countOf(unsigned type) const;

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    mutable std::condition_variable m_changed;
    std::deque<ReceivedCommand> m_commands;
    std::size_t m_payloads = 0; // bytes in m_commands
    std::map<unsigned, std::size_t> m_counts;
    std::deque<ExecutionRecord> m_executions;
    bool m_running = false;
    bool m_triggerWait = false;
    unsigned m_reboots = 0;
    unsigned m_clients = 0;
    unsigned m_connected = 0;
    unsigned m_refused = 0;
};

} // namespace simulator
} // namespace fus
