#include "fus/FUSEvent.h"
#include "fus/FUSException.h"
#include "fus/FUSListener.h"
#include "fus/P_EventSender.h"
#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace fus {

namespace {

/// How long the thread sleeps with nothing queued before it looks for a stop [ms].
constexpr unsigned QUEUE_STEP = 200;
/// How long it looks for the next event before it goes to sleep.
constexpr std::chrono::microseconds SPIN_TIME{50};
/// What the mechanics need before they can tell the cause of a failed motion [ms].
constexpr unsigned MOTION_ERROR_PAUSE = 100;

int typeOf(const FUSEvent& event) {
    return static_cast<int>(event.type());
}

const char* typeNameOf(const FUSEvent& event) {
    return FUSEvent::eventTypeName(event.type());
}

unsigned count(std::size_t size) {
    return static_cast<unsigned>(size);
}

} // namespace

/// Ends the call that beginCall began, however it ends.
class EventSender::CallMark {
public:
    explicit CallMark(EventSender& sender) : m_sender(sender) {}
    ~CallMark() { m_sender.endCall(); }
    CallMark(const CallMark&) = delete;
    CallMark& operator=(const CallMark&) = delete;

private:
    EventSender& m_sender;
};

EventSender::EventSender(DisconnectHook disconnect, MechanicalCauseHook mechanicalCause)
    : Thread(false, 0), m_disconnect(std::move(disconnect)),
      m_mechanicalCause(std::move(mechanicalCause)), m_queued(0, 0),
      m_callEnded(&m_listenersMutex) {}

EventSender::~EventSender() noexcept {
    // Before any member dies: the thread works with all of them.
    requestStop();
    if (!cancel()) // it may not have begun yet
        wait();
    MutexLocker lock(m_queueMutex);
    if (!m_queue.empty()) {
        FUS_LOG(VERBOSE, "    ~EventSender: %u pending FUSEvents", count(m_queue.size()));
        m_queue.clear();
    }
}

void EventSender::post(FUSEvent* event) {
    if (event == nullptr) {
        FUS_THROW(ERR_ARGUMENT);
    }
    std::unique_ptr<FUSEvent> owned(event);
    {
        MutexLocker lock(m_queueMutex);
        FUS_LOG(VERBOSE, "    Add FUSEvent (type=%d/%s)", typeOf(*owned), typeNameOf(*owned));
        m_queue.push_back(std::move(owned));
    }
    m_queued.post(1);
    ++m_posted;
}

void EventSender::registerListener(FUSListener* listener) {
    if (listener == nullptr) {
        FUS_LOG(ERROR, "FUS: can not register nullptr listener");
        return;
    }
    MutexLocker lock(m_listenersMutex);
    if (std::find(m_listeners.begin(), m_listeners.end(), listener) != m_listeners.end()) {
        return;
    }
    m_listeners.push_back(listener);
    FUS_LOG(INFO, "    FUS: register -> %u listeners", count(m_listeners.size()));
}

unsigned EventSender::unregisterListener(FUSListener* listener) {
    if (listener == nullptr) {
        FUS_LOG(ERROR, "FUS: can not unregister nullptr listener");
        return 0;
    }
    MutexLocker lock(m_listenersMutex);
    const std::size_t before = m_listeners.size();
    m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), listener),
                      m_listeners.end());
    const unsigned removed = count(before - m_listeners.size());
    FUS_LOG(INFO, "    FUS: unregister %u items -> %u listeners", removed,
            count(m_listeners.size()));
    return removed;
}

void EventSender::clearListeners() {
    FUS_LOG(INFO, "    FUS: clearing all listeners");
    MutexLocker lock(m_listenersMutex);
    m_listeners.clear();
}

bool EventSender::waitIdle(unsigned timeout_ms) {
    if (currentThreadId() == m_threadId) {
        return false;
    }
    const Timer timer;
    MutexLocker lock(m_listenersMutex);
    const unsigned awaited = m_calls;
    while (m_calling && m_calls == awaited) {
        const unsigned elapsed = timer.elapsed();
        if (elapsed >= timeout_ms) {
            return false;
        }
        m_callEnded.timedWait(timeout_ms - elapsed);
    }
    return true;
}

