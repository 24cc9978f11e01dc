#include "fus/P_FUSPrivate.h"

#include "fus/FUSEvent.h"
#include "fus/P_AutoCloseConnectionEvent.h"
#include "fus/P_Connection.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"

namespace fus {

namespace {

// Covers one wait of the event sender, so that its destructor finds it ended.
constexpr unsigned SENDER_END_PAUSE = 220; // [ms]

// A step of a disconnect that fails must not keep the later ones from being taken.
template <class Step>
void quietly(Step step) {
    try {
        step();
    } catch (...) {
        // a FUSException is logged where it was thrown; nothing else is to be said
    }
}

} // namespace

FUS::Private::Private()
    : m_generator(*this), m_lowLevelMechanics(*this), m_mechanics(m_lowLevelMechanics) {
    installUpcalls(this);
    m_eventSender = std::make_shared<EventSender>(
        [this](int reason) { autoClose(reason); },
        [this] { return m_lowLevelMechanics.getIndirectErrorAndLog(); });
    m_eventSender->start();
}

FUS::Private::~Private() {
    installUpcalls(nullptr);
}

std::shared_ptr<Connection> FUS::Private::connection() const {
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    return m_connection;
}

std::shared_ptr<EventSender> FUS::Private::eventSender() const {
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    return m_eventSender;
}

std::shared_ptr<EventSender> FUS::Private::livingSender() const {
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    return m_eventSender ? m_eventSender : m_endingSender;
}

void FUS::Private::stopEventSender() {
    const auto sender = livingSender();
    if (!sender) {
        return;
    }
    sender->requestStop();
    milliSleep(SENDER_END_PAUSE);
    {
        // kept until its thread has ended: on that thread nobody may be the last to let go of it
        const std::lock_guard<std::mutex> lock(m_linkMutex);
        m_eventSender.reset();
        m_endingSender = sender;
    }
    if (sender->wait()) { // not on the sender's own thread, in a listener that ends the library
        const std::lock_guard<std::mutex> lock(m_linkMutex);
        m_endingSender.reset(); // freed by `sender`, outside of the lock
    }
}

void FUS::Private::abandonEventSender() {
    auto abandoned = std::make_unique<std::shared_ptr<EventSender>>();
    {
        const std::lock_guard<std::mutex> lock(m_linkMutex);
        *abandoned = std::move(m_eventSender ? m_eventSender : m_endingSender);
    }
    if (*abandoned) {
        (*abandoned)->requestStop();
    }
    static_cast<void>(abandoned.release()); // never freed: the thread is still inside
}

void FUS::Private::clearListeners() {
    if (const auto sender = eventSender()) {
        sender->clearListeners();
    }
}

bool FUS::Private::isConnected() const {
    return connection() != nullptr;
}

std::shared_ptr<Connection> FUS::Private::getConnection() {
    auto connection = this->connection();
    if (!connection || !connection->isOpen()) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    return connection;
}

void FUS::Private::notifyListeners(FUSEvent* event) {
    if (const auto sender = eventSender()) {
        sender->post(event);
    } else {
        delete event;
    }
}

void FUS::Private::registerListener(FUSListener* listener) {
    if (const auto sender = eventSender()) {
        sender->registerListener(listener);
    }
}

unsigned FUS::Private::unregisterListener(FUSListener* listener) {
    const auto sender = eventSender();
    return sender ? sender->unregisterListener(listener) : 0;
}

void FUS::Private::handleAsyncAnswer(unsigned id, unsigned short type, NetPacket& packet) {
    m_generator.handleAsyncAnswer(id, type, packet);
}

bool FUS::Private::connect(const char* host, unsigned short port, unsigned timeoutMs) {
    const std::lock_guard<std::mutex> alone(m_connectMutex);
    disconnectSocket(0);
    waitForDisconnect();
    const auto definition = this->definition(); // the host may be its
    const bool hasHost = host != nullptr && *host != '\0';
    if ((!hasHost || port == 0) && !definition->isLoaded()) {
        FUS_LOG(ERROR, "Invalid host address or port");
        return false;
    }
    host = hasHost ? host : definition->host();
    port = port != 0 ? port : definition->port();
    FUS_LOG(INFO, "Connecting to (%s @ %d) waiting %u ms", host, port, timeoutMs);
    const auto connection = std::make_shared<Connection>(*this);
    if (!connection->connect(host, port, timeoutMs, *definition)) {
        return false;
    }
    // Before anybody can get hold of the connection: who uses it must not meet the buffers of the
    // one before.
    m_generator.onConnect(connection->lastConfig());
    {
        const std::lock_guard<std::mutex> lock(m_linkMutex);
        m_connection = connection;
    }
    connection->setSecureMode(m_generator.isInSecureMode());
    applyDefinition(*connection);
    notifyListeners(new ConnectEvent(true, ConnectEvent::REASON_USER_REQUEST));
    closeIfDead(*connection);
    return true;
}

// A link that died before the connection was stored: the event by which it asked to be closed found
// no connection.
void FUS::Private::closeIfDead(const Connection& connection) {
    if (!connection.isOpen()) {
        notifyListeners(new AutoCloseConnectionEvent);
    }
}

// A disconnect of another thread must have let go of the old connection before a new one comes.
void FUS::Private::waitForDisconnect() {
    std::unique_lock<std::mutex> lock(m_linkMutex);
    m_disconnected.wait(lock, [this] { return !m_disconnecting; });
}

// The link of the connection failed. A new connection may have taken its place since.
void FUS::Private::autoClose(int reason) {
    const auto connection = this->connection();
    if (!connection || !connection->isOpen()) {
        disconnectSocket(reason);
    }
}

void FUS::Private::disconnectSocket(int reason) {
    std::shared_ptr<Connection> connection;
    {
        const std::lock_guard<std::mutex> lock(m_linkMutex);
        if (m_disconnecting) {
            return;
        }
        m_disconnecting = true;
        connection = m_connection;
    }
    FUS_LOG(INFO, "Disconnecting (reason=%s)", ConnectEvent::reasonText(reason));
    if (connection) {
        closeConnection(connection, reason);
    }
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    m_disconnecting = false;
    m_disconnected.notify_all();
}

void FUS::Private::closeConnection(const std::shared_ptr<Connection>& connection, int reason) {
    const bool linkAlive = connection->isOpen();
    quietly([&] { m_generator.stopTrajectory(); });
    // asked of the connection itself, as a lost link must not keep the mechanics from being cleaned
    if (connection->lastConfig().getCount(NB_MECHANICS_BOARDS) > 0) {
        quietly([&] { m_lowLevelMechanics.cleanOnDisconnect(linkAlive); });
    } else {
        quietly([&] { m_lowLevelMechanics.leaveConnection(linkAlive); });
    }
    quietly([&] { connection->close(); });
    dropConnection();
    if (reason != ConnectEvent::REASON_DESTRUCTOR) {
        quietly([&] {
            notifyListeners(new ConnectEvent(false, static_cast<ConnectEvent::Reason>(reason)));
        });
    }
}

void FUS::Private::motionEnded(std::unique_ptr<MechMotionEvent> event) {
    m_lowLevelMechanics.motionEnded(std::move(event));
}

void FUS::Private::dropConnection() {
    m_generator.onDisconnect();
    std::shared_ptr<Connection> dropped; // dies outside of the lock
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    dropped.swap(m_connection);
}

} // namespace fus
