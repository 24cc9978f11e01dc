#include "StopReasons.h"

#include "fussim/Fault.h"

#include "fus/GProtocol.h"

namespace fus {
namespace simulator {

using namespace gprotocol;

const StopReason STOP_USER = {"user", 1033, 0x38030000, HWID_PROCESSOR, "Stopped by the user."};
const StopReason STOP_SWITCHED = {"switched", 1034, 0x38030001, HWID_PROCESSOR,
                                  "Stopped for another buffer."};
const StopReason STOP_AMPLIFIER_TEMP = {"amplifier-temp", 1031, 0x28000100, HWID_AMPLIFIER,
                                        "Amplifier temperature above its threshold."};
const StopReason STOP_AMPLIFIER_CURRENT = {"amplifier-current", 1039, 0x28000101, HWID_AMPLIFIER,
                                           "Amplifier current above its threshold."};
const StopReason STOP_MECHANICAL = {"mechanical", 1040, 0x38020000, HWID_PROCESSOR,
                                    "Mechanical error."};
const StopReason STOP_TRIGGER = {"trigger", 1042, 0x38030100, HWID_PROCESSOR,
                                 "Unexpected pulse on the trigger input."};
const StopReason STOP_TIMING = {"timing", 1041, 0x38020001, HWID_PROCESSOR,
                                "Shot duration out of tolerance."};
const StopReason STOP_WATCHDOG = {"watchdog", 1032, 0x29000101, HWID_SYNTHESIZER,
                                  "Shot cut by the watchdog."};
const StopReason STOP_HEARTBEAT = {"heartbeat", 1043, 0x38030200, HWID_PROCESSOR,
                                   "No heart-beat in time."};
const StopReason STOP_BOARD_MEASURE = {"board-measure", 1037, 0x28000002, HWID_PROCESSOR,
                                       "Board measure out of its thresholds."};
const StopReason STOP_POWER_SUPPLY = {"power-supply", 1036, 0x13140000, HWID_PROCESSOR,
                                      "The amplifiers' power supply is off."};
const StopReason STOP_BOARD_DISABLED = {"board-disabled", 1038, 0x13140000, HWID_AMPLIFIER,
                                        "A board is out of action."};
const StopReason STOP_ABANDONED = {"abandoned", 1033, 0x38030000, HWID_PROCESSOR, ""};

namespace {

const StopReason STOP_INTERNAL = {"internal", 1035, 0x130F0000, HWID_PROCESSOR, "Internal error."};

const StopReason* const REASONS[] = {&STOP_USER,
                                     &STOP_SWITCHED,
                                     &STOP_INTERNAL,
                                     &STOP_AMPLIFIER_TEMP,
                                     &STOP_AMPLIFIER_CURRENT,
                                     &STOP_MECHANICAL,
                                     &STOP_TRIGGER,
                                     &STOP_TIMING,
                                     &STOP_WATCHDOG,
                                     &STOP_HEARTBEAT,
                                     &STOP_BOARD_MEASURE,
                                     &STOP_POWER_SUPPLY,
                                     &STOP_BOARD_DISABLED};

} // namespace

const StopReason* findStopReason(const std::string& name) {
    for (const StopReason* reason : REASONS) {
        if (name == reason->name) {
            return reason;
        }
    }
    return nullptr;
}

std::vector<std::string> stopReasonNames() {
    std::vector<std::string> names;
    for (const StopReason* reason : REASONS) {
        names.emplace_back(reason->name);
    }
    return names;
}

} // namespace simulator
} // namespace fus
