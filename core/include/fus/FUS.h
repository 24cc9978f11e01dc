#pragma once

#include "fus/Board.h"
#include "fus/BoardInfo.h"
#include "fus/Export.h"
#include "fus/GProtocol.h"
#include "fus/Message.h"
#include "fus/Version.h"

#include <memory>

namespace fus {

class FloatArray;
class FUSListener;
class Generator;
class LowLevelMechanics;
class Mask1D;
class Mechanics;

/// The one object through which an application reaches the hardware: a process-wide singleton that
/// owns the `Generator`, the connection, and the thread that delivers events to listeners.
///
/// Every operation may be called from any thread, listeners included.
class FUS_API FUS {
public:
    FUS(const FUS&) = delete;
    FUS& operator=(const FUS&) = delete;

    /// Starts the library: the log, the network layer, the singleton and its event sender. Calls
    /// after the first do nothing.
    static void init();
    /// The singleton; starts the library if need be. It lives to the end of the process.
    static FUS& getInstance();
    /// Ends the library's work: removes all listeners, disconnects, stops the event sender. Blocks
    /// until a listener that is running has returned, unless it is that listener which calls. Later
    /// events are dropped.
    static void exit();
    static bool isInitialized();

    /// Connects to a generator: pings it, opens the TCP connection, reads what the generator is,
    /// and from protocol 3.0 on its limits and measures. An open connection is closed first.
    ///
    /// @param host      name or dotted address; null or empty: that of the definition
    /// @param port      usually 1670; 0: that of the definition
    /// @param timeoutMs bounds the ping, the TCP connect, and every later blocking read and write
    ///                  of the connection, each by itself [ms]
    /// @return false, after log lines that say why, when there is no such generator; true and a
    ///         `ConnectEvent` otherwise
    ///
    /// If a definition is loaded that tells the configuration of the back panel, what it should be
    /// kept in (RAM as the generator describes itself, or FLASH as it is read) is compared with
    /// it. Where they differ it is set, and the link is opened a second time. At last the clock and
    /// the thresholds of the definition are written. See `applyDefBackPanel`, `applyDefClock`.
    ///
    /// Throws `ERR_CONFIG` when the generator's measures can't be read, `ERR_SOCKET_WRITE`,
    /// `ERR_NOT_CONNECTED` or `ERR_TIMEOUT` when the link breaks in the middle, and
    /// `ERR_SOCKET_OPTION` when the system has no socket to give. When the back panel can't be read
    /// or set, whatever `readBackPanelConfiguration` and `setBackPanelConfiguration` throw in
    /// secure mode comes out, whether it is on or not: `ERR_PROTOCOL` before protocol 3.1. After
    /// any of these there is no connection. When the clock or a threshold can't be written, the
    /// exception of the write that failed comes out, and the connection stays, without a
    /// `ConnectEvent`.
    bool connect(const char* host, unsigned short port, unsigned timeoutMs);

    /// Stops what runs, closes the connection, and sends a `ConnectEvent` with reason 0. `Board`
    /// and `Measure` handles are dead afterwards. Does nothing but log without a connection, or
    /// when another thread is disconnecting.
    void disconnect();

    /// Whether a connection object exists. A link that failed stays connected in this sense until
    /// the event sender has closed it; commands fail with `ERR_NOT_CONNECTED` meanwhile.
    bool isConnected() const;

    Generator& getGenerator();
    /// The mechanical system, and the same with what only its developers need.
    Mechanics& getMechanics();
    LowLevelMechanics& getLowLevelMechanics();

    /// Bytes sent and received by the socket of this connection; 0 without one.
    unsigned getTotalSent() const;
    unsigned getTotalReceived() const;

    /// Time that commands wait for an answer [ms], 5000 at start. One value for the process.
    unsigned getDefaultAnswerTimeout() const;
    /// Sets it, rounded up to a multiple of 200, at least 200. `TIMEOUT_INFINITE` is refused with
    /// false; `TIMEOUT_DEFAULT` changes nothing.
    bool setDefaultAnswerTimeout(unsigned ms);

    /// Turns the checks before sending on (the state at start) or off.
    void setSecureMode(bool on);
    bool isInSecureMode() const;

    /// The text by which the generator described itself; null without a connection. It lives until
    /// the disconnect.
    const char* getInitString() const;

    // --- description; `ERR_NOT_CONNECTED` without an open connection -----------------------------

