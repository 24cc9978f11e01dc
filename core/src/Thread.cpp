#include "fus/P_Thread.h"

#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"
#include "platform/platform.h"

#include <algorithm>
#include <exception>
#include <thread>

namespace fus {

namespace {

constexpr unsigned WAIT_SLICE_MS = 100;
constexpr unsigned START_PAUSE_MS = 20;
constexpr std::uint32_t EXIT_CODE_EXCEPTION = 0xFFFFFFFF;
constexpr std::uint64_t NANOSECONDS_PER_MS = 1'000'000;

std::atomic<int> s_threadCount{0};

/// The log has a mutex, too: a failure of that one must not report itself for ever.
void reportMutexFailure(const char* text) {
    thread_local bool reporting = false;
    if (reporting)
        return;
    reporting = true;
    FUS_LOG(ERROR, "%s", text);
    reporting = false;
}

} // namespace

std::uint32_t currentThreadId() {
    return platform::currentThreadId();
}

// ---- Mutex --------------------------------------------------------------------------------------

Mutex::Mutex() : m_system(platform::SystemMutex::create()) {
    if (!m_system)
        FUS_THROW(ERR_THREAD);
}

Mutex::~Mutex() = default;

bool Mutex::lock() {
    if (m_system->lock())
        return true;
    reportMutexFailure("Mutex lock failed");
    return false;
}

bool Mutex::unlock() {
    Condition* const toWake = takePendingWake();
    const bool unlocked = m_system->unlock();
    // from here on this object may be gone; the condition waits for its wake
    if (toWake != nullptr)
        toWake->deliverWake();
    if (!unlocked)
        reportMutexFailure("Mutex unlock failed");
    return unlocked;
}

Condition* Mutex::takePendingWake() {
    if (m_pendingWake.load(std::memory_order_relaxed) == nullptr)
        return nullptr;
    return m_pendingWake.exchange(nullptr);
}

// ---- Condition ----------------------------------------------------------------------------------

Condition::Condition(Mutex* mutex) : m_mutex(mutex), m_system(platform::SystemCondition::create()) {
    if (!m_system)
        FUS_THROW(ERR_THREAD);
}

Condition::~Condition() {
    if (m_wakesInFlight == 0)
        return;
    Condition* self = this;
    if (m_mutex->m_pendingWake.compare_exchange_strong(self, nullptr))
        --m_wakesInFlight;
    // somebody has unlocked the mutex and is about to wake whoever waited here
    while (m_wakesInFlight != 0)
        std::this_thread::yield();
}

bool Condition::timedWait(unsigned milliseconds) {
    // the wait releases the mutex behind its back
    if (Condition* const toWake = m_mutex->takePendingWake())
        toWake->deliverWake();
    const std::uint64_t deadline =
        platform::monotonicNanoseconds() + milliseconds * NANOSECONDS_PER_MS;
    const unsigned generation = m_generation;
    ++m_waiters;
    const bool woken = waitForGeneration(generation, deadline);
    --m_waiters;
    return woken;
}

bool Condition::waitForGeneration(unsigned generation, std::uint64_t deadline) {
    using Wait = platform::SystemCondition::Wait;
    Wait wait = Wait::WOKEN;
    while (m_generation == generation && wait == Wait::WOKEN) {
        int error = 0;
        wait = m_system->waitUntil(*m_mutex->m_system, deadline, error);
        if (wait == Wait::FAILED) {
            FUS_LOG(ERROR, "Condition timedWait failed (code=%lu)",
                    static_cast<unsigned long>(error));
            m_mutex->lock();
            return false;
        }
    }
    return m_generation != generation;
}

bool Condition::broadcast() {
    if (m_waiters == 0)
        return true;
    ++m_generation;
    ++m_wakesInFlight;
    if (Condition* const earlier = m_mutex->m_pendingWake.exchange(this))
        earlier->deliverWake();
    return true;
}

void Condition::deliverWake() {
    m_system->wakeAll();
    --m_wakesInFlight;
}

// ---- Semaphore ----------------------------------------------------------------------------------

Semaphore::Semaphore(unsigned count, unsigned maximum)
    : m_count(count), m_maximum(maximum), m_condition(&m_mutex) {}

void Semaphore::post(unsigned n) {
    const MutexLocker lock(m_mutex);
    const std::uint64_t sum = std::uint64_t{m_count} + n;
    if (m_maximum == 0 || sum <= m_maximum)
        m_count = static_cast<unsigned>(sum);
    else
        m_count = std::max(m_count, m_maximum);
    m_condition.broadcast();
}

bool Semaphore::wait(unsigned n, unsigned milliseconds) {
    const MutexLocker lock(m_mutex);
    while (m_count < n)
        if (!m_condition.timedWait(milliseconds))
            return false;
    m_count -= n;
    return true;
}

// ---- Timer --------------------------------------------------------------------------------------

Timer::Timer() : m_start(platform::tickCount()) {}

unsigned Timer::elapsed() const {
    return platform::tickCount() - m_start;
}

// ---- Thread -------------------------------------------------------------------------------------

struct PrivateThread : std::enable_shared_from_this<PrivateThread> {
    /// CANCELLED: destroyed before it got as far as its entry function.
    enum class State { CREATED, RUNNING, FINISHED, CANCELLED };

    PrivateThread(Thread* thread, bool isDetached) : owner(thread), detached(isDetached) {
        ++s_threadCount;
    }
    PrivateThread(const PrivateThread&) = delete;
    PrivateThread& operator=(const PrivateThread&) = delete;
    ~PrivateThread() { close(); }

