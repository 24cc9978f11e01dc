#pragma once

#include "fus/LowLevelMechanics.h"
#include "fus/P_MProtocol.h"
#include "fus/P_MechanicalActuatorData.h"
#include "fus/P_MotionStarts.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Thread.h"
#include "fus/P_Upcalls.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

namespace fus {

class Config;
class ConfigSection;
class Connection;
class FUSException;
class MechanicalOriginThread;
struct DefinitionKey;
struct DefinitionReview;

/// The address of the one board.
constexpr unsigned MOT_ADDRESS = 0;
/// The first number of the oldest firmware that takes a configuration.
constexpr unsigned OLDEST_MOT_FIRMWARE = 3;

/// What goes to the board, or comes from it.
inline NetPacket littleEndianPacket(unsigned size) {
    NetPacket packet(size);
    packet.setByteOrder(NetPacket::LITTLE);
    return packet;
}

/// The actuators and the order in which they are configured and searched. Constant once loaded, but
/// for the origins, which are atomic. Shared: an operation that is under way keeps its definition
/// when another one takes its place.
struct MechanicalDefinition {
    /// False, after a log line, if the head of the file isn't that of a definition.
    static bool checkFile(const Config& config, DefinitionReview* review);
    /// Takes the axes and their order. False, after a log line, if one of them isn't good. With a
    /// review, all of them are read, and the review is told.
    bool read(const Config& config, DefinitionReview* review);
    /// Reads a tree as a load does, to its end whatever is wrong with it, and tells the review all
    /// of that. False where a load would refuse it.
    static bool review(const Config& config, DefinitionReview& review);
    /// What a definition may hold.
    static std::vector<DefinitionKey> keys();

    /// `ERR_INDEX` for an index that isn't one.
    const MechanicalActuator& at(unsigned index) const;
    /// The same for what a search needs and finds.
    OriginParams& originParams(unsigned index) const;
    /// The same; null for an index that isn't one. Out of secure mode the board is asked all the
    /// same.
    OriginParams* findOriginParams(unsigned index) const;
    void clearOrigins() const;

    std::vector<std::unique_ptr<MechanicalActuator>> actuators;
    std::vector<unsigned> initOrder; ///< indexes of `actuators`

private:
    bool readActuator(unsigned axis, const ConfigSection& section, DefinitionReview* review);
    void reviewAxes(DefinitionReview& review) const;
};

/// What was so when an operation began. It keeps its connection and its definition for its whole
/// length, so that it never goes on with those of somebody else. What moves is sent only while all
/// of this is still so, and what the board has told is kept only for the same link and definition.
struct OperationMark {
    std::shared_ptr<Connection> connection; ///< null: there was none
    std::shared_ptr<const MechanicalDefinition> definition;
    unsigned stops;
};

/// A search of one axis.
struct OriginRequest {
    unsigned actuator;
    unsigned timeout; ///< [ms]
    std::uint8_t firstDAC;
    std::uint8_t maxDAC;
    std::uint8_t stepDAC;
    bool park;
};

/// The state of the mechanical system and all that is done with it.
class LowLevelMechanicsPrivate {
public:
    explicit LowLevelMechanicsPrivate(Upcalls& upcalls);
    /// Ends the searches, and waits for their threads. Nobody else calls any more.
    ~LowLevelMechanicsPrivate();

    // definition
    bool loadDefinition(const char* filename);
    bool loadDefinitionString(const char* text);
    void clearDefinition();
    std::shared_ptr<const MechanicalDefinition> definition() const;
    void setSecureMode(bool on);
    void cleanOnDisconnect(bool linkAlive);
    void leaveConnection(bool linkAlive);

    // configuration
    bool sendConfig(bool force);
    std::vector<LowLevelMechanics::ConfigDifference> readConfigDifferences();
    unsigned maxActuatorCount() const;
    unsigned maxDisplacementSize() const;

    // parameters
    unsigned readIntParameter(unsigned actuator, mprotocol::MechParam param);
    float readFloatParameter(unsigned actuator, mprotocol::MechParam param);
    void setIntParameter(unsigned actuator, mprotocol::MechParam param, unsigned value);
    void setFloatParameter(unsigned actuator, mprotocol::MechParam param, float value);
    void clearOrigin(unsigned actuator);
    void clearAllOrigins();
    unsigned getLastAsyncError(unsigned actuator);

    // origins
    void findOrigin(const OriginRequest& request);
    void findAllOrigins(bool force);
    /// The work of the thread: all axes of its definition, then the event.
    void runSearch(MechanicalOriginThread& thread);

