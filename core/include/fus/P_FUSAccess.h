#pragma once

#include "fus/FUS.h"

#include <memory>

namespace fus {

class Connection;
class FUSEvent;
class GeneratorDefinition;

/// What only the library, its Python module and its tests may do with `FUS`.
class FUSAccess {
public:
    /// The open connection: `ERR_NOT_CONNECTED` if there is none, or if its link is dead.
    static std::shared_ptr<Connection> getConnection(FUS& fus);
    /// The connection, dead or alive: `ERR_NOT_CONNECTED` only if there is none.
    static std::shared_ptr<const Connection> getConstConnection(const FUS& fus);
    /// The protocol number of the connected generator, major * 100 + minor.
    static unsigned protocolVersion(const FUS& fus);
    /// The definition as it is now; never null.
    static std::shared_ptr<const GeneratorDefinition> getDefinition(const FUS& fus);
    static void disconnectSocket(FUS& fus, int reason);
    static void notifyListeners(FUS& fus, FUSEvent* event);
    /// Waits until no listener is being called and returns true, or false after the time-out [ms].
    /// For a caller that has removed its listeners and is about to pull the ground from under them.
    static bool waitForListeners(FUS& fus, unsigned timeoutMs);
    /// Gives up an event sender whose listener will never return, so that the library can end
    /// without its thread. No event is delivered any more.
    static void abandonEventSender(FUS& fus);
};

} // namespace fus
