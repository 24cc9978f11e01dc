#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace fus::test {

/// A fact that threads wait for: it opens once and stays open. Copies are the same latch, so that a
/// thread which still waits when the test is over doesn't stand on nothing.
class Latch {
public:
    void open() const {
        const std::lock_guard<std::mutex> lock(m_state->mutex);
        m_state->open = true;
        m_state->changed.notify_all();
    }

    bool isOpen() const { return wait(std::chrono::milliseconds(0)); }

    /// False when it didn't open in time. The default is a time in which anything that is going to
    /// happen has happened, on a slow machine under a sanitizer too.
    bool wait(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const {
        std::unique_lock<std::mutex> lock(m_state->mutex);
        // until a point of the system clock: the thread sanitizer doesn't know the other wait
        return m_state->changed.wait_until(lock, std::chrono::system_clock::now() + timeout,
                                           [this] { return m_state->open; });
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        // guarded by mutex
        bool open = false;
    };

    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace fus::test
