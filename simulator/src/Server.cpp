#include "Server.h"

#include "Refusal.h"
#include "Wiring.h"

namespace fus {
namespace simulator {

namespace {

constexpr int BACKLOG = 8;
constexpr unsigned SLICE_MS = 20;
// So long a second client may wait for the first to be gone.
constexpr unsigned GRACE_MS = 300;

void closeListener(platform::Socket& listener) {
    if (listener != platform::NO_SOCKET) {
        platform::closeSocket(listener);
        listener = platform::NO_SOCKET;
    }
}

} // namespace

Server::Server(const Description& description, const Options& options)
    : m_description(description), m_options(options), m_surroundings(description, options),
      m_machine(newMachine()) {}

Server::~Server() {
    stop();
}

void Server::note(const std::string& line) const {
    if (m_options.log) {
        m_options.log(line);
    }
}

// On failure the system's last error is that of the call that failed.
bool Server::bind(std::uint16_t port) {
    m_listener = platform::openTcpSocket();
    const int on = 1;
    platform::setSocketOption(m_listener, platform::SOCKET_LEVEL_SOCKET,
                              platform::OPTION_REUSE_ADDRESS, &on, sizeof on);
    platform::setBlocking(m_listener, false);
    return platform::bindSocket(m_listener, m_address, port) == 0;
}

void Server::listen() {
    platform::startNetwork();
    m_address = platform::resolveIPv4(m_options.host.c_str());
    if (m_address == platform::ANY_ADDRESS && m_options.host != "0.0.0.0") {
        throw SimulatorError("unknown host '" + m_options.host + "'");
    }
    std::uint32_t boundAddress = 0;
    std::uint16_t boundPort = 0;
    if (!bind(m_options.port) || platform::listenSocket(m_listener, BACKLOG) != 0 ||
        platform::socketName(m_listener, boundAddress, boundPort) != 0) {
        const std::string reason = platform::socketErrorText(platform::lastSocketError());
        closeListener(m_listener);
        throw SimulatorError(
            formatted("can't listen on %s:%u: ", m_options.host.c_str(), unsigned{m_options.port}) +
            reason);
    }
    m_port = boundPort;
}

void Server::start() {
    if (isStarted()) {
        return;
    }
    listen();
    m_quit = false;
    m_thread = std::thread([this] { run(); });
}

void Server::stop() {
    if (!isStarted()) {
        return;
    }
    m_quit = true;
    dropClient();
    m_thread.join();
    takeSession().reset();
    closeListener(m_listener);
    m_port = 0;
}

void Server::run() {
    while (!m_quit) {
        if (isRebootDue()) {
            reboot();
        } else if (platform::waitReadable(m_listener, SLICE_MS) == 1) {
            acceptClient();
        }
        endSession();
    }
}

// If its client has gone.
void Server::endSession() {
    std::unique_ptr<Session> over;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_session && m_session->isOver()) {
        over = std::move(m_session);
    }
}

void Server::acceptClient() {
    std::uint32_t address = 0;
    std::uint16_t clientPort = 0;
    const platform::Socket socket = platform::acceptSocket(m_listener, address, clientPort);
    if (socket == platform::NO_SOCKET) {
        return;
    }
    if (!makeRoom()) {
        note("a second client: closed");
        m_surroundings.journal.clientRefused();
        platform::closeSocket(socket);
        return;
    }
    if (isRebootDue() && rebootTime().count() > 0) {
        note("a client during a reboot: closed");
        m_surroundings.journal.clientRefused();
        platform::closeSocket(socket);
        return;
    }
    if (isRebootDue()) {
        reboot();
    }
    rewire();
    auto next = std::make_unique<Session>(machine(), m_surroundings, socket);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_session = std::move(next);
}

// Its end waits for its thread, which must not be under the lock.
std::unique_ptr<Session> Server::takeSession() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::move(m_session);
}

// False if a client is connected and means to stay.
bool Server::makeRoom() {
    std::unique_ptr<Session> previous = takeSession();
    if (!previous) {
        return true;
    }
    if (previous->isEnding() || m_surroundings.journal.waitForClients(0, GRACE_MS) ||
        previous->isEnding()) {
        return true; // which ends it
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_session = std::move(previous);
    return false;
}

void Server::dropClient() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_session) {
        m_session->cut();
    }
}

std::shared_ptr<Machine> Server::machine() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_machine;
}

std::shared_ptr<Machine> Server::newMachine() {
    const Wiring wiring = m_surroundings.backPanel.ram();
    const bool isOwn = isSameWiring(wiring, m_description.wiring);
    return std::make_shared<Machine>(isOwn ? m_description : m_description.rewired(wiring),
                                     m_surroundings, m_options);
}

// Takes the channels in use that the last client has set. Whoever looks at the old machine keeps
// it.
void Server::rewire() {
    const std::shared_ptr<Machine> previous = machine();
    if (isSameWiring(previous->description.wiring, m_surroundings.backPanel.ram())) {
        return;
    }
    note("the back panel has changed");
    std::shared_ptr<Machine> next = newMachine();
    next->hardware.takeBoards(previous->hardware);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_machine = std::move(next);
}

// Its client has gone.
bool Server::isRebootDue() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_machine->isToReboot && !m_session;
}

std::chrono::duration<double> Server::rebootTime() const {
    return std::chrono::duration<double>(m_description.rebootSeconds * m_options.timeScale);
}

void Server::reboot() {
    note("reboot");
    const bool takesTime = rebootTime().count() > 0;
    if (takesTime) {
        stayDown();
    }
    m_surroundings.backPanel.boot();
    m_surroundings.mot.reboot();
    {
        std::shared_ptr<Machine> next = newMachine();
        std::lock_guard<std::mutex> lock(m_mutex);
        m_machine = std::move(next);
    }
    if (takesTime && platform::listenSocket(m_listener, BACKLOG) != 0) {
        note("can't listen any more: " + platform::socketErrorText(platform::lastSocketError()));
    }
    m_surroundings.journal.rebooted();
}

// A port that is bound without being listened on refuses connections, and nobody else takes it.
void Server::stayDown() {
    const auto isOver = [this, end = std::chrono::steady_clock::now() + rebootTime()] {
        return m_quit || std::chrono::steady_clock::now() >= end;
    };
    const auto slice = std::chrono::milliseconds(SLICE_MS);
    closeListener(m_listener);
    while (!bind(m_port) && !m_quit) {
        closeListener(m_listener);
        std::this_thread::sleep_for(slice);
    }
    while (!isOver()) {
        std::this_thread::sleep_for(slice);
    }
}

} // namespace simulator
} // namespace fus
