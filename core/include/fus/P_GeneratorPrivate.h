#pragma once

#include "fus/ExecResult.h"
#include "fus/Generator.h"
#include "fus/P_Connection.h"
#include "fus/P_GeneratorSettingsTables.h"
#include "fus/P_PrivateMeasure.h"
#include "fus/P_Thread.h"
#include "fus/P_Upcalls.h"
#include "fus/P_WatchdogCheckListener.h"
#include "fus/TrajectoryBufferInfo.h"
#include "fus/Version.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace fus {

/// How the measures of a shot result lie in its packet. Gathered once per connection, so that a
/// result is decoded without a walk over boards.
struct MeasureLayout {
    MeasureLayout() = default;
    explicit MeasureLayout(const GeneratorConfig& config);

    unsigned channels = 0;
    unsigned boards = 0; // active amplifiers
    // Bytes per channel, and per board, as the generator's counts say.
    unsigned channelBytes = 0;
    unsigned boardBytes = 0;
    // Bytes of each measure, by the list of the first active amplifier.
    std::vector<unsigned> channelSizes;
    std::vector<unsigned> boardSizes;
    // What converts the board measures, by the same list.
    std::vector<Polynomial> boardPolynomials;
    // What a definition is compared with.
    Version amplifierVersion;
    unsigned channelMeasures = 0;
};

/// What is known for as long as one connection lasts. Constant after construction, but for the
/// contents of the records.
class GeneratorSession {
public:
    /// Before the first connection: no buffers, no measures.
    GeneratorSession() = default;
    explicit GeneratorSession(const GeneratorConfig& config);

    const MeasureLayout& layout() const { return m_layout; }
    /// ERR_INDEX for a buffer that doesn't exist.
    TrajectoryBufferInfo& record(unsigned buffer) const;
    /// The first record with this execution id, or null.
    TrajectoryBufferInfo* findExecution(unsigned executionID) const;

private:
    MeasureLayout m_layout;
    std::vector<std::unique_ptr<TrajectoryBufferInfo>> m_records;
};

/// An asynchronous packet whose head has been read and checked; its body is still in the packet.
struct AsyncResult {
    unsigned id;       // of the execution
    unsigned channels; // that the measures are of
    unsigned duration; // real shooting time [us]
    unsigned shot;     // index in the trajectory
    int gap;           // to the requested duration + delay [us]
    unsigned remain;   // executions still to come
    unsigned char generatorError;
    unsigned char amplifierError;
    unsigned char type;
    unsigned total = 0;     // executions that were asked for
    unsigned execIndex = 0; // which of them this is
    bool withBoards = false;
    bool withMechanics = false;

    AsyncResult(unsigned executionID, NetPacket& packet);
    /// Takes what the start of the execution recorded. Throws ERR_PACKET for a shot index or a
    /// number of remaining executions that can't be.
    void complete(const TrajectoryBufferInfo& record);
};

/// The status that a V3 generator's code stands for; `hwid` is the board that reports it. An
/// unknown code is logged, and is EXEC_STOP_INTERNAL_ERROR.
ExecResult::Status statusFromCode(unsigned rawCode, unsigned hwid);
/// The same for a V2 generator; its code for success depends on the executions that remain.
ExecResult::Status statusFromTextCode(int code, unsigned remain);

/// The starts whose execution id is given out while their thread has yet to take the results mutex.
/// A result that is here so soon has to wait for it: before, nobody can tell whose result it is.
/// The mutex can't be taken ahead of the send, as a write that fails disconnects, and that waits
/// for the reader.
class StartsUnderWay {
public:
    /// One start, from before its send until `end` or the destructor. The connection that it goes
    /// by must outlive it.
    class Entry {
    public:
        Entry(StartsUnderWay& starts, unsigned id, const Connection& connection);
        ~Entry() { end(); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        void end();

    private:
        friend class StartsUnderWay;

        // constant after construction
        StartsUnderWay& m_starts;
        const unsigned m_id;
        const Connection& m_connection;
    };

    StartsUnderWay() : m_ended(&m_mutex) {}

    /// Blocks while the start of this execution is under way and its connection open. The reader
    /// waits here: no longer than a step once the connection is closed or dead, since whoever
    /// closes it waits for the reader.
    void waitFor(unsigned id);

private:
    bool contains(unsigned id) const;

    // guarded by m_mutex, which is held for nothing that blocks
    Mutex m_mutex;
    Condition m_ended;
    std::vector<const Entry*> m_entries;
};

class Generator::Private {
public:
    explicit Private(Upcalls& calls);

    unsigned count(unsigned index) const;
    unsigned timing(unsigned index) const;

    std::shared_ptr<const GeneratorSession> session() const;
    void setSession(std::shared_ptr<const GeneratorSession> session);
    /// The connection is gone; what is known of it stays until the next one.
    void endSession();

    /// The open connection; ERR_PROTOCOL in secure mode before protocol 3.0.
    std::shared_ptr<Connection> connectionSinceV3() const;
    unsigned readSetting(Setting setting) const;
    void writeSetting(Setting setting, unsigned value) const;
    void readAmplifiers(const AmplifierQuantity& quantity, FloatArray& values, bool isMax) const;
    void setMaxAmplifiers(const AmplifierQuantity& quantity, const FloatArray& values) const;

    /// What converts a shot result, as of one moment.
    struct Conversion {
        std::shared_ptr<const GeneratorSession> session;
        std::shared_ptr<const GeneratorDefinition> definition;
        bool enabled;
    };
    Conversion conversion() const;
    /// Puts a definition, good or bad, in the place of the one before; true if it is good.
    bool takeDefinition(std::shared_ptr<const GeneratorDefinition> definition);
    void clearDefinition();
    static bool convertChannels(ShotResult& result, const GeneratorDefinition& definition);
    static bool convertBoards(ShotResult& result, const MeasureLayout& layout);

    void handleShotResult(const AsyncResult& result, const MeasureLayout& layout,
                          NetPacket& packet);
    void handleShotError(const AsyncResult& result, NetPacket& packet);
    void handleTextResult(const AsyncResult& result, NetPacket& packet);
    void handleBinaryResult(const AsyncResult& result, NetPacket& packet);

    // constant after construction
    Upcalls& upcalls;

    // atomic
    std::atomic<bool> secure{true};

    // Taken to record an upload: two threads may upload into the same buffer.
    std::mutex recordMutex;

    // Keeps results from overtaking the acknowledgement of their start: held by the start until
    // its event is queued, and by the look-up of the execution that a result belongs to.
    Mutex resultsMutex;

    // locks itself
    StartsUnderWay startsUnderWay;

    // atomic inside
    WatchdogCheckListener watchdogListener;

private:
    void setDefinition(std::shared_ptr<const GeneratorDefinition> definition);

    // guarded by m_sessionMutex, which is held for a copy or a swap only
    mutable std::mutex m_sessionMutex;
    std::shared_ptr<const GeneratorSession> m_session;
    std::shared_ptr<const GeneratorDefinition> m_definition;
    bool m_connected = false; // m_session is that of a connection
    bool m_conversionEnabled = false;
};

} // namespace fus
