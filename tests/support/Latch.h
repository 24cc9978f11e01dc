#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace fus::test {

/// A fact that threads wait for: it opens once and stays open.
class Latch {
public:
    void open() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

    bool isOpen() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_open;
    }

    /// False when it didn't open in time. The default is a time in which anything that is going to
    /// happen has happened, on a slow machine under a sanitizer too.
    bool wait(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [this] { return m_open; });
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    // guarded by m_mutex
    bool m_open = false;
};

} // namespace fus::test
