#pragma once

#include "fus/FUSListener.h"

#include <atomic>

namespace fus {

/// Watches the execution of a shot that is too long for the generator's watchdog.
///
/// The flags are written on the event sender's thread and polled by whoever runs the check. It
/// belongs to the generator and lives as long: whoever unregisters it doesn't wait for a delivery
/// that is under way.
class WatchdogCheckListener : public FUSListener {
public:
    /// Before it is registered: nothing has run yet.
    void reset();
    void handleEvent(FUSEvent* event) override;

    bool isRunning() const { return m_running; }
    /// The shot was cut, or its execution stopped, by the watchdog.
    bool hasPassed() const { return m_passed; }

private:
    // atomic
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_passed{false};
};

} // namespace fus
