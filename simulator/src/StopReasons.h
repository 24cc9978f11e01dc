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
extern const StopReason STOP_MECHANICAL;
extern const StopReason STOP_TRIGGER;
extern const StopReason STOP_TIMING;
extern const StopReason STOP_WATCHDOG;
extern const StopReason STOP_HEARTBEAT;
extern const StopReason STOP_BOARD_MEASURE; // another measure, or a lower threshold
extern const StopReason STOP_POWER_SUPPLY;
extern const StopReason STOP_BOARD_DISABLED;
// Not a reason that anybody hears of: the client has gone.
extern const StopReason STOP_ABANDONED;

// A stop and the board that it comes from.
struct Alarm {
    const StopReason* reason = nullptr;
    unsigned hwid = 0;
    unsigned address = 0;
    std::uint32_t v3Code = 0;
    std::uint32_t argument = 0; // the reading that passed its threshold

    Alarm() = default;
    explicit Alarm(const StopReason& why, unsigned where = 0)
        : reason(&why), hwid(why.hwid), address(where), v3Code(why.v3Code) {}
};

// Null for another name.
const StopReason* findStopReason(const std::string& name);

} // namespace simulator
} // namespace fus
