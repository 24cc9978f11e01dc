// The mechanical board: what it answers, what moves, and what it remembers. One thread of its own
// ends motions and sends what comes after the first answer.
#pragma once

#include "Bytes.h"
#include "FaultBook.h"
#include "MotAxis.h"
#include "MotMotion.h"
#include "Outlet.h"
#include "Packet.h"
#include "StopReasons.h"

#include "fussim/Description.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace fus {
namespace simulator {

struct MotRequest {
    std::uint32_t time = 0; // [milliseconds] that the generator gives the board; 0: no limit
    unsigned command = 0;
    Bytes data;
};

// A motion starts when its command's answer was given to the client, not before: the answer is on
// its way when the result comes. Any thread may call any member.
class MotBoard {
public:
    MotBoard(const Description& description, FaultBook& faults, double timeScale);
    ~MotBoard();
    MotBoard(const MotBoard&) = delete;
    MotBoard& operator=(const MotBoard&) = delete;

    // --- for the client's session ---
    // The data of the answer. Throws a Refusal.
    Bytes carryOut(const MotRequest& request);
    // The answer to what was carried out last is away, or won't come. The second one goes the same
    // way, under the same id.
    void release(const std::shared_ptr<Outlet>& outlet, std::uint32_t id);
    // Stops whatever moves.
    void clientGone();
    // It knows nothing any more but what it was told at the start. What moves stands still.
    void reboot();
    // The faults have changed.
    void suffer();

    // --- for the generator's execution ---
    bool isPrepared() const;
    // Starts the prepared displacement. The function is called when it ends before its time.
    void trigger(const std::function<void(const StopReason&)>& onFailure);
    // True until it is over.
    bool isDriven() const;
    void stopDriven();

    // --- for tests ---
    MechanicsState state() const;
    // Throw std::out_of_range.
    std::uint32_t parameter(unsigned axis, unsigned id) const;
    void setParameter(unsigned axis, unsigned id, std::uint32_t raw);
    bool waitForMotion(bool moving, unsigned timeoutMs) const;

private:
    using Clock = std::chrono::steady_clock;
    struct Row;

    // Where second answers go.
    struct Route {
        std::shared_ptr<Outlet> outlet;
        std::uint32_t id = 0;
        unsigned command = 0;
        double timeout = MOT_FOREVER; // when the generator gives up
    };
    // What the last command has left to do when its answer is away.
    struct Accepted {
        unsigned command = 0;
        std::uint32_t time = 0;
        std::optional<MotMotion> motion{};
        std::optional<Refusal> refusal{}; // of what has no motion
        bool stops = false;               // what moves
        bool isStruck = false;            // by a fault that came meanwhile
    };
    struct Outgoing {
        Clock::time_point due;
        std::shared_ptr<Outlet> outlet;
        Bytes data;
    };
    struct Prepared {
        std::uint32_t count;
        std::uint32_t delay;
    };

    static const Row* findRow(unsigned command);

    // --- commands; with m_mutex held ---
    Bytes readParameter(const MotRequest& request);
    Bytes writeParameter(const MotRequest& request);
    Bytes readStatus(const MotRequest& request);
    Bytes readLog(const MotRequest& request);
    Bytes stop(const MotRequest& request);
    Bytes moveDuration(const MotRequest& request);
    Bytes moveSteps(const MotRequest& request);
    Bytes moveTo(const MotRequest& request);
    Bytes search(const MotRequest& request);
    Bytes resetDisplacement(const MotRequest& request);
    Bytes sendDisplacement(const MotRequest& request);
    Bytes executeDisplacement(const MotRequest& request);
    Bytes prepareDisplacement(const MotRequest& request);
    MotAxis& axisAt(unsigned index);
    const mprotocol::MechParamRow& parameterAt(unsigned index, unsigned id);
    std::uint32_t valueNow(const MotAxis& axis, unsigned id) const;
    void needRest() const;
    Prepared readRepetition(ByteReader& reader) const;
    std::vector<MechanicalMove> readMoves(ByteReader& reader, unsigned& axis);
    void accept(const MotRequest& request, MotMotion motion);
    MotPlanner planner() const { return {m_board, m_axes, m_faults}; }

    // --- motions; with m_mutex held ---
    void start(MotMotion motion);
    bool halt(unsigned error);
    void haltByUser();
    void sufferAll();
    void finish();
    void giveUp();
    bool moves() const;
    double positionOf(const MotAxis& axis) const;
    void note(const MotMotion& motion, const std::string& text);
    void answer(const Route& route, unsigned result, const Bytes& data);
    void answerError(const Route& route, const Refusal& refusal);
    void answerMotion(const MotMotion& motion);

    // --- time ---
    double now() const;
    Clock::time_point realTime(double simulated) const;
    bool isDue(double simulated) const;
    double nextEvent() const;
    void run();
    bool advance();
    bool sendDue(std::unique_lock<std::mutex>& lock);
    void waitForNext(std::unique_lock<std::mutex>& lock);

    // constant after construction
    const MechanicsDescription& m_board;
    FaultBook& m_faults;
    const double m_timeScale;
    const Clock::time_point m_epoch;

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    mutable std::condition_variable m_changed;
    std::vector<MotAxis> m_axes;
    MovesByAxis m_displacement;
    std::optional<Prepared> m_prepared;
    std::optional<Accepted> m_accepted;
    std::optional<MotMotion> m_motion;
    Route m_route; // of the motion
    std::function<void(const StopReason&)> m_onFailure;
    std::vector<Outgoing> m_outgoing;
    std::vector<MotionRecord> m_motions;
    std::uint32_t m_status = 0;
    double m_virtualNow = 0; // where time isn't real
    bool m_quit = false;

    std::thread m_thread;
};

} // namespace simulator
} // namespace fus