std::uint32_t EventSender::run() {
    // A thread that gets here only behind the destructor's stop must not touch a member.
    if (!isStopRequested()) {
        m_threadId = currentThreadId();
    }
    bool busy = false;
    while (!isStopRequested()) {
        if (busy) {
            spinForEvent();
        }
        m_queued.wait(1, QUEUE_STEP);
        const std::unique_ptr<FUSEvent> event = takeFirst();
        busy = event != nullptr;
        if (busy) {
            process(*event);
        }
    }
    FUS_LOG(INFO, "    EventSender finished (global)");
    return 0;
}

// Results come in close succession, and a sleep and a wake-up for each cost more than what is done
// with it, in the reader most of all. So behind an event, the sender looks for the next one for
// a moment before it sleeps, and lets others run between the looks.
void EventSender::spinForEvent() const {
    const unsigned seen = m_taken;
    const auto end = std::chrono::steady_clock::now() + SPIN_TIME;
    while (m_posted == seen && !isStopRequested() && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
}

std::unique_ptr<FUSEvent> EventSender::takeFirst() {
    MutexLocker lock(m_queueMutex);
    if (m_queue.empty()) {
        return nullptr;
    }
    std::unique_ptr<FUSEvent> event = std::move(m_queue.front());
    m_queue.pop_front();
    ++m_taken;
    FUS_LOG(VERBOSE, "    Remove FUSEvent (type=%d/%s)", typeOf(*event), typeNameOf(*event));
    return event;
}

void EventSender::process(FUSEvent& event) {
    if (event.type() == FUSEvent::EVENT_AUTO_CLOSE_CONNECTION) {
        // Listeners see the disconnection that this posts. What it throws ends the thread.
        m_disconnect(ConnectEvent::REASON_SOCKET_ERROR);
        return;
    }
    if (event.type() == FUSEvent::EVENT_MECH_MOTION_RESULT) {
        resolveMotionError(static_cast<MechMotionEvent&>(event));
    }
    deliver(event);
}

/// The packet of a failed motion holds only a summary; here, unlike on the reader thread, it is
/// safe to ask the board and wait for its answer.
void EventSender::resolveMotionError(MechMotionEvent& event) const {
    if (event.result() == mprotocol::OK) {
        return;
    }
    FUS_LOG(ERROR, "Asking mech status on error (hwcode: 0x%08X)", event.hardwareCode().rawCode());
    milliSleep(MOTION_ERROR_PAUSE);
    if (!m_mechanicalCause) {
        return;
    }
    try {
        event.setHardwareCode(m_mechanicalCause());
    } catch (...) {
        FUS_LOG(ERROR, "Exception while asking the mechanical status");
    }
}

void EventSender::deliver(FUSEvent& event) {
    std::size_t listeners = 0;
    {
        MutexLocker lock(m_listenersMutex);
        listeners = m_listeners.size();
    }
    for (std::size_t i = 0; i < listeners && !isStopRequested(); ++i) {
        FUSListener* listener = beginCall(i);
        if (listener == nullptr) {
            return; // the list has shrunk
        }
        const CallMark mark(*this);
        call(*listener, event);
    }
}

FUSListener* EventSender::beginCall(std::size_t index) {
    MutexLocker lock(m_listenersMutex);
    if (index >= m_listeners.size()) {
        return nullptr;
    }
    m_calling = true;
    ++m_calls;
    return m_listeners[index];
}

void EventSender::endCall() {
    MutexLocker lock(m_listenersMutex);
    m_calling = false;
    m_callEnded.broadcast();
}

void EventSender::call(FUSListener& listener, FUSEvent& event) {
    try {
        listener.handleEvent(&event);
    } catch (const FUSException& e) {
        FUS_LOG(ERROR, "Event exception (event=%d/%s): %s", typeOf(event), typeNameOf(event),
                e.message());
    } catch (...) {
        FUS_LOG(EXCEPTION, "Exception in event handler (event=%d/%s)", typeOf(event),
                typeNameOf(event));
    }
}

} // namespace fus
