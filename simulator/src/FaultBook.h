// The faults that are set, and what they do to a packet. Any thread.
#pragma once

#include "Packet.h"
#include "StopReasons.h"

#include "fussim/Fault.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <vector>

namespace fus {
namespace simulator {

// What is under way when a fault may strike.
struct Occasion {
    unsigned command = 0; // type of the command that came, or that is answered; 0 for results
    unsigned packet = 0;  // type of what is sent
    unsigned hwid = 0;    // of the board that is asked or answers, and its command
    unsigned address = 0;
    unsigned boardCommand = 0;
    std::uint32_t backPanelCommand = 0;

    static Occasion of(unsigned command, const Bytes& payload);
    static Occasion of(unsigned command, const Packet& packet);
};

class FaultBook {
public:
    void add(const Fault& fault);
    void clear();
    // Quick: nothing else need be asked while it is false.
    bool any() const { return m_any.load(std::memory_order_relaxed); }

    // The refusal with which this command is to be answered, if any.
    std::optional<Fault> refusal(const Occasion& occasion);
    struct Verdict {
        bool missing = false;
        unsigned lateMs = 0;
        std::optional<std::uint32_t> cutAt; // byte of an answer behind which the link is to be cut
    };
    // Changes a packet before it is sent. `command` is the type of the command that it answers, 0
    // for results.
    Verdict distort(unsigned command, Packet& packet);

    bool has(FaultKind kind) const;
    // Byte at which the link is to be closed.
    std::optional<std::uint32_t> closeAt() const;
    // Null: go on.
    const StopReason* stopAt(std::uint32_t execution, std::uint32_t shot) const;
    std::optional<std::string> shotErrorAt(std::uint32_t execution, std::uint32_t shot) const;
    std::optional<Fault> at(FaultKind kind, std::uint32_t execution, std::uint32_t shot) const;
    // Whether it is struck, and how; the measure goes by its name and its index.
    std::optional<Fault> reading(unsigned hwid, unsigned address, const std::string& name,
                                 unsigned index) const;
    // Bits that are set in a board's status.
    std::uint32_t boardStatus(unsigned hwid, unsigned address) const;
    std::optional<Fault> onAxis(FaultKind kind, unsigned axis) const;
    // Of those that strike a command of the mechanical board and count; `packet` is the type of the
    // packet that they strike, if they do.
    std::optional<Fault> onMechanics(FaultKind kind, unsigned command, unsigned packet = 0);

private:
    struct Entry {
        Fault fault;
        unsigned seen = 0;
    };
    static bool strikes(Entry& entry, const Occasion& occasion);
    static bool isOnBoard(const Fault& fault, unsigned hwid, unsigned address);
    const Fault* find(FaultKind kind) const;

    std::atomic<bool> m_any{false};
    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::vector<Entry> m_entries;
};

} // namespace simulator
} // namespace fus
