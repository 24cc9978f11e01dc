#include "platform/platform.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

namespace fus::platform {

// ---- Locks --------------------------------------------------------------------------------------

struct SystemMutex::Native {
    pthread_mutex_t mutex = {};
    bool made = false;

    Native() {
        pthread_mutexattr_t attributes;
        if (pthread_mutexattr_init(&attributes) != 0)
            return;
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        // robust: the lock of an owner that has ended goes to the next one who asks
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        made = pthread_mutex_init(&mutex, &attributes) == 0;
        pthread_mutexattr_destroy(&attributes);
    }
    Native(const Native&) = delete;
    Native& operator=(const Native&) = delete;
    ~Native() {
        if (made)
            pthread_mutex_destroy(&mutex);
    }

    /// Whether a result of the system means that the mutex is held now.
    bool acquired(int result) {
        if (result == EOWNERDEAD)
            return pthread_mutex_consistent(&mutex) == 0;
        return result == 0;
    }
};

SystemMutex::SystemMutex(std::unique_ptr<Native> native) : m_native(std::move(native)) {}

SystemMutex::~SystemMutex() = default;

std::unique_ptr<SystemMutex> SystemMutex::create() {
    auto native = std::make_unique<Native>();
    if (!native->made)
        return nullptr;
    return std::unique_ptr<SystemMutex>(new SystemMutex(std::move(native)));
}

bool SystemMutex::lock() {
    return m_native->acquired(pthread_mutex_lock(&m_native->mutex));
}

bool SystemMutex::unlock() {
    return pthread_mutex_unlock(&m_native->mutex) == 0;
}

struct SystemCondition::Native {
    pthread_cond_t condition = {};
    bool made = false;

