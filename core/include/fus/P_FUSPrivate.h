#pragma once

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/LowLevelMechanics.h"
#include "fus/Mechanics.h"
#include "fus/P_EventSender.h"
#include "fus/P_Upcalls.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace fus {

class Connection;
class FloatArray;
class GeneratorConfig;
class GeneratorDefinition;
class Mask1D;

/// Something that is connected, and not what the definition says.
struct ConfigurationMismatch {
    const char* section; ///< of the definition
    const char* key;
    std::string message; ///< of the exception
    std::string details; ///< what the log has behind it
};

std::vector<ConfigurationMismatch> configurationMismatches(const GeneratorConfig& config,
                                                           const GeneratorDefinition& definition);

/// The facade's inside: what it owns, and the calls that come up from the lower floors.
class FUS::Private final : public Upcalls {
public:
    Private();
    ~Private();

    bool connect(const char* host, unsigned short port, unsigned timeoutMs);
    /// The connection, dead or alive, or null.
    std::shared_ptr<Connection> connection() const override;
    /// The event sender, or null after `stopEventSender`.
    std::shared_ptr<EventSender> eventSender() const;
    /// The same, but null only when a stopped one's thread has ended, too.
    std::shared_ptr<EventSender> livingSender() const;
    /// Ends the event sender; waits for a listener that is running, unless that is the caller.
    void stopEventSender();
    /// Lets go of a connection that was not closed.
    void dropConnection();
    /// Ends the event sender without waiting: its thread and what it works with live on.
    void abandonEventSender();
    void clearListeners();

    std::shared_ptr<const GeneratorDefinition> definition() const;
    void checkConfiguration();
    unsigned checkVoltages(const FloatArray& voltages);
    void applyBoardMeasureThresholds();
    void applyClock();
    void setBackPanel(Connection& connection, const Mask1D& snt, const Mask1D& amp,
                      gprotocol::BackPanelStorage target);
    bool applyBackPanel();

    void notifyListeners(FUSEvent* event) override;
    void registerListener(FUSListener* listener) override;
    unsigned unregisterListener(FUSListener* listener) override;
    void disconnectSocket(int reason) override;
    void handleAsyncAnswer(unsigned id, unsigned short type, NetPacket& packet) override;
    void motionEnded(std::unique_ptr<MechMotionEvent> event) override;
    std::shared_ptr<Connection> getConnection() override;
    bool isConnected() const override;
    Generator& generator() override { return m_generator; }
    LowLevelMechanics& lowLevelMechanics() { return m_lowLevelMechanics; }
    Mechanics& mechanics() { return m_mechanics; }

private:
    bool usesNewProtocol();
    static bool hasBackPanel(Connection& connection, const GeneratorDefinition& definition,
                             gprotocol::BackPanelStorage source);
    void applyDefinition(const Connection& connection);
    void closeConnection(const std::shared_ptr<Connection>& connection, int reason);
    void closeIfDead(const Connection& connection);
    void autoClose(int reason);
    void waitForDisconnect();

    // held for a whole connect, so that two threads don't connect at once
    std::mutex m_connectMutex;

    // guarded by m_linkMutex, which is held for a copy or a swap only
    mutable std::mutex m_linkMutex;
    std::condition_variable m_disconnected; // bound to m_linkMutex
    std::shared_ptr<Connection> m_connection;
    std::shared_ptr<EventSender> m_eventSender;
    std::shared_ptr<EventSender> m_endingSender; // stopped; its thread may still be at work
    bool m_disconnecting = false;

    Generator m_generator;
    LowLevelMechanics m_lowLevelMechanics;
    Mechanics m_mechanics;
};

} // namespace fus
