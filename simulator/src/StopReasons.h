// The ways in which an execution can end before its time.
#pragma once

#include <cstdint>
#include <string>

namespace fus {
namespace simulator {

struct StopReason {
    const char* name;     // for faults and tests
    int v2Code;           // in the text of protocol 2
    std::uint32_t v3Code; // in the record of protocol 3
    unsigned hwid;        // the board that stops
    const char* text;
};

extern const StopReason STOP_USER;
extern const StopReason STOP_SWITCHED; // another buffer takes over
extern const StopReason STOP_AMPLIFIER_TEMP;
extern const StopReason STOP_AMPLIFIER_CURRENT;
extern const StopReason STOP_TRIGGER;
extern const StopReason STOP_TIMING;
extern const StopReason STOP_WATCHDOG;
extern const StopReason STOP_HEARTBEAT;
// Not a reason that anybody hears of: the client has gone.
extern const StopReason STOP_ABANDONED;

// Null for another name.
const StopReason* findStopReason(const std::string& name);

} // namespace simulator
} // namespace fus
