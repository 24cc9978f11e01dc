#include "fussim/Simulator.h"

#include "Executor.h"
#include "FaultBook.h"
#include "Hardware.h"
#include "Journal.h"
#include "MotBoard.h"
#include "Physics.h"
#include "Refusal.h"
#include "RunControl.h"
#include "Session.h"
#include "V2Parameters.h"

#include "fus/P_GProtocol.h"

#include "platform/platform.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace fus {
namespace simulator {

namespace {

constexpr unsigned SLICE_MS = 20;
// So long a second client may wait for the first to be gone.
constexpr unsigned GRACE_MS = 300;

// Puts pulses on the trigger input.
class Pulser {
public:
    Pulser(RunControl& control, unsigned periodMs)
        : m_control(control), m_period(periodMs), m_thread([this] { run(); }) {}
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
            m_control.pulse();
        }
    }

    RunControl& m_control;
    const std::chrono::milliseconds m_period;
    std::mutex m_mutex;
    // guarded by m_mutex
    std::condition_variable m_changed;
    bool m_quit = false;

    std::thread m_thread;
};

void closeListener(platform::Socket& listener) {
    if (listener != platform::NO_SOCKET) {
        platform::closeSocket(listener);
        listener = platform::NO_SOCKET;
    }
}

} // namespace

struct Simulator::Private {
    Private(Description theDescription, Options theOptions)
        : description(std::move(theDescription)), options(std::move(theOptions)),
          physics(description, options.seed),
          hardware(description, physics, faults, options.timeScale),
          control(hardware, options.timeScale), mot(description, faults, options.timeScale) {
        for (const Fault& fault : options.faults) {
            faults.add(fault);
        }
    }

    void listen();
    void acceptClients();
    void acceptClient();
    bool makeRoom();
    void dropClient();

    // constant after construction
    const Description description;
    const Options options;

    // with locks of their own
    FaultBook faults;
    Journal journal;
    const Physics physics;
    Hardware hardware;
    RunControl control;
    MotBoard mot;

    // of start and stop
    std::unique_ptr<Executor> executor;
    std::unique_ptr<Pulser> pulser;
    std::thread acceptThread;
    platform::Socket listener = platform::NO_SOCKET;

    std::atomic<bool> quit{false};
    std::atomic<std::uint16_t> port{0};

    std::mutex mutex;
    // guarded by mutex; only the accepting thread replaces it
    std::unique_ptr<Session> session;
};

void Simulator::Private::listen() {
    platform::startNetwork();
    const std::uint32_t address = platform::resolveIPv4(options.host.c_str());
    if (address == platform::ANY_ADDRESS && options.host != "0.0.0.0") {
        throw SimulatorError("unknown host '" + options.host + "'");
    }
    listener = platform::openTcpSocket();
    const int on = 1;
    platform::setSocketOption(listener, platform::SOCKET_LEVEL_SOCKET,
                              platform::OPTION_REUSE_ADDRESS, &on, sizeof on);
    std::uint32_t boundAddress = 0;
    std::uint16_t boundPort = 0;
    if (platform::bindSocket(listener, address, options.port) != 0 ||
        platform::listenSocket(listener, 8) != 0 ||
        platform::socketName(listener, boundAddress, boundPort) != 0) {
        const std::string reason = platform::socketErrorText(platform::lastSocketError());
        closeListener(listener);
        throw SimulatorError(
            formatted("can't listen on %s:%u: ", options.host.c_str(), unsigned{options.port}) +
            reason);
    }
    platform::setBlocking(listener, false);
    port = boundPort;
}

void Simulator::Private::acceptClients() {
    while (!quit) {
        if (platform::waitReadable(listener, SLICE_MS) == 1) {
            acceptClient();
        }
        std::unique_ptr<Session> over;
        std::lock_guard<std::mutex> lock(mutex);
        if (session && session->isOver()) {
            over = std::move(session);
        }
    }
}

void Simulator::Private::acceptClient() {
    std::uint32_t address = 0;
    std::uint16_t clientPort = 0;
    const platform::Socket socket = platform::acceptSocket(listener, address, clientPort);
    if (socket == platform::NO_SOCKET) {
        return;
    }
    if (!makeRoom()) {
        if (options.log) {
            options.log("a second client: closed");
        }
        journal.clientRefused();
        platform::closeSocket(socket);
        return;
    }
    const SessionEnvironment environment{hardware, control,           mot,        *executor, faults,
                                         journal,  options.timeScale, options.log};
    auto next = std::make_unique<Session>(environment, socket);
    std::lock_guard<std::mutex> lock(mutex);
    session = std::move(next);
}

// False if a client is connected and means to stay.
bool Simulator::Private::makeRoom() {
    std::unique_ptr<Session> previous;
    {
        std::lock_guard<std::mutex> lock(mutex);
        previous = std::move(session);
    }
    if (!previous) {
        return true;
    }
    if (previous->isEnding() || journal.waitForClients(0, GRACE_MS) || previous->isEnding()) {
        return true; // which ends it
    }
    std::lock_guard<std::mutex> lock(mutex);
    session = std::move(previous);
    return false;
}

void Simulator::Private::dropClient() {
    std::lock_guard<std::mutex> lock(mutex);
    if (session) {
        session->cut();
    }
}

Simulator::Simulator(Description description, Options options)
    : m_private(std::make_unique<Private>(std::move(description), std::move(options))) {}

Simulator::~Simulator() {
    stop();
}

