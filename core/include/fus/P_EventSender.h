#pragma once

#include "fus/HardwareCode.h"
#include "fus/P_Thread.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace fus {

class FUSEvent;
class FUSListener;
class MechMotionEvent;

/// The thread that delivers queued events to the listeners, one at a time, in order of arrival.
///
/// No lock is held while a listener or a hook runs, so both may post, register, unregister, send
/// commands and wait for answers. The owner builds it, calls start(), and deletes it on any thread
/// but its own: the destructor waits for the event in hand, and thus for the listener that has it.
///
/// A listener that is added during a delivery gets its first event with the next one. One that is
/// removed during a delivery lets the later ones shift down, so that the next of them may miss that
/// event.
///
/// unregisterListener and clearListeners do not wait for a call that is under way on the listener
/// just removed: a listener may be waiting for a lock (the interpreter's) that the remover holds.
/// Before such a listener is deleted, its owner lets go of whatever it may wait for, and calls
/// waitIdle.
class EventSender : public Thread {
public:
    /// Closes the connection; the argument is a ConnectEvent::Reason. May throw.
    using DisconnectHook = std::function<void(int reason)>;
    /// Asks the mechanics for the real cause of a failed motion. May block and throw.
    using MechanicalCauseHook = std::function<HardwareCode()>;

    /// Both hooks are called on this thread. Without `mechanicalCause` events keep their code.
    explicit EventSender(DisconnectHook disconnect, MechanicalCauseHook mechanicalCause = nullptr);
    ~EventSender() noexcept override;

    /// Takes over the event and queues it; any thread, never waits for a listener. ERR_ARGUMENT for
    /// a null event. What is posted after a stop stays queued until the destructor deletes it.
    void post(FUSEvent* event);

    /// A listener that is registered already is not added again; a null one is logged.
    void registerListener(FUSListener* listener);
    /// Gives the number of entries removed; a null listener is logged and gives 0.
    unsigned unregisterListener(FUSListener* listener);
    void clearListeners();

    /// Waits until the listener call that is under way now, if any, has returned. False if that
    /// took longer than `timeout_ms`, and at once on the event sender's own thread, which is inside
    /// such a call. The caller must hold nothing that a listener may wait for.
    bool waitIdle(unsigned timeout_ms);

private:
    class CallMark;

    std::uint32_t run() override;

    void spinForEvent() const;
    std::unique_ptr<FUSEvent> takeFirst();
    void process(FUSEvent& event);
    void resolveMotionError(MechMotionEvent& event) const;
    void deliver(FUSEvent& event);
    FUSListener* beginCall(std::size_t index);
    void endCall();
    static void call(FUSListener& listener, FUSEvent& event);

    // Constant after construction.
    const DisconnectHook m_disconnect;
    const MechanicalCauseHook m_mechanicalCause;

    Semaphore m_queued; // counts the queued events

    Mutex m_queueMutex;
    std::deque<std::unique_ptr<FUSEvent>> m_queue; // guarded by m_queueMutex, oldest first
    std::atomic<unsigned> m_posted{0};             // events posted so far, wrapping
    unsigned m_taken = 0;                          // of them; the sender's thread alone

    // Guarded by m_listenersMutex.
    Mutex m_listenersMutex;
    std::vector<FUSListener*> m_listeners; // in order of registration
    bool m_calling = false;                // a listener is being called
    unsigned m_calls = 0;                  // calls begun, wrapping
    Condition m_callEnded;                 // bound to m_listenersMutex

    std::atomic<std::uint32_t> m_threadId{0}; // of run, 0 before it
};

} // namespace fus
