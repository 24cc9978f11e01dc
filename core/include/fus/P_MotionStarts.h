#pragma once

#include "fus/P_Thread.h"

#include <memory>
#include <vector>

namespace fus {

class FUSEvent;
class MechMotionEvent;
class Upcalls;

/// Puts the end of a motion behind its start. The board may have moved, and the reader have the
/// result, before the thread that has sent the command has read its answer and told the start. The
/// result is then laid aside, and that thread tells it, too. So nobody waits for anybody, the
/// reader least of all: the answer may come behind the result.
///
/// The mutex is held for these few steps and for queueing events, never over a send or a wait.
class MotionStarts {
public:
    /// One start, from before its send to its report, or to the destructor if it fails.
    class Entry {
    public:
        explicit Entry(MotionStarts& starts);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        /// The command is sent. Before, any result may be that of this start.
        void setId(unsigned id);
        /// Queues the event of the start, and takes ownership of it.
        void report(FUSEvent* event);

    private:
        friend class MotionStarts;

        void end();

        // constant after construction
        MotionStarts& m_starts;

        // guarded by the mutex of m_starts
        unsigned m_id = 0; // 0: not known yet
    };

    explicit MotionStarts(Upcalls& upcalls);
    ~MotionStarts();

    /// Queues the event, now or behind the start that it belongs to. Runs on the reader thread.
    void motionEnded(std::unique_ptr<MechMotionEvent> event);

private:
    bool isAwaited(const MechMotionEvent& event) const;
    void release();

    // constant after construction
    Upcalls& m_upcalls;

    Mutex m_mutex;
    // guarded by m_mutex
    std::vector<Entry*> m_entries;
    std::vector<std::unique_ptr<MechMotionEvent>> m_kept;
};

} // namespace fus
