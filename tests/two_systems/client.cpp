// An application on the shared library, which talks to a simulated generator of another system:
//
//     two_systems_client HOST PORT shoot    one execution with results
//     two_systems_client HOST PORT stay     stays until the link is lost
//
// It tells what happens, one line each, for the test that started it.

#include "fus/ElectronicTrajectory.h"
#include "fus/FUS.h"
#include "fus/FUSEvent.h"
#include "fus/FUSException.h"
#include "fus/FUSListener.h"
#include "fus/Generator.h"
#include "fus/PhaseShot.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>

namespace {

constexpr std::chrono::seconds PATIENCE{30};

void tell(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class Story : public fus::FUSListener {
public:
    std::promise<void> finished;
    std::promise<void> lost;

    void handleEvent(fus::FUSEvent* event) override {
        if (const auto* shot = dynamic_cast<fus::ShotEvent*>(event)) {
            const fus::ShotResult& result = shot->shotResult();
            tell("shot " + std::to_string(result.shotIndex()) + " of " +
                 std::to_string(result.channelCount()) + " channels");
        } else if (const auto* exec = dynamic_cast<fus::ExecEvent*>(event)) {
            tell("execution: status " + std::to_string(exec->execResult().status()));
            if (exec->execResult().isFinished())
                finished.set_value();
        } else if (event->type() == fus::FUSEvent::EVENT_DISCONNECT) {
            const auto& link = dynamic_cast<fus::ConnectEvent&>(*event);
            tell("disconnected: reason " + std::to_string(link.reason()));
            lost.set_value();
        }
    }
};

fus::ElectronicTrajectory trajectory(const fus::Generator& generator, unsigned shots) {
    const unsigned channels = generator.getChannelCount();
    fus::PhaseShot shot(channels, 1, 1);
    shot.setDuration(10000, 30000);
    shot.setFrequency(0, 1000000);
    shot.setAmplitude(0, 128);
    for (unsigned channel = 0; channel < channels; ++channel)
        shot.setPhase(channel, static_cast<unsigned char>(channel));
    fus::ElectronicTrajectory trajectory(channels);
    for (unsigned i = 0; i < shots; ++i)
        trajectory.addShot(shot);
    return trajectory;
}

void shoot(fus::Generator& generator, unsigned executions) {
    using namespace fus::gprotocol;
    fus::ElectronicTrajectory shots = trajectory(generator, 3);
    generator.sendTrajectory(0, shots, EXEC_ELEC_NORMAL, EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE, 0,
                             false, false);
    tell("uploaded");
    generator.executeTrajectory(0, executions, 20000, true);
    tell("shooting");
}

/// An error of the library reaches its application whole, though each has a run time of its own.
void provoke(fus::Generator& generator) {
    try {
        generator.clearBuffer(generator.getBufferCount());
    } catch (const fus::FUSException& error) {
        tell(std::string("refused: ") + error.what());
    }
}

bool inTime(std::promise<void>& promise) {
    return promise.get_future().wait_for(PATIENCE) == std::future_status::ready;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const bool stays = argv[3] == std::string("stay");
    fus::FUS& system = fus::FUS::getInstance();
    const auto port = static_cast<unsigned short>(std::strtoul(argv[2], nullptr, 10));
    if (!system.connect(argv[1], port, 4000))
        return 1;
    Story story;
    system.registerListener(&story);
    bool good = false;
    try {
        tell("connected: " + std::to_string(system.getGenerator().getChannelCount()) + " channels");
        provoke(system.getGenerator());
        shoot(system.getGenerator(), stays ? 100000 : 2);
        good = inTime(stays ? story.lost : story.finished);
    } catch (const fus::FUSException& error) {
        tell(std::string("failed: ") + error.what());
    }
    fus::FUS::exit();
    return good ? 0 : 1;
}