    // displacements
    void clearDisplacement();
    void sendDisplacement(const MechanicalDisplacement& displacement);
    unsigned executeDisplacement(unsigned execCount, unsigned execDelay, unsigned timeout);
    unsigned prepareDisplacement(unsigned execCount, unsigned execDelay);

    // moves
    unsigned moveActuatorTo(unsigned actuator, int position, unsigned duration);
    unsigned moveTo(const MechanicalDisplacement& displacement);
    unsigned rawMoveSomeTime(unsigned actuator, unsigned duration, unsigned dac);
    unsigned rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac, unsigned timeout);
    void stop();
    void motionEnded(std::unique_ptr<MechMotionEvent> event);

    // diagnosis
    MechanicalStatus readStatus();
    HardwareCode getIndirectErrorAndLog();
    unsigned readAbsoluteActuatorPosition(unsigned actuator);
    int readActuatorPosition(unsigned actuator);
    void logHistory(unsigned actuator);
    void logAllHistory();

private:
    friend class LowLevelMechanics;

    enum class SearchEnd { NONE, STOPPED, LINK_LOST };

    // definition
    bool loadFromStream(std::istream& stream);
    void setDefinition(std::shared_ptr<const MechanicalDefinition> definition, bool loaded);
    void forgetBoard();
    void leaveLink(bool linkAlive);

    // operations
    OperationMark beginOperation() const;
    SearchEnd endOf(const OperationMark& op) const;
    bool isDisconnected(const OperationMark& op) const;
    /// Its link and its definition are still there.
    bool isCurrent(const OperationMark& op) const;
    void requireRunning(const OperationMark& op) const;
    /// Keeps what an operation has found out, unless its link or its definition is gone.
    template <class T>
    bool store(const OperationMark& op, std::atomic<T>& fact,
               typename std::atomic<T>::value_type value) {
        const MutexLocker lock(m_mutex);
        const bool current = isCurrent(op);
        if (current) {
            fact = value;
        }
        return current;
    }
    void storeOrigin(const OperationMark& op, unsigned actuator, unsigned origin);

    // the board
    static Connection& linkOf(const OperationMark& op);
    unsigned sendCommand(const OperationMark& op, unsigned time, mprotocol::MechCommand command,
                         const NetPacket& data);
    unsigned sendMotion(const OperationMark& op, unsigned time, mprotocol::MechCommand command,
                        const NetPacket& data);
    unsigned waitAnswer(const OperationMark& op, unsigned id, mprotocol::MechCommand command,
                        NetPacket& data, unsigned timeout);
    void waitEmptyAnswer(const OperationMark& op, unsigned id, mprotocol::MechCommand command,
                         unsigned timeout);
    void sendAndCheck(const OperationMark& op, mprotocol::MechCommand command,
                      const NetPacket& data);
    unsigned startMotion(const OperationMark& op, unsigned time, mprotocol::MechCommand command,
                         const NetPacket& data, unsigned execCount);
    /// A time, `factor` times as long if the generator is a simulated one.
    static unsigned simulatorTime(const OperationMark& op, unsigned time, unsigned factor);

    // parameters
    void checkParameter(const OperationMark& op, unsigned actuator,
                        mprotocol::MechParam param) const;
    NetPacket readParameter(const OperationMark& op, unsigned actuator, mprotocol::MechParam param);
    unsigned readInt(const OperationMark& op, unsigned actuator, mprotocol::MechParam param);
    float readFloat(const OperationMark& op, unsigned actuator, mprotocol::MechParam param);
    void writeParameter(const OperationMark& op, unsigned actuator, mprotocol::MechParam param,
                        NetPacket value);
    void writeInt(const OperationMark& op, unsigned actuator, mprotocol::MechParam param,
                  unsigned value);
    void writeFloat(const OperationMark& op, unsigned actuator, mprotocol::MechParam param,
                    float value);
    unsigned readPosition(const OperationMark& op, unsigned actuator);

    // configuration
    bool checkFirmware(const OperationMark& op);
    bool readProtocolVersion(const OperationMark& op);
    bool readCapacities(const OperationMark& op);
    bool configure(const OperationMark& op, bool force);
    template <typename Found>
    void forEachDifference(const OperationMark& op, Found tell);
    bool checkParameters(const OperationMark& op);
    bool sendParameters(const OperationMark& op);
    void requireDefinition(const OperationMark& op) const;

    // states that an operation needs
    void requireConfigSent() const;
    void requireConfigured() const; // or about to be
    void requireOriginsFound() const;
    void requireNoSearch() const;

    // displacements
    void clearBuffer(const OperationMark& op);
    unsigned sendMoves(const OperationMark& op, const MechanicalDisplacement& displacement,
                       unsigned index);
    void checkExecution(unsigned execCount, bool countIsByte) const;
    NetPacket executionPacket(unsigned execCount, unsigned execDelay, unsigned more) const;

