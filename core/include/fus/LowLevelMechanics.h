#pragma once

#include "fus/Export.h"
#include "fus/HardwareCode.h"
#include "fus/MProtocol.h"
#include "fus/MechanicalActuator.h"
#include "fus/MechanicalDisplacement.h"
#include "fus/MechanicalStatus.h"

#include <memory>
#include <string>
#include <vector>

namespace fus {

class LowLevelMechanicsPrivate;
class MechMotionEvent;
class Upcalls;

/// The mechanical system: its definition, its configuration on the board, origins, and motions.
///
/// There is one object, owned by `FUS`. Its states: no definition; loaded; configuration sent;
/// origins known. A disconnect leaves the definition alone. Actuators are named by index, below
/// `getActuatorCount()`; positions are steps relative to the origin, durations milliseconds.
///
/// Any thread may call. What talks to the board blocks until it has answered, for at most the
/// default answer time-out (`ERR_TIMEOUT` then), and throws `ERR_NOT_CONNECTED` without a
/// connection and `ERR_MECHANICS` without a mechanical board. A refusal of the board is a
/// `FUSException` with its hardware code. In secure mode (on at start) arguments and states are
/// checked before anything is sent: "secure" errors come from that. What runs on the reader thread
/// must not call.
class FUS_API LowLevelMechanics {
public:
    LowLevelMechanics(const LowLevelMechanics&) = delete;
    LowLevelMechanics& operator=(const LowLevelMechanics&) = delete;

    // --- definition ------------------------------------------------------------------------------

    /// Reads a definition in place of the former one. False, after a log line that names the first
    /// fault, if that fails; there is no definition then. Never throws. A null or empty argument
    /// clears the definition, and gives false.
    bool loadDefinition(const char* filename);
    bool loadDefinitionString(const char* text);
    /// Forgets the definition, its actuators, and all that was read from the board; sends nothing.
    /// References to actuators are dead. A search that is running ends at the end of its axis.
    void clearDefinition();
    bool isDefinitionLoaded() const;

    unsigned getActuatorCount() const;
    /// `ERR_INDEX` for a bad index in any mode. The reference lives until a definition is cleared
    /// or loaded, by any thread: `Mechanics` has getters that don't give it out.
    const MechanicalActuator& getActuator(unsigned index) const;

    // --- configuration ---------------------------------------------------------------------------

    /// Makes the board work by the definition. Without `force` nothing is written if the board
    /// holds the same values already. Writing makes the board forget its origins. False, after a
    /// log line, for every `FUSException`, and when the link or the definition goes meanwhile; the
    /// configuration then counts as not sent. Only what isn't a `FUSException` (no memory) leaves
    /// it.
    bool sendConfig(bool force);
    bool isConfigSent() const;

    /// A parameter of the board that isn't what the definition says. It owns its values, and its
    /// texts live as long as the library: it outlives link and definition.
    struct ConfigDifference {
        unsigned actuator; ///< index, below `getActuatorCount()`
        mprotocol::MechParam param;
        const char* section; ///< "Board" or "FUS", the definition's section inside of the axis's
        const char* key;     ///< of the definition
        /// In the board, as the definition would write it and in the definition's unit; where the
        /// board counts otherwise, the board's unit stands behind it: "2 step/ms".
        std::string found;
        std::string expected; ///< by the definition, written likewise
    };

    /// Compares the board with the definition by reading alone: what `sendConfig(false)` would look
    /// at, to the end. Empty without a definition, also without a connection.
    ///
    /// Blocks for an answer to each parameter of each axis. With the first that fails, what was
    /// found is lost: `ERR_NOT_CONNECTED`; `ERR_TIMEOUT`, also of a link that is lost meanwhile;
    /// `ERR_PACKET`; the hardware code of a refusal; `ERR_MECH_NO_CONFIG` if the definition is
    /// cleared or another one is loaded meanwhile. Any thread but the reader thread.
    std::vector<ConfigDifference> readConfigDifferences();

    /// What `sendConfig` has read from the board: how many axes it supports, and how many moves
    /// each may have. `ERR_MECH_NO_CONFIG` before.
    unsigned getMaxActuatorCount() const;
    unsigned getMaxDisplacementSize() const;
    /// Of the board, not its firmware's; 0 before `sendConfig`.
    unsigned getProtocolVersion() const;

    /// Switches the checks of the mechanical system alone; `FUS::setSecureMode` switches all.
    void setSecureMode(bool on);
    bool isInSecureMode() const;

    // --- parameters of the board -----------------------------------------------------------------

    /// `ERR_INDEX` for a bad actuator and `ERR_ARGUMENT` for a parameter above 29 (secure);
    /// `ERR_PACKET` for an answer of the wrong size. Booleans are 0 and 1; an int32 comes and goes
    /// as its bits.
    unsigned readIntParameter(unsigned actuator, mprotocol::MechParam param);
    float readFloatParameter(unsigned actuator, mprotocol::MechParam param);
    void setIntParameter(unsigned actuator, mprotocol::MechParam param, unsigned value);
    void setFloatParameter(unsigned actuator, mprotocol::MechParam param, float value);
    unsigned getLastAsyncError(unsigned actuator);

    // --- origins ---------------------------------------------------------------------------------

    bool isAllOriginsFound() const;
    /// Asks the board.
    bool isOriginFound(unsigned actuator);
    /// Makes the board forget; what the library knows stays.
    void clearOrigin(unsigned actuator);
    void clearAllOrigins();