    static std::uint32_t entry(void* argument);
    std::uint32_t runProtected();
    std::uint32_t runContained();
    void deleteOwner();

    bool isRunning() const { return state == State::RUNNING; }
    bool isCurrent() const { return id == currentThreadId(); }
    void keepOut();
    void close();

    std::atomic<State> state{State::CREATED};
    std::atomic<Thread*> owner;
    std::atomic<bool> started{false};
    std::atomic<bool> stopRequested{false};
    std::atomic<std::uint32_t> id{0};
    const bool detached;

    // set before the thread can run, cleared when nobody else knows this object any more
    std::unique_ptr<platform::SystemThread> handle;
    bool closed = false;
};

std::uint32_t PrivateThread::entry(void* argument) {
    // shared: a detached thread outlives its object
    const auto self = static_cast<PrivateThread*>(argument)->shared_from_this();
    State expected = State::CREATED;
    if (!self->state.compare_exchange_strong(expected, State::RUNNING))
        return 0;
    const std::uint32_t result = self->runProtected();
    self->state = State::FINISHED;
    return result;
}

std::uint32_t PrivateThread::runProtected() {
    const std::uint32_t ownId = id; // closing clears it
    const std::uint32_t result = runContained();
    if (detached)
        deleteOwner();
    FUS_LOG(VERBOSE, "  Thread finished (id=0x%X)", ownId);
    return result;
}

std::uint32_t PrivateThread::runContained() {
    const std::uint32_t ownId = id;
    try {
        return owner.load()->run();
    } catch (const FUSException& e) {
        FUS_LOG(ERROR, "FUSException thrown during thread execution (id=0x%X, msg=%s)", ownId,
                e.message());
    } catch (const std::exception& e) {
        FUS_LOG(ERROR, "std::exception thrown during thread execution (id=0x%X, msg=%s)", ownId,
                e.what());
    } catch (...) {
        FUS_LOG(ERROR, "Unknown exception thrown during thread execution (id=0x%X)", ownId);
    }
    return EXIT_CODE_EXCEPTION;
}

void PrivateThread::deleteOwner() {
    const std::uint32_t ownId = id;
    try {
        delete owner.exchange(nullptr);
    } catch (...) {
        FUS_LOG(ERROR, "Exception in deleting detached thread (id=0x%X)", ownId);
    }
}

/// Sees to it that the system thread won't touch the owner any more.
void PrivateThread::keepOut() {
    owner = nullptr;
    State expected = State::CREATED;
    state.compare_exchange_strong(expected, State::CANCELLED);
    if (!started || isCurrent())
        return;
    while (handle->wait(WAIT_SLICE_MS) == platform::SystemThread::Wait::TIMED_OUT) {
    }
}

void PrivateThread::close() {
    if (closed)
        return;
    closed = true;
    const int count = --s_threadCount;
    FUS_LOG(VERBOSE, "  ~PrivateThread (id=0x%X, count after=%d)", id.load(), count);
    handle.reset();
    id = 0;
}

Thread::Thread(bool detached, unsigned stackSize)
    : m_private(std::make_shared<PrivateThread>(this, detached)) {
    m_private->handle =
        platform::SystemThread::create(&PrivateThread::entry, m_private.get(), stackSize);
    if (m_private->handle)
        m_private->id = m_private->handle->id();
    FUS_LOG(VERBOSE, "  New thread (id=0x%X, count after=%d)", m_private->id.load(),
            s_threadCount.load());
    if (!m_private->handle)
        FUS_THROW(ERR_THREAD);
}

Thread::~Thread() noexcept(false) {
    try {
        if (m_private->isRunning()) {
            requestStop();
            wait();
        }
        m_private->keepOut();
        m_private->close();
    } catch (...) {
        // nobody could do anything about it; and a destructor that throws ends the process
    }
}

bool Thread::start() {
    FUS_LOG(VERBOSE, "  Starting thread (id=0x%X, count=%d)", m_private->id.load(),
            s_threadCount.load());
    if (!m_private->handle)
        return false;
    // kept alive: a detached thread may be through, and this object gone, before the pause is over
    const std::shared_ptr<PrivateThread> thread = m_private;
    thread->started = true;
    if (!thread->handle->resume())
        return false;
    milliSleep(START_PAUSE_MS);
    return true;
}

bool Thread::wait() {
    PrivateThread& thread = *m_private;
    if (thread.detached || !thread.handle || thread.isCurrent())
        return false;
    if (!thread.isRunning())
        return true;
    for (bool wasClear = false;;) {
        const auto result = thread.handle->wait(WAIT_SLICE_MS);
        if (result != platform::SystemThread::Wait::TIMED_OUT)
            return result == platform::SystemThread::Wait::SIGNALLED;
        if (thread.isRunning())
            continue;
        // cleared, but the system thread is still there: it gets one slice more
        if (wasClear)
            return true;
        wasClear = true;
    }
}

bool Thread::cancel() {
    PrivateThread::State expected = PrivateThread::State::CREATED;
    return m_private->state.compare_exchange_strong(expected, PrivateThread::State::CANCELLED);
}

void Thread::requestStop() {
    m_private->stopRequested = true;
}

bool Thread::isStopRequested() const {
    return m_private->stopRequested;
}

bool Thread::isRunning() const {
    return m_private->isRunning();
}

} // namespace fus
