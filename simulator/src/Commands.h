// What the generator does with each command.
#pragma once

#include "Bytes.h"
#include "Machine.h"

#include "fus/P_GProtocol.h"

#include <cstdint>
#include <optional>

namespace fus {
namespace simulator {

struct Request {
    std::uint32_t id = 0;
    unsigned type = 0;
    Bytes payload;
};

struct Reply {
    unsigned type = gprotocol::ANSWER_OK;
    Bytes payload;
    bool isSilent = false;    // no answer
    bool isEnd = false;       // the client has said good-bye
    bool endsLink = false;    // the generator ends the link unless the client does
    bool isPulse = false;     // a pulse comes behind the answer, so that its results do too
    std::uint32_t waitUs = 0; // the answer, and all that follows, waits so long
    std::optional<Job> job;   // to be started with the answer; its outlet isn't set
};

class Commands {
public:
    Commands(Machine& machine, Surroundings& surroundings)
        : m_machine(machine), m_hardware(machine.hardware), m_executor(machine.executor),
          m_control(machine.control), m_mot(surroundings.mot), m_backPanel(surroundings.backPanel) {
    }

    // Throws a Refusal.
    Reply carryOut(const Request& request);
    // Stop, close and heart-beat are never answered.
    static bool isSilent(unsigned type);

private:
    struct Row;
    static const Row* findRow(unsigned type);

    Reply upload(const Request& request);
    Reply start(const Request& request);
    Reply stop(const Request& request);
    Reply close(const Request& request);
    Reply readParameter(const Request& request);
    Reply writeParameter(const Request& request);
    Reply boardCommand(const Request& request);
    Reply systemState(const Request& request);
    Reply channelState(const Request& request);
    Reply reboot(const Request& request);
    Reply backPanel(const Request& request);
    Reply amplifierSupply(const Request& request);
    Reply heartBeat(const Request& request);
    Reply triggerPulse(const Request& request);
    Reply wait(const Request& request);

    Job readStart(const Request& request);
    void checkStart(const Job& job);

    Machine& m_machine;
    Hardware& m_hardware;
    Executor& m_executor;
    RunControl& m_control;
    MotBoard& m_mot;
    BackPanel& m_backPanel;
};

} // namespace simulator
} // namespace fus
