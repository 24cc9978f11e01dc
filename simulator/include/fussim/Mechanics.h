// The mechanical board of a simulated generator: what it is made of, and the state it is in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

// How optical references lie on an axis. A rotary axis has no ends.
enum class AxisTopology { L1, L2, R1 };

// An axis as it is built. Positions are values of its encoder's counter, in steps; they are above
// 0.
struct AxisDescription {
    AxisTopology topology = AxisTopology::L1;
    bool isInverted = false; // its motor is wired so that a DAC value above 127 counts down
    std::uint32_t start = 1001500;
    std::uint32_t low = 988000;   // ends of a linear axis
    std::uint32_t high = 1012000; // above low
    std::uint32_t reference = 1000000;
    std::uint32_t reference2 = 1002000; // of L2
    std::uint32_t revolution = 36000;   // [steps] of R1
    double topSpeed = 60000;            // [steps per second] at the strongest DAC value
    unsigned movingDac = 12;            // distance of the DAC value from 127 that sets it in motion
    // Start values of its parameters, by number and as they are on the wire.
    std::map<unsigned, std::uint32_t> parameters;
};

struct MechanicsDescription {
    unsigned protocol = 2;      // of the board
    unsigned maxMoves = 100;    // of an axis in a displacement, at most 255
    unsigned logLines = 16;     // of an axis, at most 255
    unsigned searchStepMs = 40; // a search waits so long before it raises the DAC value
    unsigned blockMs = 60;      // a motor that is driven and stands still so long is blocked
    unsigned uploadMs = 2;      // until the second answer of an upload
    std::vector<AxisDescription> axes;
};

// --- The state that the board is in ---

struct AxisState {
    std::uint32_t position = 0; // [steps] of the encoder's counter
    double speed = 0;           // [steps per second], below 0 when it counts down
    bool isOriginFound = false;
    std::uint32_t origin = 0;
    std::uint32_t origin2 = 0;
    unsigned searchDac = 0; // the last one of the last search
    std::vector<std::string> log;
};

struct MechanicalMove {
    std::uint32_t position = 0; // of the encoder's counter
    std::uint32_t delay = 0;    // [milliseconds]
};

// A motion that is over.
struct MotionRecord {
    unsigned command = 0;     // number of the command that started it
    bool wasDriven = false;   // by the generator's execution
    double duration = 0;      // [milliseconds]
    unsigned error = 0;       // of the board's table, 0 for none
    unsigned axis = 0;        // on which it happened
    std::uint32_t result = 0; // the code in its result, 0 for a success
};

struct MechanicsState {
    std::uint32_t status = 0; // what a client reads; 0: the last motion went well
    bool isMoving = false;    // or searching
    bool isPrepared = false;  // a displacement waits for the generator
    std::vector<AxisState> axes;
    std::vector<std::vector<MechanicalMove>> displacement; // what is stored, by axis
    std::vector<MotionRecord> motions;                     // the last 1024, in order
};

} // namespace simulator
} // namespace fus