    Native() {
        pthread_condattr_t attributes;
        if (pthread_condattr_init(&attributes) != 0)
            return;
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        made = pthread_cond_init(&condition, &attributes) == 0;
        pthread_condattr_destroy(&attributes);
    }
    Native(const Native&) = delete;
    Native& operator=(const Native&) = delete;
    ~Native() {
        if (made)
            pthread_cond_destroy(&condition);
    }
};

SystemCondition::SystemCondition(std::unique_ptr<Native> native) : m_native(std::move(native)) {}

SystemCondition::~SystemCondition() = default;

std::unique_ptr<SystemCondition> SystemCondition::create() {
    auto native = std::make_unique<Native>();
    if (!native->made)
        return nullptr;
    return std::unique_ptr<SystemCondition>(new SystemCondition(std::move(native)));
}

SystemCondition::Wait SystemCondition::waitUntil(SystemMutex& mutex, std::uint64_t deadline,
                                                 int& error) {
    struct timespec time = {};
    time.tv_sec = static_cast<time_t>(deadline / 1'000'000'000);
    time.tv_nsec = static_cast<long>(deadline % 1'000'000'000);
    error = pthread_cond_timedwait(&m_native->condition, &mutex.m_native->mutex, &time);
    if (error == ETIMEDOUT)
        return Wait::TIMED_OUT;
    if (mutex.m_native->acquired(error))
        return Wait::WOKEN;
    if (error == EINVAL) // refused before it was released
        mutex.unlock();
    return Wait::FAILED;
}

bool SystemCondition::wakeAll() {
    return pthread_cond_broadcast(&m_native->condition) == 0;
}

// ---- Threads ------------------------------------------------------------------------------------

struct SystemThread::Native {
    enum class Gate { SUSPENDED, RESUMED, ABANDONED };

    // constant once create() has returned
    pthread_t thread = {};
    ThreadEntry entry = nullptr;
    void* argument = nullptr;

    std::mutex mutex;
    std::condition_variable changed;
    // guarded by mutex
    std::uint32_t id = 0;
    Gate gate = Gate::SUSPENDED;
    bool finished = false;
    std::uint32_t exitCode = 0;

    static void* main(void* self);
    bool spawn(std::shared_ptr<Native> self, const pthread_attr_t& attributes);

    bool announceAndPassGate() {
        std::unique_lock<std::mutex> lock(mutex);
        id = currentThreadId();
        changed.notify_all();
        changed.wait(lock, [this] { return gate != Gate::SUSPENDED; });
        return gate == Gate::RESUMED;
    }

    void finish(std::uint32_t result) {
        const std::lock_guard<std::mutex> lock(mutex);
        exitCode = result;
        finished = true;
        changed.notify_all();
    }

    void awaitId() {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return id != 0; });
    }
};

void* SystemThread::Native::main(void* self) {
    // the thread's own share: the handle may be closed while it runs
    const std::unique_ptr<std::shared_ptr<Native>> share(
        static_cast<std::shared_ptr<Native>*>(self));
    Native& native = **share;
    const bool mayRun = native.announceAndPassGate();
    native.finish(mayRun ? native.entry(native.argument) : 0);
    return nullptr;
}

/// The application's signals are none of this thread's business: it takes over a full mask.
bool SystemThread::Native::spawn(std::shared_ptr<Native> self, const pthread_attr_t& attributes) {
    auto share = std::make_unique<std::shared_ptr<Native>>(std::move(self));
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool created = pthread_create(&thread, &attributes, &Native::main, share.get()) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (created)
        static_cast<void>(share.release());
    return created;
}

SystemThread::SystemThread(std::shared_ptr<Native> native) : m_native(std::move(native)) {}

std::unique_ptr<SystemThread> SystemThread::create(ThreadEntry entry, void* argument,
                                                   std::size_t stackSize) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return nullptr;
    const auto least = static_cast<std::size_t>(std::max(0L, sysconf(_SC_THREAD_STACK_MIN)));
    bool created =
        stackSize == 0 || pthread_attr_setstacksize(&attributes, std::max(stackSize, least)) == 0;
    auto native = std::make_shared<Native>();
    native->entry = entry;
    native->argument = argument;
    created = created && native->spawn(native, attributes);
    pthread_attr_destroy(&attributes);
    if (!created)
        return nullptr;
    native->awaitId();
    return std::unique_ptr<SystemThread>(new SystemThread(std::move(native)));
}

SystemThread::~SystemThread() {
    bool ending = false;
    {
        const std::lock_guard<std::mutex> lock(m_native->mutex);
        if (m_native->gate == Native::Gate::SUSPENDED)
            m_native->gate = Native::Gate::ABANDONED;
        ending = m_native->finished || m_native->gate == Native::Gate::ABANDONED;
        m_native->changed.notify_all();
    }
    if (ending)
        pthread_join(m_native->thread, nullptr);
    else
        pthread_detach(m_native->thread);
}

std::uint32_t SystemThread::id() const {
    const std::lock_guard<std::mutex> lock(m_native->mutex);
    return m_native->id;
}

std::uint32_t SystemThread::exitCode() const {
    const std::lock_guard<std::mutex> lock(m_native->mutex);
    return m_native->exitCode;
}

bool SystemThread::resume() {
    // kept alive: the thread may have ended, and closed its own handle, before this returns
    const std::shared_ptr<Native> native = m_native;
    const std::lock_guard<std::mutex> lock(native->mutex);
    native->gate = Native::Gate::RESUMED;
    native->changed.notify_all();
    return true;
}

SystemThread::Wait SystemThread::wait(unsigned milliseconds) {
    std::unique_lock<std::mutex> lock(m_native->mutex);
    const bool signalled = m_native->changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                                      [this] { return m_native->finished; });
    return signalled ? Wait::SIGNALLED : Wait::TIMED_OUT;
}

std::uint32_t currentThreadId() {
    thread_local std::uint32_t id = 0;
    if (id == 0)
        id = static_cast<std::uint32_t>(::gettid());
    return id;
}

} // namespace fus::platform
