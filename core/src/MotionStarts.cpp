#include "fus/P_MotionStarts.h"

#include "fus/FUSEvent.h"
#include "fus/P_Upcalls.h"

#include <algorithm>
#include <utility>

namespace fus {

MotionStarts::Entry::Entry(MotionStarts& starts) : m_starts(starts) {
    const MutexLocker lock(m_starts.m_mutex);
    m_starts.m_entries.push_back(this);
}

MotionStarts::Entry::~Entry() {
    const MutexLocker lock(m_starts.m_mutex);
    end();
}

void MotionStarts::Entry::setId(unsigned id) {
    const MutexLocker lock(m_starts.m_mutex);
    m_id = id;
    m_starts.release();
}

void MotionStarts::Entry::report(FUSEvent* event) {
    const MutexLocker lock(m_starts.m_mutex);
    m_starts.m_upcalls.notifyListeners(event);
    end();
}

void MotionStarts::Entry::end() {
    auto& entries = m_starts.m_entries;
    entries.erase(std::remove(entries.begin(), entries.end(), this), entries.end());
    m_starts.release();
}

MotionStarts::MotionStarts(Upcalls& upcalls) : m_upcalls(upcalls) {}

MotionStarts::~MotionStarts() = default;

void MotionStarts::motionEnded(std::unique_ptr<MechMotionEvent> event) {
    const MutexLocker lock(m_mutex);
    m_kept.push_back(std::move(event));
    release();
}

bool MotionStarts::isAwaited(const MechMotionEvent& event) const {
    return std::any_of(m_entries.begin(), m_entries.end(), [&event](const Entry* entry) {
        return entry->m_id == 0 || entry->m_id == event.execID();
    });
}

// In the order in which they came.
void MotionStarts::release() {
    for (auto& event : m_kept) {
        if (!isAwaited(*event)) {
            m_upcalls.notifyListeners(event.release());
        }
    }
    m_kept.erase(std::remove(m_kept.begin(), m_kept.end(), nullptr), m_kept.end());
}

} // namespace fus
