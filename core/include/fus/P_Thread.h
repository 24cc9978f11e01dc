#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace fus {

namespace platform {
class SystemMutex;
class SystemCondition;
} // namespace platform

class Condition;
struct PrivateThread;

/// The system's id of the calling thread.
std::uint32_t currentThreadId();

/// A recursive lock. A failure is logged and told, never thrown: the caller goes on unprotected.
/// A mutex whose owner ended without unlocking it goes to the next one who asks.
class Mutex {
public:
    /// Throws `ERR_THREAD` if the system has no more mutexes.
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex();

    /// Waits without limit. False (and logged) if the mutex was not acquired.
    bool lock();

    /// False (and logged) if the calling thread doesn't hold the mutex.
    bool unlock();

private:
    friend class Condition;

    Condition* takePendingWake();

    // constant after construction
    std::unique_ptr<platform::SystemMutex> m_system;

    // the condition to wake at the next unlock; set by whoever holds the mutex
    std::atomic<Condition*> m_pendingWake{nullptr};
};

/// Holds a `Mutex` for as long as it lives.
class MutexLocker {
public:
    explicit MutexLocker(Mutex& mutex) : m_mutex(mutex) { m_mutex.lock(); }
    explicit MutexLocker(Mutex* mutex) : MutexLocker(*mutex) {}
    MutexLocker(const MutexLocker&) = delete;
    MutexLocker& operator=(const MutexLocker&) = delete;
    ~MutexLocker() { m_mutex.unlock(); }

private:
    Mutex& m_mutex;
};

/// Threads wait here for a fact that the bound mutex guards. Both operations are called with that
/// mutex held, locked once: only one level is released while waiting. The mutex must outlive the
/// condition, and the condition everybody who waits on it.
class Condition {
public:
    /// The mutex is not owned. Throws `ERR_THREAD` if the system has no more conditions.
    explicit Condition(Mutex* mutex);
    explicit Condition(Mutex& mutex) : Condition(&mutex) {}
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    ~Condition();

    /// Releases the mutex, waits for a broadcast, and takes the mutex again. True only if a
    /// broadcast came within `milliseconds`. The mutex is held on return either way.
    bool timedWait(unsigned milliseconds);

    /// Wakes every thread that waits now. A waiter returns only after the caller has released the
    /// mutex, so the system is asked to wake them in that very release: a thread woken earlier
    /// would run into the mutex and go back to sleep.
    bool broadcast();

private:
    friend class Mutex;

    bool waitForGeneration(unsigned generation, std::uint64_t deadline);
    void deliverWake();

    // constant after construction
    Mutex* m_mutex;
    std::unique_ptr<platform::SystemCondition> m_system;

    // guarded by the bound mutex
    unsigned m_waiters = 0;
    unsigned m_generation = 0;

    // announced wakes that the system hasn't been asked for yet
    std::atomic<unsigned> m_wakesInFlight{0};
};

/// A counting semaphore that is posted and taken in any amount.
class Semaphore {
public:
    /// A maximum of 0 means that there is none. Throws `ERR_THREAD` like its parts.
    Semaphore(unsigned count, unsigned maximum);

    /// Adds `n`, but not beyond the maximum, and wakes all waiters.
    void post(unsigned n);

    /// Takes `n` as soon as there are so many. False if `milliseconds` pass without a post: each
    /// post that leaves too little starts them anew, so they don't bound the whole call.
    bool wait(unsigned n, unsigned milliseconds);

private:
    // guarded by m_mutex
    unsigned m_count;
    // constant after construction
    unsigned m_maximum;
    Mutex m_mutex;
    Condition m_condition;
};

/// Milliseconds since its construction, up to 49 days.
class Timer {
public:
    Timer();
    unsigned elapsed() const;

private:
    std::uint32_t m_start;
};

/// A thread: derive from it and implement `run`, which polls `isStopRequested`.
///
/// The system thread is born suspended in this constructor and runs from `start` on; without a
/// start it never does. Contract of a derived class: since `run` uses its members, its own
/// destructor must call `requestStop` and `wait` before they go; this base class's destructor comes
/// too late for that. It does see to it that a thread that hasn't entered `run` by then never will,
/// and that the system thread is through with this object before it is freed. A detached thread
/// belongs to itself once started: it is made with `new`, deletes itself behind `run`, and nobody
/// else deletes it.
class Thread {
public:
    /// A stack size [bytes] of 0 takes the system's default. Throws `ERR_THREAD`.
    Thread(bool detached, unsigned stackSize);
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Throws nothing itself. A derived class's destructor may: behind a detached thread that is
    /// contained and logged.
    virtual ~Thread() noexcept(false);

    /// Lets the thread run, and blocks for 20 ms to let it get there. False if it couldn't.
    bool start();

    /// Waits without limit until the thread has finished. False at once if it is detached, or is
    /// the calling thread; true at once if it isn't running.
    bool wait();

    /// Only sets a flag.
    void requestStop();
    bool isStopRequested() const;

    /// True from the entry into `run` until the thread is through with it.
    bool isRunning() const;

protected:
    /// True if the thread hasn't entered `run` yet, and then it never will. For the destructor of a
    /// derived class: a thread that entered behind it would find only the base.
    bool cancel();

private:
    friend struct PrivateThread;

    /// What the thread does. Its result is the exit code of the system thread; an exception ends it
    /// with a log line and the exit code 0xFFFFFFFF.
    virtual std::uint32_t run() = 0;

    // shared with the system thread, which may outlive this object
    std::shared_ptr<PrivateThread> m_private;
};

} // namespace fus