void Simulator::start() {
    Private& p = *m_private;
    if (p.acceptThread.joinable()) {
        return;
    }
    p.listen();
    p.quit = false;
    p.executor = std::make_unique<Executor>(
        RunEnvironment{p.hardware, p.physics, p.faults, p.journal, p.control, p.mot},
        p.options.seed);
    if (p.options.triggerEveryMs > 0) {
        p.pulser = std::make_unique<Pulser>(p.control, p.options.triggerEveryMs);
    }
    p.acceptThread = std::thread([&p] { p.acceptClients(); });
}

void Simulator::stop() {
    Private& p = *m_private;
    if (!p.acceptThread.joinable()) {
        return;
    }
    p.quit = true;
    p.dropClient();
    p.acceptThread.join();
    p.session.reset();
    p.pulser.reset();
    p.executor.reset();
    closeListener(p.listener);
    p.port = 0;
}

std::uint16_t Simulator::port() const {
    return m_private->port;
}

const Description& Simulator::description() const {
    return m_private->description;
}

void Simulator::addFault(const Fault& fault) {
    m_private->faults.add(fault);
    m_private->mot.suffer();
}

void Simulator::addFault(const std::string& text) {
    addFault(Fault::parse(text));
}

void Simulator::clearFaults() {
    m_private->faults.clear();
}

void Simulator::pulse() {
    m_private->control.pulse();
}

bool Simulator::stopExecution(const std::string& name) {
    const StopReason* reason = findStopReason(name);
    return reason && m_private->control.stop(*reason);
}

void Simulator::shutOffChannel(unsigned channel) {
    m_private->hardware.shutOffChannel(channel);
}

void Simulator::disableAmplifier(unsigned address) {
    m_private->hardware.disableAmplifier(address);
}

void Simulator::restore() {
    m_private->hardware.restore();
}

void Simulator::dropClient() {
    m_private->dropClient();
}

Trajectory Simulator::buffer(unsigned index) const {
    const auto trajectory = m_private->hardware.trajectory(index);
    return trajectory ? *trajectory : Trajectory();
}

std::uint64_t Simulator::boardParameter(unsigned hwid, unsigned address, unsigned id) const {
    return m_private->hardware.value(hwid, address, id);
}

void Simulator::setBoardParameter(unsigned hwid, unsigned address, unsigned id,
                                  std::uint64_t value) {
    m_private->hardware.setValue(hwid, address, id, value);
}

std::uint32_t Simulator::threshold(unsigned hwid, unsigned address, unsigned measure,
                                   bool upper) const {
    const unsigned first = upper ? gprotocol::BPARAM_ALL_BO_MAX : gprotocol::BPARAM_ALL_BO_MIN;
    return static_cast<std::uint32_t>(m_private->hardware.value(hwid, address, first + measure));
}

std::uint8_t Simulator::generatorParameter(unsigned id) const {
    try {
        return generatorByte(m_private->hardware, id);
    } catch (const Refusal& refusal) {
        throw std::out_of_range(refusal.text);
    }
}

std::vector<std::uint32_t> Simulator::generatorParameters(unsigned id) const {
    try {
        return generatorList(m_private->hardware, id);
    } catch (const Refusal& refusal) {
        throw std::out_of_range(refusal.text);
    }
}

std::vector<bool> Simulator::channelStates() const {
    return m_private->hardware.channelStates();
}

std::vector<bool> Simulator::manualChannelStates() const {
    return m_private->hardware.manualChannelStates();
}

BoardRecord Simulator::board(unsigned hwid, unsigned address) const {
    return m_private->hardware.record(hwid, address);
}

bool Simulator::peripheralState(unsigned peripheral) const {
    const unsigned first = gprotocol::BPARAM_UPB_PERIPH_POWER_SUPPLY;
    return m_private->hardware.upb(first + std::min(peripheral, PERIPHERAL_COUNT)) != 0;
}

void Simulator::setBoardStatus(unsigned hwid, unsigned address, std::uint32_t status) {
    m_private->hardware.setStatus(hwid, address, status);
}

MechanicsState Simulator::mechanics() const {
    return m_private->mot.state();
}

std::uint32_t Simulator::mechParameter(unsigned axis, unsigned id) const {
    return m_private->mot.parameter(axis, id);
}

void Simulator::setMechParameter(unsigned axis, unsigned id, std::uint32_t raw) {
    m_private->mot.setParameter(axis, id, raw);
}

bool Simulator::waitForMotion(unsigned timeoutMs) const {
    return m_private->mot.waitForMotion(true, timeoutMs);
}

bool Simulator::waitForRest(unsigned timeoutMs) const {
    return m_private->mot.waitForMotion(false, timeoutMs);
}

std::vector<ReceivedCommand> Simulator::commands() const {
    return m_private->journal.commands();
}

std::size_t Simulator::commandCount(unsigned type) const {
    return m_private->journal.commandCount(type);
}

bool Simulator::waitForCommand(unsigned type, std::size_t count, unsigned timeoutMs) const {
    return m_private->journal.waitForCommand(type, count, timeoutMs);
}

std::vector<ExecutionRecord> Simulator::executions() const {
    return m_private->journal.executions();
}

bool Simulator::waitUntilIdle(unsigned timeoutMs) const {
    return m_private->journal.waitUntilIdle(timeoutMs);
}

bool Simulator::waitForTriggerWait(unsigned timeoutMs) const {
    return m_private->journal.waitForTriggerWait(timeoutMs);
}

bool Simulator::waitForClients(unsigned connected, unsigned timeoutMs) const {
    return m_private->journal.waitForClients(connected, timeoutMs);
}

unsigned Simulator::clientCount() const {
    return m_private->journal.clients();
}

unsigned Simulator::refusedClients() const {
    return m_private->journal.refused();
}

} // namespace simulator
} // namespace fus
