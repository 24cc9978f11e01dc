#pragma once

#include <memory>

namespace fus {

class Connection;
class FUSEvent;
class FUSListener;
class Generator;
class MechMotionEvent;
class NetPacket;

/// What the lower floors may ask of the facade, so that no header of theirs includes one of its.
/// `FUS` implements it, hands it to what it builds, and installs it for the few values (a
/// trajectory that slices itself) that nobody builds.
///
/// Every operation may be called from any thread.
class Upcalls {
public:
    /// Queues an event for the listeners and takes ownership of it. Never waits for a listener.
    /// A null event throws `ERR_ARGUMENT`.
    virtual void notifyListeners(FUSEvent* event) = 0;

    /// Adds or removes a listener; see `FUS::registerListener`. Neither waits for a delivery that
    /// is under way.
    virtual void registerListener(FUSListener* listener) = 0;
    virtual unsigned unregisterListener(FUSListener* listener) = 0;

    /// Closes the connection; see `FUS::disconnect`. The caller holds neither the socket mutex nor
    /// the inbox mutex, as closing waits for the reader. Returns at once when a disconnect is
    /// already under way.
    virtual void disconnectSocket(int reason) = 0;

    /// Hands over an asynchronous execution packet. Runs on the reader thread, holding nothing.
    virtual void handleAsyncAnswer(unsigned id, unsigned short type, NetPacket& packet) = 0;

    /// Queues the event of a motion that has ended, behind that of its start. Runs on the reader
    /// thread, and never waits.
    virtual void motionEnded(std::unique_ptr<MechMotionEvent> event) = 0;

    /// The open connection. Throws `ERR_NOT_CONNECTED` when there is none or when it is dead. The
    /// pointer keeps the object in memory for the length of a call, also through a disconnect.
    virtual std::shared_ptr<Connection> getConnection() = 0;

    /// The connection object, dead or alive; null when there is none.
    virtual std::shared_ptr<Connection> connection() const = 0;

    /// Whether a connection object exists, dead or alive.
    virtual bool isConnected() const = 0;

    virtual Generator& generator() = 0;

protected:
    ~Upcalls() = default;
};

/// The installed facade; throws `ERR_NOT_CONNECTED` while there is none.
Upcalls& upcalls();

/// Installs the facade, or removes it with null.
void installUpcalls(Upcalls* facade);

} // namespace fus