    /// Searches the origin of one axis: starts with `firstDAC`, goes by `stepDAC` to `maxDAC`, both
    /// on the same side of 127, the DAC value of rest. Then parks, if `park` is set and the
    /// definition has a park position.
    ///
    /// Blocks until the axis is done, at most `timeout_ms` for the search and the time of the park.
    /// `ERR_MECH_NO_CONFIG`, `ERR_INDEX`, `ERR_ARGUMENT` for the DAC values (secure);
    /// `ERR_USER_STOP` after a `stop`; `ERR_MECHANICS` and others, with a hardware code, when the
    /// board fails; `ERR_TIMEOUT` when it says nothing.
    void findOrigin(unsigned actuator, unsigned timeout_ms, unsigned char firstDAC,
                    unsigned char maxDAC, unsigned char stepDAC, bool park);
    /// Searches the origins of all axes, in the order of the definition, on a thread of its own,
    /// and parks them. One `MechOriginEvent` tells the end, whatever it is. Without `force` and
    /// when the board knows all origins, no thread is started: it only parks, in this call.
    ///
    /// `ERR_MECH_NO_CONFIG` (secure), `ERR_MECH_ORIGINS_BUSY` during a search.
    void findAllOrigins(bool force);

    // --- displacements ---------------------------------------------------------------------------
    //
    // What starts a motion returns its execution id. An `ExecStartEvent` with this id is delivered,
    // and behind it a `MechMotionEvent` when the motion has ended. Secure, all but the raw motions
    // throw `ERR_MECH_NO_CONFIG` and `ERR_MECH_NO_ORIGIN`, and all but these and `moveActuatorTo`
    // throw `ERR_MECH_ORIGINS_BUSY` during a search.
    //
    // In any mode, a call that was under way when a stop, a disconnect or another definition came
    // sends no motion behind it: `ERR_USER_STOP` or `ERR_NOT_CONNECTED`.

    /// Empties the board's buffer.
    void clearDisplacement();
    /// Sends a displacement to the board's buffer, which is empty if that fails. `ERR_ARGUMENT`
    /// with a text: an empty displacement; more than 255 moves of an axis; too many for the board,
    /// moves without a delay, beyond the bounds or too quick (secure). `ERR_INDEX` for more
    /// actuators than there are.
    void sendDisplacement(const MechanicalDisplacement& displacement);
    /// Runs the displacement of the buffer.
    ///
    /// @param execCount  at least 1; at most 255 if the board's protocol is 1
    /// @param timeout_ms for all repetitions; 0 computes one
    ///
    /// `ERR_ARGUMENT` for the count, for an empty buffer, and for too short a time-out (secure).
    unsigned executeDisplacement(unsigned execCount, unsigned execDelay_ms, unsigned timeout_ms);
    /// Has the displacement wait for the trajectory that the generator executes with
    /// `EXEC_MECH_CONTINUE`; `execCount` is at most 255. No `ExecStartEvent` comes of it.
    unsigned prepareDisplacement(unsigned execCount, unsigned execDelay_ms);

    // --- moves -----------------------------------------------------------------------------------

    /// `ERR_ARGUMENT` for a duration of 0 (secure). The bounds aren't looked at.
    unsigned moveActuatorTo(unsigned actuator, int position, unsigned duration_ms);
    /// Moves several axes at once, in the time of the longest delay. At most one move per actuator;
    /// an actuator without one stays (`ERR_ARGUMENT`, secure).
    unsigned moveTo(const MechanicalDisplacement& displacement);
    /// Drives an axis without regard to origin, bounds or feedback. `dac` is 0..255, 127 is rest.
    /// `ERR_ARGUMENT` for an actuator or a DAC value above 255 (secure).
    unsigned rawMoveSomeTime(unsigned actuator, unsigned duration_ms, unsigned dac);
    /// The same for so many steps; 0 is `ERR_ARGUMENT` (secure). A time-out of 0 [ms] takes that of
    /// the whole range at the default speed.
    unsigned rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac, unsigned timeout_ms);
    /// Stops every motion and search, and keeps what was about to start from starting. Doesn't wait
    /// for the thread of a search: its event tells.
    void stop();

    // --- diagnosis -------------------------------------------------------------------------------

    /// Asks the board for its last error, and logs it at INFO. `ERR_PACKET` for an answer of the
    /// wrong size.
    MechanicalStatus readStatus();
    /// What the status of the board tells as the cause of an error that only points to it; 0 if it
    /// can't be had. Writes the board's history into the log if a motion went wrong.
    HardwareCode getIndirectErrorAndLog();
    /// The encoder's counter [step].
    unsigned readAbsoluteActuatorPosition(unsigned actuator);
    /// `ERR_MECH_NO_ORIGIN` if the origin isn't known.
    int readActuatorPosition(unsigned actuator);
    /// Writes the board's history into the log.
    void logHistory(unsigned actuator);
    void logAllHistory();

private:
    friend class FUS;
    friend class Mechanics;

    /// The same as `getActuator`, and its definition lives as long as the pointer does.
    std::shared_ptr<const MechanicalActuator> holdActuator(unsigned index) const;

    explicit LowLevelMechanics(Upcalls& upcalls);
    ~LowLevelMechanics();

    /// Before a disconnect; `linkAlive` tells it from a lost link, over which nothing can be sent.
    void cleanOnDisconnect(bool linkAlive);
    /// The same for a generator without a mechanical board: sends nothing and says nothing.
    void leaveConnection(bool linkAlive);

    /// Of the reader thread.
    void motionEnded(std::unique_ptr<MechMotionEvent> event);

    std::unique_ptr<LowLevelMechanicsPrivate> m_private;
};

} // namespace fus
