// What a simulated generator remembers, for a test to look at.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

// A shot as it came over the wire. An empty list goes on with what the previous shot used, a list
// of one is for all channels.
struct Shot {
    std::vector<std::uint32_t> frequencies; // [hertz]
    std::vector<std::uint8_t> phases;
    std::vector<std::uint8_t> amplitudes;
    std::uint32_t duration = 0; // [microseconds]
    std::uint32_t delay = 0;    // [microseconds]
};

struct Trajectory {
    unsigned flags = 0;
    // Of an upload in the form of protocol 3. Before it, the modes come with the start command and
    // are 0 here.
    unsigned elecMode = 0;
    unsigned mechMode = 0;
    unsigned trigMode = 0;
    std::vector<bool> channels; // the mask; all true in the form of protocol 3
    std::vector<Shot> shots;
};

struct ReceivedCommand {
    std::uint32_t id = 0;
    unsigned type = 0;
    std::uint32_t payloadSize = 0;
    std::vector<std::uint8_t> payload; // its first MiB
};

struct ExecutionRecord {
    std::uint32_t id = 0; // 0: no results wanted
    unsigned buffer = 0;
    std::uint32_t count = 0; // executions asked for
    std::uint32_t delay = 0; // [microseconds] between them
    unsigned elecMode = 0;
    unsigned mechMode = 0;
    unsigned trigMode = 0;
    unsigned flags = 0;
    std::uint32_t executionsDone = 0;
    std::uint64_t shotsDone = 0;
    bool finished = false;
    std::string stopReason; // empty when it ran to its end
    // Of a stop: its code of protocol 3, and the board that it came from.
    std::uint32_t stopCode = 0;
    unsigned stopHwid = 0;
    unsigned stopAddress = 0;
};

// A board as it is now.
struct BoardRecord {
    std::uint32_t status = 0; // as the generator reports it
    bool isPowered = true;
    bool isDisabled = false; // it has gone out of action by itself
    // Of its measures: as they are read (ADC values; words of protocol 2), in physical units, and
    // the thresholds as they are read.
    std::vector<std::uint32_t> readings;
    std::vector<double> values;
    std::vector<std::uint32_t> lowerThresholds;
    std::vector<std::uint32_t> upperThresholds;
};

} // namespace simulator
} // namespace fus
