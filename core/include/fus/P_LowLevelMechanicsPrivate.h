#pragma once

#include "fus/LowLevelMechanics.h"
#include "fus/P_MProtocol.h"
#include "fus/P_MechanicalActuatorData.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Thread.h"
#include "fus/P_Upcalls.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

namespace fus {

class ConfigSection;
class FUSException;
class MechanicalOriginThread;

/// The address of the one board.
constexpr unsigned MOT_ADDRESS = 0;

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
    /// `ERR_INDEX` for an index that isn't one.
    const MechanicalActuator& at(unsigned index) const;
    /// The same for what a search needs and finds.
    OriginParams& originParams(unsigned index) const;
    void clearOrigins() const;

    std::vector<std::unique_ptr<MechanicalActuator>> actuators;
    std::vector<unsigned> initOrder; ///< indexes of `actuators`
};

/// What was so when a search began. It ends when something of this has changed.
struct SearchMark {
    std::shared_ptr<const MechanicalDefinition> definition;
    unsigned stops;
    unsigned disconnects;
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

    // configuration
    bool sendConfig(bool force);
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
    bool readDefinition(std::istream& stream, MechanicalDefinition& definition);
    static bool readActuators(const ConfigSection& root, MechanicalDefinition& definition);
    void setDefinition(std::shared_ptr<const MechanicalDefinition> definition);
    void forgetBoard();

    // the board
    unsigned sendCommand(unsigned time, mprotocol::MechCommand command, const NetPacket& data);
    unsigned waitAnswer(unsigned id, mprotocol::MechCommand command, NetPacket& data,
                        unsigned timeout);
    void waitEmptyAnswer(unsigned id, mprotocol::MechCommand command, unsigned timeout);
    unsigned sendAndCheck(mprotocol::MechCommand command, const NetPacket& data);
    unsigned startMotion(unsigned time, mprotocol::MechCommand command, const NetPacket& data,
                         unsigned execCount);
    /// A time, `factor` times as long if the generator is a simulated one.
    unsigned simulatorTime(unsigned time, unsigned factor);

    // parameters
    void checkParameter(unsigned actuator, mprotocol::MechParam param) const;
    NetPacket readParameter(unsigned actuator, mprotocol::MechParam param);
    void writeParameter(unsigned actuator, mprotocol::MechParam param, NetPacket value);

    // configuration
    bool checkFirmware();
    bool readProtocolVersion();
    bool readCapacities(const MechanicalDefinition& definition);
    bool configure(const MechanicalDefinition& definition, bool force);
    bool checkParameters(const MechanicalDefinition& definition);
    bool sendParameters(const MechanicalDefinition& definition);

    // states that an operation needs
    void requireConfigSent() const;
    void requireConfigured() const; // or about to be
    void requireOriginsFound() const;
    void requireNoSearch() const;

    // displacements
    unsigned sendMoves(const MechanicalDisplacement& displacement, unsigned index,
                       const MechanicalActuator& actuator);
    void checkExecution(unsigned execCount, bool countIsByte) const;
    NetPacket executionPacket(unsigned execCount, unsigned execDelay, unsigned more) const;

    // moves
    void checkMoveTo(const MechanicalDisplacement& displacement) const;
    NetPacket movePacket() const;
    unsigned sendMove(NetPacket& packet, unsigned duration);
    unsigned motionTime(unsigned duration);
    void haltMotion(bool linkAlive);
    unsigned sendStop();
    void readHistoryLine(unsigned actuator, unsigned line);

    // origins
    SearchMark searchMark() const;
    SearchEnd endOf(const SearchMark& mark) const;
    bool isDisconnected(const SearchMark& mark) const;
    void requireRunning(const SearchMark& mark) const;
    mprotocol::MechResult searchAxes(const SearchMark& mark);
    void searchAxis(const OriginRequest& request, const SearchMark& mark);
    void checkSearch(const OriginRequest& request, const SearchMark& mark) const;
    void runAxisSearch(const OriginRequest& request, const SearchMark& mark);
    unsigned startAxisSearch(const OriginRequest& request, const SearchMark& mark);
    void takeOrigin(unsigned actuator, const MechanicalDefinition& definition);
    void logDACUsed(unsigned actuator);
    [[noreturn]] void failAxisSearch(const FUSException& error, unsigned actuator,
                                     const SearchMark& mark);
    void parkActuator(unsigned actuator, const SearchMark& mark);
    void pauseSearch(unsigned ms, const SearchMark& mark);
    bool surveyOrigins(const MechanicalDefinition& definition);
    void parkAll(const SearchMark& mark);
    void startSearchThread(const SearchMark& mark);
    void endSearch(bool linkAlive);
    void wakeSearch();
    mprotocol::MechResult endResult(const SearchMark& mark, mprotocol::MechResult ifNone) const;
    void reportSearch(MechanicalOriginThread& thread);

    // constant after construction
    Upcalls& m_upcalls;

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

    // Guarded by m_mutex. A start of a search holds it while it sends, so that a stop either comes
    // before, and is seen, or sends its own command behind.
    mutable Mutex m_mutex;
    std::shared_ptr<const MechanicalDefinition> m_definition;
    MechanicalOriginThread* m_originThread = nullptr; // the search that is running
    MechanicalOriginThread* m_lastSearch = nullptr;   // the latest, also when it was told to stop
    // All threads that were not freed yet; see MechanicalOriginThread.
    std::vector<std::unique_ptr<MechanicalOriginThread>> m_searches;
    // Counted, not flagged: what stops one search must not be missed because the next one begins.
    unsigned m_stops = 0;       // by the application; a disconnect is one, too
    unsigned m_disconnects = 0; // of any kind
    Condition m_stopped;        // bound to m_mutex; one of these has changed
};

} // namespace fus