    // moves
    void checkMoveTo(const MechanicalDisplacement& displacement) const;
    NetPacket movePacket() const;
    unsigned moveAxis(const OperationMark& op, unsigned actuator, int position, unsigned duration);
    unsigned sendMove(const OperationMark& op, NetPacket& packet, unsigned duration);
    static unsigned motionTime(const OperationMark& op, unsigned duration);
    void haltMotion(bool linkAlive);
    unsigned sendStop(const OperationMark& op, bool linkAlive);

    // diagnosis
    MechanicalStatus askStatus(const OperationMark& op);
    HardwareCode findCause(const OperationMark& op);
    void readHistoryLine(const OperationMark& op, unsigned actuator, unsigned line);
    void readHistory(const OperationMark& op, unsigned actuator);
    void readAllHistory(const OperationMark& op);

    // origins
    mprotocol::MechResult searchAxes(const OperationMark& mark);
    void searchAxis(const OriginRequest& request, const OperationMark& mark);
    void checkSearch(const OriginRequest& request, const OperationMark& mark) const;
    void runAxisSearch(const OriginRequest& request, const OperationMark& mark);
    unsigned startAxisSearch(const OriginRequest& request, const OperationMark& mark);
    void takeOrigin(unsigned actuator, const OperationMark& mark);
    void logDACUsed(unsigned actuator, const OperationMark& mark);
    [[noreturn]] void failAxisSearch(const FUSException& error, unsigned actuator,
                                     const OperationMark& mark);
    void parkActuator(unsigned actuator, const OperationMark& mark);
    void pauseSearch(unsigned ms, const OperationMark& mark);
    bool surveyOrigins(const OperationMark& mark);
    void parkAll(const OperationMark& mark);
    void startSearchThread(const OperationMark& mark);
    void endSearch(bool linkAlive);
    mprotocol::MechResult endResult(const OperationMark& mark, mprotocol::MechResult ifNone) const;
    mprotocol::MechResult resultOf(const FUSException& error, const OperationMark& mark) const;
    void reportSearch(MechanicalOriginThread& thread);
    void freePlace(MechanicalOriginThread& thread) noexcept;

    // constant after construction
    Upcalls& m_upcalls;

    // has a mutex of its own
    MotionStarts m_starts;

    // atomic
    std::atomic<bool> m_secureMode{true};
    std::atomic<bool> m_definitionLoaded{false};
    std::atomic<bool> m_configuring{false};
    std::atomic<bool> m_configSent{false};
    std::atomic<bool> m_allOriginsFound{false};
    std::atomic<std::uint32_t> m_protocolVersion{0};
    std::atomic<std::uint32_t> m_maxActuators{0};
    std::atomic<std::uint32_t> m_maxDisplacementSize{0};
    std::atomic<std::uint32_t> m_logSize{0};
    std::atomic<std::uint32_t> m_displacementDuration{0}; // [ms], 0: the board's buffer is empty

    // Guarded by m_mutex. Its rules:
    // - Whatever starts a motion is sent with it held, behind a look at the operation's mark
    //   (`sendMotion`); a stop is counted and sent with it held. So a stop either is seen by a
    //   start, which then isn't sent, or sends its own command behind the start's. A new search,
    //   too, can't begin between the count and the command, and be ended by a stop that was there
    //   before it.
    // - What is read from the board is stored with it held, if the mark's link and definition are
    //   still there, and they are taken away with it held: nothing comes back behind `forgetBoard`.
    // - No answer is awaited with it held, and no thread joined, but for one case: when a send
    //   fails, the connection is closed in that very call, which waits for the reader. So the
    //   reader never takes it (what it needs is behind MotionStarts' own mutex), and whoever holds
    //   a lock that the reader takes must not wait for this one.
    // - A pause waits on m_stopped, which lets go of one level: never begin one with it held.
    mutable Mutex m_mutex;
    std::shared_ptr<const MechanicalDefinition> m_definition;
    MechanicalOriginThread* m_originThread = nullptr; // the search that is running
    // All threads that were not freed yet; see MechanicalOriginThread.
    std::vector<std::unique_ptr<MechanicalOriginThread>> m_searches;
    // Counted, not flagged: what stops one search must not be missed because the next one begins.
    // By the application; a disconnect is one, too.
    unsigned m_stops = 0;
    // Its end has begun, though it still sends: the stop that ends its motions is the last.
    std::weak_ptr<Connection> m_closedLink;
    Condition m_stopped; // bound to m_mutex; one of these has changed
};

} // namespace fus