    Version getProtocolVersion() const;
    /// `ERR_INDEX` for a type above `BOARD_MECHANICS`; the null version for a board that is absent.
    Version getFirmwareVersion(gprotocol::BoardType type) const;
    Version getHardwareVersion(gprotocol::BoardType type) const;
    /// Boards of a type that are in use.
    unsigned getBoardCount(gprotocol::BoardType type) const;
    /// Boards of a type that are plugged in.
    unsigned getDetectedBoardCount(gprotocol::BoardType type) const;
    /// A handle of the board at a position (not an address), below `getDetectedBoardCount(type)`;
    /// else `ERR_INDEX`. Handles are dead after a disconnect.
    Board getBoard(gprotocol::BoardType type, unsigned index) const;
    BoardUPB getBoardUPB() const;
    BoardSNT getBoardSNT(unsigned index) const;
    BoardAMP getBoardAMP(unsigned index) const;
    BoardMOT getBoardMOT() const;
    /// Keeps the description of this connection: while the result lives, handles that come from it
    /// and the text of `getInitString` may be used, also when the link is lost meanwhile. Never
    /// null: without an open connection it throws `ERR_NOT_CONNECTED`.
    std::shared_ptr<const void> holdDescription() const;
    /// What is connected; `GEN_UNKNOWN` without a connection or before protocol 3.
    gprotocol::GenType simulatorType() const;

    // --- introspection: asks the hardware, and blocks until it has answered ----------------------
    //
    // Each answer is waited for up to the default answer time-out. All throw `ERR_NOT_CONNECTED`
    // without an open connection, `ERR_TIMEOUT` without an answer, `ERR_PACKET` for a wrong one,
    // and the `FUSException` with its hardware code for a refusal, where nothing else is said.

    /// Reads the versions that a board reports, or, for the processor before protocol 3.0, those
    /// that the generator told at connect. On an exception both stay as they were.
    ///
    /// @param address the connector of the board on the back panel
    ///
    /// In secure mode `ERR_INDEX` for a type above `BOARD_MECHANICS` and `ERR_ARGUMENT` for a board
    /// that isn't in use; otherwise such a type goes to the generator as the hardware's number.
    /// `ERR_INDEX` in any mode for another address than 0 of a processor before protocol 3.0.
    void readBoardVersions(gprotocol::BoardType type, unsigned char address, Version& hardware,
                           Version& firmware);
    /// Reads the same, and which firmware the board runs; that stays 0 and empty for a processor
    /// before protocol 3.0. Errors as above, but the board must be in use, in secure mode, there
    /// too.
    BoardInfo readBoardInfo(gprotocol::BoardType type, unsigned char address);

    /// One JSON document about what is connected: link, back panel, all boards with their firmware
    /// and measures, and the text by which the generator described itself. Objects end in a comma
    /// where that is easiest to write, so a strict parser refuses it. Bytes are as the generator
    /// sent them, in no certain encoding. "{}" without a connection.
    ///
    /// Active boards are asked for what they didn't tell at connect, one after the other, so that a
    /// silent one costs the default answer time-out. What the hardware doesn't answer, or refuses,
    /// stays 0 or empty. Throws only `ERR_NOT_CONNECTED`, when the link is dead or dies meanwhile;
    /// another thread may disconnect at any time.
    Message exportJSONConfig();

    /// Reboots the hardware (see `gprotocol::RebootTarget`). When the generator has confirmed, the
    /// connection is closed, however soon the generator ends it itself, and a `ConnectEvent` with
    /// reason 0 sent; the connection must be made anew.
    ///
    /// `REBOOT_SLAVES` is confirmed when the slaves are back, so its answer is waited for at least
    /// 12,000 ms. Another value is refused with `ERR_ARGUMENT` in secure mode; otherwise it is
    /// sent, and leaves the connection open. So does a reboot that fails.
    void reboot(unsigned what);

    // --- definition: what is connected against what should be (see Generator::loadDefinition) ----

    /// Compares the generator with the definition: channels, measures of a channel, version of the
    /// amplifiers, and boards of each type. `ERR_NOT_CONNECTED`; `ERR_CONFIG`, whose message says
    /// what differs, or that there is no definition.
    void checkConfiguration();
    /// Counts the voltages [V] that are outside of their ranges, each of which is logged.
    /// `voltages` are in the order of the power supplies, as `Generator::readPowerSupplies` gives
    /// them; those without a range, and NaN, are good. 0 if the definition has no ranges.
    /// `ERR_NOT_CONNECTED`; `ERR_CONFIG` without a definition.
    unsigned checkVoltages(const FloatArray& voltages);
    /// Whether the definition has ranges for more than 4 voltages.
    bool getDefinitionHasVoltage() const;
    /// Null without a definition. It dies with the definition: at the next load, also one that
    /// fails, and at the next clear, on whichever thread they are called.
    const char* getDefinitionHost() const;
    unsigned short getDefinitionPort() const;
    /// Writes the thresholds of the definition into the active boards, as the raw values that
    /// `Measure::physicalToADC` makes of them: these may lie beyond what a measure can reach. Where
    /// a measure has both bounds, it is first widened to the range from 0 to
    /// `Measure::maxADCValue`. `connect` does it by itself. Before protocol 3.0 nothing is written,
    /// which is logged.
    ///
    /// A bound that fails, for whatever reason, is passed over after a log line.
    /// `ERR_NOT_CONNECTED` without an open connection; any failure of the widening is thrown:
    /// `ERR_TIMEOUT` without an answer, `ERR_PACKET` for a wrong one, `ERR_SOCKET_WRITE`, and the
    /// `FUSException` with its hardware code for a refusal.
    void applyDefBoardMeasureThresholds();
    /// Sets the clock of the definition; does nothing if that has none. Before protocol 3.0 only a
    /// warning is logged. `ERR_NOT_CONNECTED`, `ERR_TIMEOUT`, and whatever else
    /// `Generator::setClockFrequency` throws.
    void applyDefClock();

