// What is sent to be shot: taken apart, and checked as the hardware would.
#pragma once

#include "Bytes.h"
#include "Hardware.h"

#include <memory>

namespace fus {
namespace simulator {

struct Upload {
    std::uint32_t buffer = 0;
    std::shared_ptr<Trajectory> trajectory; // without shots: the buffer is to be emptied
};

// The modes under which a trajectory is to run.
struct ExecModes {
    unsigned elecMode = 0;
    unsigned mechMode = 0;
    unsigned trigMode = 0;
};

// All throw a Refusal. In the form of protocol 2 the modes come with the start command, and are
// checked there.
Upload readUpload(const Hardware& hardware, const Bytes& payload);
void checkModes(const Hardware& hardware, const ExecModes& modes, unsigned flags);
void checkAmplitudes(const Hardware& hardware, const Trajectory& trajectory);
void checkShots(const Hardware& hardware, const Trajectory& trajectory, const ExecModes& modes);

} // namespace simulator
} // namespace fus
