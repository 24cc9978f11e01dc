#include "platform/platform.h"
#include "platform/windowsHeaders.h"

#include <process.h>

#include <algorithm>
#include <atomic>
#include <climits>

namespace fus::platform {

namespace {

constexpr std::uint64_t NANOSECONDS_PER_MS = 1'000'000;

/// Rounded up, so that a wait isn't over before its deadline.
DWORD millisecondsUntil(std::uint64_t deadline) {
    const std::uint64_t now = monotonicNanoseconds();
    if (now >= deadline)
        return 0;
    const std::uint64_t left = (deadline - now + NANOSECONDS_PER_MS - 1) / NANOSECONDS_PER_MS;
    return static_cast<DWORD>(std::min<std::uint64_t>(left, INT_MAX));
}

} // namespace

// ---- Locks --------------------------------------------------------------------------------------

// The kernel's mutex: it alone is passed on when the thread that held it has ended.
struct SystemMutex::Native {
    const HANDLE handle = CreateMutexW(nullptr, FALSE, nullptr);

    Native() = default;
    Native(const Native&) = delete;
    Native& operator=(const Native&) = delete;
    ~Native() {
        if (handle != nullptr)
            CloseHandle(handle);
    }
};

SystemMutex::SystemMutex(std::unique_ptr<Native> native) : m_native(std::move(native)) {}

SystemMutex::~SystemMutex() = default;

std::unique_ptr<SystemMutex> SystemMutex::create() {
    auto native = std::make_unique<Native>();
    if (native->handle == nullptr)
        return nullptr;
    return std::unique_ptr<SystemMutex>(new SystemMutex(std::move(native)));
}

bool SystemMutex::lock() {
    const DWORD result = WaitForSingleObject(m_native->handle, INFINITE);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

bool SystemMutex::unlock() {
    return ReleaseMutex(m_native->handle) != 0;
}

// Windows' condition variables don't take the kernel's mutex. They wait here with a lock of their
// own, which is held from before the mutex is released: so no wake can fall in between.
struct SystemCondition::Native {
    SRWLOCK guard = SRWLOCK_INIT;
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    // guarded by guard
    std::uint64_t wakes = 0;
};

SystemCondition::SystemCondition(std::unique_ptr<Native> native) : m_native(std::move(native)) {}

SystemCondition::~SystemCondition() = default;

std::unique_ptr<SystemCondition> SystemCondition::create() {
    return std::unique_ptr<SystemCondition>(new SystemCondition(std::make_unique<Native>()));
}

SystemCondition::Wait SystemCondition::waitUntil(SystemMutex& mutex, std::uint64_t deadline,
                                                 int& error) {
    Native& native = *m_native;
    Wait result = Wait::WOKEN;
    error = 0;
    AcquireSRWLockExclusive(&native.guard);
    const std::uint64_t seen = native.wakes;
    if (!mutex.unlock()) {
        error = static_cast<int>(GetLastError());
        result = Wait::FAILED;
    }
    while (result == Wait::WOKEN && native.wakes == seen) {
        const DWORD left = millisecondsUntil(deadline);
        if (left == 0)
            result = Wait::TIMED_OUT;
        else if (SleepConditionVariableSRW(&native.changed, &native.guard, left, 0) == 0 &&
                 GetLastError() != ERROR_TIMEOUT) {
            error = static_cast<int>(GetLastError());
            result = Wait::FAILED;
        }
    }
    ReleaseSRWLockExclusive(&native.guard);
    if (result != Wait::FAILED && !mutex.lock()) {
        error = static_cast<int>(GetLastError());
        result = Wait::FAILED;
    }
    return result;
}

bool SystemCondition::wakeAll() {
    AcquireSRWLockExclusive(&m_native->guard);
    ++m_native->wakes;
    ReleaseSRWLockExclusive(&m_native->guard);
    WakeAllConditionVariable(&m_native->changed);
    return true;
}

// ---- Threads ------------------------------------------------------------------------------------

struct SystemThread::Native {
    // constant once create() has returned
    HANDLE handle = nullptr;
    std::uint32_t id = 0;
    ThreadEntry entry = nullptr;
    void* argument = nullptr;

    std::atomic<bool> resumed{false};
    std::atomic<bool> abandoned{false};

    Native() = default;
    Native(const Native&) = delete;
    Native& operator=(const Native&) = delete;
    ~Native() {
        if (handle != nullptr)
            CloseHandle(handle);
    }

    static unsigned __stdcall main(void* self);
    bool spawn(std::shared_ptr<Native> self, std::size_t stackSize);

    bool resume() {
        resumed = true;
        return ResumeThread(handle) != static_cast<DWORD>(-1);
    }
};

unsigned __stdcall SystemThread::Native::main(void* self) {
    // the thread's own share: the handle may be closed while it runs
    const std::unique_ptr<std::shared_ptr<Native>> share(
        static_cast<std::shared_ptr<Native>*>(self));
    const Native& native = **share;
    return native.abandoned ? 0 : native.entry(native.argument);
}

bool SystemThread::Native::spawn(std::shared_ptr<Native> self, std::size_t stackSize) {
    auto share = std::make_unique<std::shared_ptr<Native>>(std::move(self));
    const auto stack = static_cast<unsigned>(std::min<std::size_t>(stackSize, UINT_MAX));
    unsigned threadId = 0;
    handle = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, stack, &Native::main, share.get(), CREATE_SUSPENDED, &threadId));
    if (handle == nullptr)
        return false;
    id = threadId;
    static_cast<void>(share.release());
    return true;
}

SystemThread::SystemThread(std::shared_ptr<Native> native) : m_native(std::move(native)) {}

std::unique_ptr<SystemThread> SystemThread::create(ThreadEntry entry, void* argument,
                                                   std::size_t stackSize) {
    auto native = std::make_shared<Native>();
    native->entry = entry;
    native->argument = argument;
    if (!native->spawn(native, stackSize))
        return nullptr;
    return std::unique_ptr<SystemThread>(new SystemThread(std::move(native)));
}

SystemThread::~SystemThread() {
    if (m_native->resumed)
        return;
    // Let go, not waited for: this may be the end of the process, when a library's last objects go
    // and no thread can begin any more.
    m_native->abandoned = true;
    m_native->resume();
}

std::uint32_t SystemThread::id() const {
    return m_native->id;
}

std::uint32_t SystemThread::exitCode() const {
    DWORD code = 0;
    const bool ended = WaitForSingleObject(m_native->handle, 0) == WAIT_OBJECT_0;
    return ended && GetExitCodeThread(m_native->handle, &code) != 0 ? code : 0;
}

bool SystemThread::resume() {
    // kept alive: the thread may have ended, and closed its own handle, before this returns
    const std::shared_ptr<Native> native = m_native;
    return native->resume();
}

SystemThread::Wait SystemThread::wait(unsigned milliseconds) {
    switch (WaitForSingleObject(m_native->handle, milliseconds)) {
    case WAIT_OBJECT_0:
        return Wait::SIGNALLED;
    case WAIT_TIMEOUT:
        return Wait::TIMED_OUT;
    default:
        return Wait::FAILED;
    }
}

std::uint32_t currentThreadId() {
    return GetCurrentThreadId();
}

} // namespace fus::platform
