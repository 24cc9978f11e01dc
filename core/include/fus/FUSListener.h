#pragma once

#include "fus/Export.h"

namespace fus {

class FUSEvent;

/// Receives the events of the library. The library keeps a plain pointer and never owns a listener:
/// its owner unregisters it before deleting it, and makes sure that no call is under way then.
class FUS_API FUSListener {
public:
    virtual ~FUSListener() = default;

    /// Called on the event sender's thread, one event at a time and with no lock of the library
    /// held: it may send commands, wait for their answers, disconnect, and register or unregister
    /// listeners. While it runs, later events wait. The event is gone when it returns. An exception
    /// is logged, and the next listener gets the event.
    virtual void handleEvent(FUSEvent* event) = 0;
};

} // namespace fus
