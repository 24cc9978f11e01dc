#include "fussim/Simulator.h"

#include "Refusal.h"
#include "Server.h"
#include "V2Parameters.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace fus {
namespace simulator {

namespace {

// Puts pulses on the trigger input.
class Pulser {
public:
    Pulser(const Server& server, unsigned periodMs)
        : m_server(server), m_period(periodMs), m_thread([this] { run(); }) {}
    ~Pulser() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_quit = true;
            m_changed.notify_all();
        }
        m_thread.join();
    }

private:
    void run() {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_changed.wait_for(lock, m_period, [this] { return m_quit; })) {
            m_server.machine()->control.pulse();
        }
    }

    const Server& m_server;
    const std::chrono::milliseconds m_period;
    std::mutex m_mutex;
    // guarded by m_mutex
    std::condition_variable m_changed;
    bool m_quit = false;

    std::thread m_thread;
};

} // namespace

struct Simulator::Private {
    Private(Description theDescription, Options theOptions)
        : description(std::move(theDescription)), options(std::move(theOptions)),
          server(description, options) {}

    std::shared_ptr<Machine> machine() const { return server.machine(); }
    Surroundings& surroundings() { return server.surroundings(); }

    // constant after construction
    const Description description;
    const Options options;

    Server server;
    std::unique_ptr<Pulser> pulser; // of start and stop
};

Simulator::Simulator(Description description, Options options)
    : m_private(std::make_unique<Private>(std::move(description), std::move(options))) {}

Simulator::~Simulator() {
    stop();
}

void Simulator::start() {
    Private& p = *m_private;
    if (p.server.isStarted()) {
        return;
    }
    p.server.start();
    if (p.options.triggerEveryMs > 0) {
        p.pulser = std::make_unique<Pulser>(p.server, p.options.triggerEveryMs);
    }
}

void Simulator::stop() {
    m_private->pulser.reset();
    m_private->server.stop();
}

std::uint16_t Simulator::port() const {
    return m_private->server.port();
}

const Description& Simulator::description() const {
    return m_private->description;
}

Wiring Simulator::backPanel() const {
    return m_private->surroundings().backPanel.ram();
}

std::optional<Wiring> Simulator::backPanelFlash() const {
    return m_private->surroundings().backPanel.flash();
}

void Simulator::addFault(const Fault& fault) {
    m_private->surroundings().faults.add(fault);
    m_private->surroundings().mot.suffer();
}

void Simulator::addFault(const std::string& text) {
    addFault(Fault::parse(text));
}

void Simulator::clearFaults() {
    m_private->surroundings().faults.clear();
}

void Simulator::pulse() {
    m_private->machine()->control.pulse();
}

bool Simulator::stopExecution(const std::string& name) {
    const StopReason* reason = findStopReason(name);
    return reason && m_private->machine()->control.stop(*reason);
}

void Simulator::shutOffChannel(unsigned channel) {
    m_private->machine()->hardware.shutOffChannel(channel);
}

void Simulator::disableAmplifier(unsigned address) {
    m_private->machine()->hardware.disableAmplifier(address);
}

void Simulator::restore() {
    m_private->machine()->hardware.restore();
}

void Simulator::dropClient() {
    m_private->server.dropClient();
}

Trajectory Simulator::buffer(unsigned index) const {
    const auto trajectory = m_private->machine()->hardware.trajectory(index);
    return trajectory ? *trajectory : Trajectory();
}

std::uint64_t Simulator::boardParameter(unsigned hwid, unsigned address, unsigned id) const {
    return m_private->machine()->hardware.value(hwid, address, id);
}

void Simulator::setBoardParameter(unsigned hwid, unsigned address, unsigned id,
                                  std::uint64_t value) {
    m_private->machine()->hardware.setValue(hwid, address, id, value);
}

std::uint32_t Simulator::threshold(unsigned hwid, unsigned address, unsigned measure,
                                   bool upper) const {
    const unsigned first = upper ? gprotocol::BPARAM_ALL_BO_MAX : gprotocol::BPARAM_ALL_BO_MIN;
    return static_cast<std::uint32_t>(
        m_private->machine()->hardware.value(hwid, address, first + measure));
}

std::uint8_t Simulator::generatorParameter(unsigned id) const {
    try {
        return generatorByte(m_private->machine()->hardware, id);
    } catch (const Refusal& refusal) {
        throw std::out_of_range(refusal.text);
    }
}

std::vector<std::uint32_t> Simulator::generatorParameters(unsigned id) const {
    try {
        return generatorList(m_private->machine()->hardware, id);
    } catch (const Refusal& refusal) {
        throw std::out_of_range(refusal.text);
    }
}

std::vector<bool> Simulator::channelStates() const {
    return m_private->machine()->hardware.channelStates();
}

std::vector<bool> Simulator::manualChannelStates() const {
    return m_private->machine()->hardware.manualChannelStates();
}

BoardRecord Simulator::board(unsigned hwid, unsigned address) const {
    return m_private->machine()->hardware.record(hwid, address);
}

bool Simulator::peripheralState(unsigned peripheral) const {
    const unsigned first = gprotocol::BPARAM_UPB_PERIPH_POWER_SUPPLY;
    return m_private->machine()->hardware.upb(first + std::min(peripheral, PERIPHERAL_COUNT)) != 0;
}

void Simulator::setBoardStatus(unsigned hwid, unsigned address, std::uint32_t status) {
    m_private->machine()->hardware.setStatus(hwid, address, status);
}

MechanicsState Simulator::mechanics() const {
    return m_private->surroundings().mot.state();
}

std::uint32_t Simulator::mechParameter(unsigned axis, unsigned id) const {
    return m_private->surroundings().mot.parameter(axis, id);
}

void Simulator::setMechParameter(unsigned axis, unsigned id, std::uint32_t raw) {
    m_private->surroundings().mot.setParameter(axis, id, raw);
}

bool Simulator::waitForMotion(unsigned timeoutMs) const {
    return m_private->surroundings().mot.waitForMotion(true, timeoutMs);
}

bool Simulator::waitForRest(unsigned timeoutMs) const {
    return m_private->surroundings().mot.waitForMotion(false, timeoutMs);
}

std::vector<ReceivedCommand> Simulator::commands() const {
    return m_private->surroundings().journal.commands();
}

std::size_t Simulator::commandCount(unsigned type) const {
    return m_private->surroundings().journal.commandCount(type);
}

bool Simulator::waitForCommand(unsigned type, std::size_t count, unsigned timeoutMs) const {
    return m_private->surroundings().journal.waitForCommand(type, count, timeoutMs);
}

std::vector<ExecutionRecord> Simulator::executions() const {
    return m_private->surroundings().journal.executions();
}

bool Simulator::waitUntilIdle(unsigned timeoutMs) const {
    return m_private->surroundings().journal.waitUntilIdle(timeoutMs);
}

bool Simulator::waitForTriggerWait(unsigned timeoutMs) const {
    return m_private->surroundings().journal.waitForTriggerWait(timeoutMs);
}

bool Simulator::waitForReboots(unsigned count, unsigned timeoutMs) const {
    return m_private->surroundings().journal.waitForReboots(count, timeoutMs);
}

bool Simulator::waitForClients(unsigned connected, unsigned timeoutMs) const {
    return m_private->surroundings().journal.waitForClients(connected, timeoutMs);
}

unsigned Simulator::clientCount() const {
    return m_private->surroundings().journal.clients();
}

unsigned Simulator::refusedClients() const {
    return m_private->surroundings().journal.refused();
}

} // namespace simulator
} // namespace fus
