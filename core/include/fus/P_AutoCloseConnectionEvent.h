#pragma once

#include "fus/FUSEvent.h"

namespace fus {

/// Asks the event sender to close the connection, because its link has failed.
class AutoCloseConnectionEvent : public FUSEvent {
public:
    AutoCloseConnectionEvent() : FUSEvent(EVENT_AUTO_CLOSE_CONNECTION) {}
};

} // namespace fus
