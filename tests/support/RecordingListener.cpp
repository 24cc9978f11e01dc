#include "support/RecordingListener.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace fus::test {

namespace {

template <typename T>
bool copyAs(const FUSEvent& event, std::shared_ptr<const FUSEvent>& copy) {
    const auto* typed = dynamic_cast<const T*>(&event);
    if (typed != nullptr) {
        copy = std::make_shared<T>(*typed);
    }
    return typed != nullptr;
}

std::shared_ptr<const FUSEvent> copyOf(const FUSEvent& event) {
    std::shared_ptr<const FUSEvent> copy;
    if (copyAs<ShotEvent>(event, copy) || copyAs<ExecEvent>(event, copy) ||
        copyAs<ExecStartEvent>(event, copy) || copyAs<ConnectEvent>(event, copy) ||
        copyAs<MechMotionEvent>(event, copy) || copyAs<MechOriginEvent>(event, copy)) {
        return copy;
    }
    throw std::logic_error("an event that is not for listeners was delivered");
}

} // namespace

RecordingListener::RecordingListener(Action action) : m_action(std::move(action)) {}

void RecordingListener::handleEvent(FUSEvent* event) {
    auto copy = copyOf(*event);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(std::move(copy));
        m_arrived.notify_all();
    }
    if (m_action) {
        m_action(*event);
    }
}

bool RecordingListener::waitForCount(std::size_t count, std::chrono::milliseconds timeout) {
    return waitFor([count](const Events& events) { return events.size() >= count; }, timeout);
}

bool RecordingListener::waitForType(FUSEvent::EventType type, std::size_t count,
                                    std::chrono::milliseconds timeout) {
    return waitFor(
        [type, count](const Events& events) {
            const auto found = std::count_if(events.begin(), events.end(),
                                             [type](const auto& e) { return e->type() == type; });
            return static_cast<std::size_t>(found) >= count;
        },
        timeout);
}

bool RecordingListener::waitFor(const Predicate& predicate, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_arrived.wait_for(lock, timeout, [&] { return predicate(m_events); });
}

RecordingListener::Events RecordingListener::events() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::vector<FUSEvent::EventType> RecordingListener::types() const {
    std::vector<FUSEvent::EventType> types;
    for (const auto& event : events()) {
        types.push_back(event->type());
    }
    return types;
}

void RecordingListener::clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
}

} // namespace fus::test
