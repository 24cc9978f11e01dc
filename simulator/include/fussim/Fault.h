// Misbehaviour on demand.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

// A fault's text that can't be understood; what() says why.
class FaultError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class FaultKind {
    LATE,               // the answer comes later; what follows it isn't held up
    MISSING,            // no answer
    WRONG_TYPE,         // the answer's type is `value`
    WRONG_ID,           // the answer's id is `value`, or its own plus 1000
    WRONG_SIZE,         // the header says `value` bytes, whatever there is
    PAYLOAD_SIZE,       // the payload is cut or filled up to `value` bytes, and the header says so
    CUT_ANSWER,         // the link is closed when `value` bytes of the answer were sent
    BOARD_DATA,         // a board's answer carries `value` bytes of data, and says so
    CRC_FORMAT,         // a board's answer about its firmware says that it has format `value`
    ERROR_ANSWER,       // refused in the form of the generation, nothing is carried out
    ERROR_PLAIN,        // refused without detail
    ERROR_V2,           // refused in the form of protocol 2
    ERROR_V3,           // refused in the form of protocol 3
    BOARD_ERROR,        // refused by the board (board commands only)
    BACK_PANEL_ERROR,   // refused in the form of protocol 3 (commands for the back panel only)
    SINGLE_BYTES,       // everything is sent byte by byte
    CLOSE_AT,           // the link is closed when `value` bytes were sent on it
    RESULTS_WITH_ACK,   // the start's acknowledgement goes out together with the first results
    RESULTS_BEFORE_ACK, // and after the first result
    ANSWER_SILENT,      // stop, close and heart-beat are answered too
    STOP,               // an execution stops at `execution`, `shot` for the reason in `text`
    SHOT_ERROR,         // an error text in place of a shot result
    CHANNEL_OFF,        // the generator shuts off channel `value` by itself, before that shot
    BOARD_OFF,          // amplifier `address` goes out of action, and stops that execution
    SLOW_SHOT,          // that shot lasts `value` microseconds longer than asked for
    LATE_SHOT,          // and so does its delay
    NO_WATCHDOG,        // too long shots aren't cut
    READING,            // the measure `text` reads `value`
    BAD_READING,        // and is marked as bad; of protocol 3: reads its highest value
    BOARD_STATUS,       // the status bits `value` are set
    AXIS_BLOCK,         // axis `address` is blocked at position `value`; 0: where it is
    NO_REFERENCE,       // its optical reference `value` (1 or 2) is never found
    TOLERANCE,          // it exceeds its tolerance `value` ms after the start of a guided motion
    OFF_TARGET,         // and at the end of one
    MOTOR_CABLE,        // its motor's cable is pulled
    ENCODER_CABLE,      // its encoder's cable is
    MECH_ERROR,         // a mechanical command is refused with code `value`
    MECH_FAIL,          // what it starts fails with code `value`, and status `argument`
    MECH_DATA           // its answers carry `value` bytes more than they should
};

// One fault. Those on packets apply to answers of the command type `command`, and to sent packets
// of type `packet`; 0 means any of them. `nth` counts such packets from 1, from when the fault was
// set; 0 means each. Those on a board's commands and answers can be limited to a board command, and
// to boards as below. Those on boards apply to those of hardware id `hwid` (0: any) at `address`
// (ANY_ADDRESS: any), and last until they are cleared. An axis is addressed like a board; what
// befalls it in mid-motion strikes at once, but a block at a position waits for the next motion.
struct Fault {
    static constexpr std::uint32_t ANY_ADDRESS = 0xFFFFFFFF;

    FaultKind kind = FaultKind::LATE;
    unsigned command = 0;
    unsigned packet = 0;
    unsigned nth = 0;
    unsigned mechCommand = 0;           // of the mechanical board, as on the wire; 0: any
    unsigned boardCommand = 0;          // of any board
    std::uint32_t backPanelCommand = 0; // as on the wire; 0: any
    std::uint32_t value = 0;            // milliseconds, type, id, size, error code, byte ...
    std::uint32_t argument = 0;
    std::uint32_t execution = 0;
    std::uint32_t shot = 0;
    unsigned hwid = 0;
    std::uint32_t address = ANY_ADDRESS;
    std::string text; // of an error; name of a stop reason; name or index of a board measure

    // Reads KIND[:KEY=VALUE[,KEY=VALUE...]], for example "late:command=CMD_TRAJ_EXEC_V3,ms=300",
    // "error:command=1307,nth=2,code=0x13090000,text=Out of range",
    // "stop:reason=watchdog,execution=1,shot=3", "reading:measure=tem,raw=1000,address=2". A text
    // takes all that follows it; "mech=" takes a mechanical command, as in
    // "late:mech=CMD_INIT,packet=ANSWER_BOARD_ASYNC,ms=300"; "board=" one of any board, as in
    // "missing:board=CMD_BOARD_CRC_DATE,hwid=12,address=3".
    // Throws FaultError.
    static Fault parse(const std::string& text);
    // What each kind does, which keys it needs, and which it takes: for a program's help.
    static std::string help();
};

// Names of the reasons for which an execution can stop: "user", "internal", "watchdog" ...
std::vector<std::string> stopReasonNames();

} // namespace simulator
} // namespace fus
