#pragma once

#include "fus/FUSEvent.h"
#include "fus/FUSListener.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace fus::test {

/// Keeps a copy of every event that it gets, and waits for them.
///
/// Unregister it before it dies. The time-outs only bound a failing test; nothing sleeps them out.
class RecordingListener : public FUSListener {
public:
    using Events = std::vector<std::shared_ptr<const FUSEvent>>;
    using Predicate = std::function<bool(const Events&)>;
    using Action = std::function<void(FUSEvent&)>;

    static constexpr std::chrono::milliseconds PATIENCE{10000};

    /// `action` runs for every event after it was recorded, on the delivering thread, and may
    /// throw.
    explicit RecordingListener(Action action = nullptr);

    void handleEvent(FUSEvent* event) override;

    bool waitForCount(std::size_t count, std::chrono::milliseconds timeout = PATIENCE);
    /// Waits until `count` events of this type are there.
    bool waitForType(FUSEvent::EventType type, std::size_t count = 1,
                     std::chrono::milliseconds timeout = PATIENCE);
    bool waitFor(const Predicate& predicate, std::chrono::milliseconds timeout = PATIENCE);

    Events events() const;
    std::vector<FUSEvent::EventType> types() const;
    void clear();

    /// All events of one class, in order.
    template <typename T>
    std::vector<std::shared_ptr<const T>> all() const {
        std::vector<std::shared_ptr<const T>> found;
        for (const auto& event : events()) {
            if (auto match = std::dynamic_pointer_cast<const T>(event)) {
                found.push_back(std::move(match));
            }
        }
        return found;
    }

private:
    const Action m_action;
    mutable std::mutex m_mutex;
    std::condition_variable m_arrived;
    Events m_events; // guarded by m_mutex
};

} // namespace fus::test
