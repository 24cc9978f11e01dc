#pragma once

#include "fus/HardwareCode.h"
#include "fus/MProtocol.h"
#include "fus/P_LowLevelMechanicsPrivate.h"
#include "fus/P_Thread.h"

#include <atomic>
#include <cstdint>

namespace fus {

/// The thread on which all origins are searched. It delivers one `MechOriginEvent`, always, and
/// last.
///
/// Owner: `LowLevelMechanicsPrivate`, in `m_searches`. `m_originThread` only names the one that is
/// running. A thread that has ended is freed by the next search, or with its owner; nobody frees
/// one that hasn't: it marks its end itself (`isDone`), behind its event. Several may be winding
/// down at once, as a stop doesn't wait, but only the one that has its place still says whether all
/// origins are known.
///
/// It works on the connection and the definition that it began with, which it shares. Behind a stop
/// it starts no motion: neither a search nor a park is sent. It does ask, for the log, where the
/// axis stands and why a search has failed, as long as its connection is there.
/// While it runs,
/// - `stop` makes it forget its place (another search may begin), sends CMD_STOP, and returns. The
///   board then ends the search; the thread sees the stop when its wait is over. `USER_STOP`,
///   whatever error it meets on the way, also when all axes are found already.
/// - a disconnect does the same, and then closes the connection, which ends the wait at once.
///   `USER_STOP`; what the thread still asks for fails, and nothing goes to the next connection.
/// - a lost link ends the wait at once. `ERROR_TIMEOUT` from a wait, `ERROR_INTERNAL` from a write
///   that failed, else `ERROR_NOT_CONNECTED`.
/// - `clearDefinition`, and with it another definition, leaves it alone: the board goes on. At the
///   end of its axis at the latest it sees that its definition is gone. `USER_STOP`.
/// - the end of the process, or of its owner, waits for it; the disconnect before that has ended
///   its waits, and its pauses are cut short. A thread that hasn't got as far as `run` by then
///   never does; the event that it owes comes from the destructor.
///
/// No wait is without a limit: an answer has its time-out, and a park its time.
class MechanicalOriginThread final : public Thread {
public:
    MechanicalOriginThread(LowLevelMechanicsPrivate& owner, OperationMark mark);
    ~MechanicalOriginThread() override;

    const OperationMark& mark() const { return m_mark; }
    bool isDone() const { return m_done; }
    /// The last thing that it does with its owner.
    void setDone() { m_done = true; }

    // of the thread
    mprotocol::MechResult result = mprotocol::ERROR_INTERNAL;
    HardwareCode hardwareCode{0};

private:
    std::uint32_t run() override;

    // constant after construction
    LowLevelMechanicsPrivate& m_owner;
    const OperationMark m_mark;

    std::atomic<bool> m_done{false};
};

} // namespace fus
