// What a simulated generator is made of, in two parts: what lasts as long as the simulator, and
// what is made anew at each start of the generator.
#pragma once

#include "BackPanel.h"
#include "Executor.h"
#include "FaultBook.h"
#include "Hardware.h"
#include "Journal.h"
#include "MotBoard.h"
#include "Physics.h"
#include "RunControl.h"

#include "fussim/Description.h"
#include "fussim/Simulator.h"

#include <atomic>

namespace fus {
namespace simulator {

// All of it has locks of its own.
struct Surroundings {
    Surroundings(const Description& description, const Options& options)
        : mot(description, faults, options.timeScale), backPanel(description),
          timeScale(options.timeScale), log(options.log) {
        for (const Fault& fault : options.faults) {
            faults.add(fault);
        }
    }

    FaultBook faults;
    Journal journal;
    MotBoard mot;
    BackPanel backPanel;
    const double timeScale;
    const std::function<void(const std::string&)> log;
};

// The electronics, with certain channels in use.
struct Machine {
    Machine(Description theDescription, Surroundings& surroundings, const Options& options)
        : description(std::move(theDescription)), physics(description, options.seed),
          hardware(description, physics, surroundings.faults, options.timeScale),
          control(hardware, options.timeScale),
          executor({hardware, physics, surroundings.faults, surroundings.journal, control,
                    surroundings.mot},
                   options.seed) {}

    const Description description;
    const Physics physics;
    Hardware hardware;
    RunControl control;
    Executor executor;
    std::atomic<bool> isToReboot{false}; // when its client has gone
};

} // namespace simulator
} // namespace fus
