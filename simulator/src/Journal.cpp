#include "Journal.h"

#include <algorithm>

namespace fus {
namespace simulator {

namespace {

constexpr std::size_t KEPT_COMMANDS = 4096;
constexpr std::size_t KEPT_EXECUTIONS = 1024;
constexpr std::size_t KEPT_PAYLOAD = 1 << 20;   // of one command
constexpr std::size_t KEPT_PAYLOADS = 64 << 20; // of all

} // namespace

void Journal::addCommand(std::uint32_t id, unsigned type,
                         const std::vector<std::uint8_t>& payload) {
    ReceivedCommand command;
    command.id = id;
    command.type = type;
    command.payloadSize = static_cast<std::uint32_t>(payload.size());
    const auto kept = static_cast<std::ptrdiff_t>(std::min(payload.size(), KEPT_PAYLOAD));
    command.payload.assign(payload.begin(), payload.begin() + kept);

    std::lock_guard<std::mutex> lock(m_mutex);
    m_payloads += command.payload.size();
    m_commands.push_back(std::move(command));
    while (m_commands.size() > KEPT_COMMANDS || m_payloads > KEPT_PAYLOADS) {
        m_payloads -= m_commands.front().payload.size();
        m_commands.pop_front();
    }
    ++m_counts[type];
    m_changed.notify_all();
}

std::vector<ReceivedCommand> Journal::commands() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return {m_commands.begin(), m_commands.end()};
}

std::size_t Journal::countOf(unsigned type) const {
    const auto found = m_counts.find(type);
    return found == m_counts.end() ? 0 : found->second;
}

std::size_t Journal::commandCount(unsigned type) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return countOf(type);
}

void Journal::startExecution(const ExecutionRecord& record) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_executions.push_back(record);
    if (m_executions.size() > KEPT_EXECUTIONS) {
        m_executions.pop_front();
    }
    m_running = true;
    m_changed.notify_all();
}

void Journal::updateExecution(std::uint32_t executionsDone, std::uint64_t shotsDone) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_executions.back().executionsDone = executionsDone;
    m_executions.back().shotsDone = shotsDone;
}

void Journal::endExecution(const Alarm& stop) {
    std::lock_guard<std::mutex> lock(m_mutex);
    ExecutionRecord& record = m_executions.back();
    record.finished = true;
    record.stopReason = stop.reason ? stop.reason->name : "";
    record.stopCode = stop.v3Code;
    record.stopHwid = stop.hwid;
    record.stopAddress = stop.address;
    m_running = false;
    m_changed.notify_all();
}

void Journal::setTriggerWait(bool waiting) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_triggerWait = waiting;
    m_changed.notify_all();
}

std::vector<ExecutionRecord> Journal::executions() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return {m_executions.begin(), m_executions.end()};
}

void Journal::rebooted() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_reboots;
    m_changed.notify_all();
}

void Journal::clientCame() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_clients;
    ++m_connected;
    m_changed.notify_all();
}

void Journal::clientGone() {
    std::lock_guard<std::mutex> lock(m_mutex);
    --m_connected;
    m_changed.notify_all();
}

void Journal::clientRefused() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_refused;
    m_changed.notify_all();
}

unsigned Journal::clients() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_clients;
}

unsigned Journal::refused() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_refused;
}

bool Journal::waitForCommand(unsigned type, std::size_t count, unsigned timeoutMs) const {
    return wait(timeoutMs, [&] { return countOf(type) >= count; });
}

bool Journal::waitUntilIdle(unsigned timeoutMs) const {
    return wait(timeoutMs, [&] { return !m_running; });
}

bool Journal::waitForTriggerWait(unsigned timeoutMs) const {
    return wait(timeoutMs, [&] { return m_triggerWait; });
}

bool Journal::waitForReboots(unsigned count, unsigned timeoutMs) const {
    return wait(timeoutMs, [&] { return m_reboots >= count; });
}

bool Journal::waitForClients(unsigned connected, unsigned timeoutMs) const {
    return wait(timeoutMs, [&] { return m_connected == connected; });
}

} // namespace simulator
} // namespace fus