    // --- back panel: which channels of the boards are in use; since protocol 3.1 -----------------
    //
    // Two masks, one for the synthesizers and one for the amplifiers, with 16 entries for each slot
    // of boards, in the order of the slots. Each operation blocks until the generator has answered.
    //
    // All throw `ERR_NOT_CONNECTED` without an open connection; `ERR_PROTOCOL` before protocol 3.1,
    // in secure mode; `ERR_TIMEOUT` when no answer comes in time (the default answer time-out,
    // unless told) or the link is lost; `ERR_SOCKET_WRITE`; and for a refusal of the generator the
    // `FUSException` with its hardware code, or `ERR_GENERATOR` where it gives none.

    /// Reads the configuration. Both masks come out with the same size: the smallest number of
    /// whole slots that holds every active channel, 0 if there is none or if the FLASH is empty.
    /// On an error they stay as they were.
    ///
    /// @param source `BKP_RAM` or `BKP_FLASH`. Anything else is `ERR_ARGUMENT` in secure mode, and
    ///               `BKP_RAM` without
    ///
    /// `ERR_PACKET` for an answer that is empty or announces more than 4096 channels, `ERR_INDEX`
    /// for one that ends before it has told them all. From 4090 channels on an answer is longer
    /// than any packet may be: the link is given up then, and `ERR_TIMEOUT` comes out.
    void readBackPanelConfiguration(Mask1D& sntBoards, Mask1D& ampBoards,
                                    gprotocol::BackPanelStorage source);
    /// Sets the configuration: this command closes the current connection, with a `ConnectEvent`
    /// of reason 0, and the generator works with the new configuration at the next one. After an
    /// error the connection is as before, unless the link itself failed. Waits for the answer up to
    /// 20 s.
    ///
    /// @param target `BKP_RAM` or `BKP_BOTH`. Anything else is `ERR_ARGUMENT` in secure mode, and
    ///               `BKP_RAM` without
    ///
    /// The masks must have the same size (else `ERR_ARGUMENT` in secure mode, and `ERR_INDEX`
    /// without) and, in secure mode, as many active channels (`ERR_ARGUMENT`).
    void setBackPanelConfiguration(const Mask1D& sntBoards, const Mask1D& ampBoards,
                                   gprotocol::BackPanelStorage target);
    /// Clears the back panel configuration stored in FLASH memory. The connection stays open.
    void clearBackPanelConfiguration();
    /// Brings the back panel to what the definition says. Reads what is in RAM and, if the
    /// definition says RAM+FLASH, in FLASH; when a mask of these differs from the definition's in
    /// more than clear channels at its end, it sets them.
    ///
    /// @return true if the configuration was changed, and so the connection closed; false if
    ///         nothing changed, as it always is without both masks in the definition, and the
    ///         connection is still open
    ///
    /// Throws what reading and setting throw.
    bool applyDefBackPanel();
    /// What the definition says of the back panel; false, with nothing changed, if it doesn't have
    /// both masks. Needs no connection, and never throws but `std::bad_alloc`.
    bool getDefinitionBackPanel(Mask1D& sntBoards, Mask1D& ampBoards,
                                gprotocol::BackPanelStorage& target) const;

    // --- listeners -------------------------------------------------------------------------------

    /// Adds a listener, once. It stays the caller's and must outlive its registration.
    void registerListener(FUSListener* listener);
    /// Removes a listener; returns how many entries were removed. A delivery that is under way is
    /// not waited for.
    unsigned unregisterListener(FUSListener* listener);
    void clearListeners();

private:
    friend class FUSAccess;
    class Private;

    FUS();
    ~FUS();

    std::unique_ptr<Private> m_private;
};

} // namespace fus
