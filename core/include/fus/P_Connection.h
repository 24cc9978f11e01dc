#pragma once

#include "fus/BoardInfo.h"
#include "fus/GProtocol.h"
#include "fus/P_GeneratorConfig.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace fus {

class FloatArray;
class GeneratorDefinition;
class Mask1D;
class NetPacket;
class TCPClient;
class Upcalls;

/// Longest uninterrupted wait for an answer [ms].
constexpr unsigned ANSWER_STEP = 200;

/// How long a reboot is waited for [ms], when the default answer time-out is `usual`: slaves are
/// detected again before the answer comes.
constexpr unsigned rebootTimeout(unsigned what, unsigned usual) {
    constexpr unsigned SLAVES_TIMEOUT = 12000;
    return what == gprotocol::REBOOT_SLAVES && usual < SLAVES_TIMEOUT ? SLAVES_TIMEOUT : usual;
}

/// One TCP connection to one generator: commands go out, a reader thread takes every packet off
/// the socket, and synchronous answers wait in an inbox for whoever sent the command.
///
/// An object serves one connect and the close after it. Commands may be sent from any number of
/// threads; the id of a command ties its answer to its caller. A caller on another thread holds a
/// shared pointer for the length of its call, so a close never deletes what it stands on.
///
/// States: no reader; open; dead (the link failed, commands throw `ERR_NOT_CONNECTED`); closed.
class Connection : private ParameterSource {
public:
    explicit Connection(Upcalls& upcalls);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Opens the link, brings the back panel to what the definition says (which may cost a second
    /// link) and, for a generator of protocol 3.0 and above, reads its parameters. False when a
    /// link can't be opened; an exception when the back panel can't be set or the parameters can't
    /// be read (the link is closed then). `host` may be the definition's own.
    bool connect(const char* host, unsigned short port, unsigned timeoutMs,
                 const GeneratorDefinition& definition);
    /// Announces the end, stops the reader and closes the socket. Waits for the reader thread.
    void close();
    /// The reader runs and its link is not known to be dead.
    bool isOpen() const;

    void setSecureMode(bool on);

    /// The description of the generator: `ERR_NOT_CONNECTED` unless open.
    const GeneratorConfig& config() const;
    /// The description for reading after the link died; the text by which it came.
    const GeneratorConfig& lastConfig() const { return m_config; }
    unsigned totalSent() const;
    unsigned totalReceived() const;

    // --- commands: `ERR_NOT_CONNECTED` unless open ----------------------------------------------

    /// A fresh command id, never 0.
    unsigned nextId();
    /// Sends a command; returns its id, or 0 when the connection is closing. A write that fails
    /// disconnects and throws `ERR_SOCKET_WRITE`. The payload may exceed what can be received.
    unsigned sendCommand(unsigned short type, const void* payload, unsigned size);
    unsigned sendCommand(unsigned short type, const NetPacket& payload);
    /// Sends bytes as they are, without a header; returns how many.
    unsigned sendRawData(const void* data, unsigned size);
    /// Waits for the answer of a command, at most `timeoutMs`.
    ///
    /// @param expectedType an `ANSWER_*`, `ANSWER_ANY` for any
    /// @param packet       takes the payload; left null where the answer has none. May be null
    /// @param foundType    takes the type that arrived, also when it is the wrong one. May be null
    /// @return false when nothing arrived in time or the wrong type did (it is dropped)
    ///
    /// An error answer throws, whatever was expected.
    bool readAnswer(unsigned id, unsigned short expectedType, std::unique_ptr<NetPacket>* packet,
                    unsigned timeoutMs, unsigned short* foundType);
    /// `readAnswer` with the default time-out that throws `ERR_TIMEOUT` instead of returning false.
    std::unique_ptr<NetPacket> awaitAnswer(unsigned id, unsigned short expectedType);
    /// Whether an answer of this id and type (0: any) waits in the inbox; false without a reader.
    bool checkAnswer(unsigned id, unsigned short expectedType);

    // --- generator parameters: protocol below 3.0 ------------------------------------------------

    /// Reads a parameter of one byte. `ERR_PROTOCOL` in secure mode from protocol 3.0 on.
    unsigned readGeneratorParameter(unsigned short id);
    void writeGeneratorParameter(unsigned short id, unsigned char value);

    // --- board channel ---------------------------------------------------------------------------

    /// Sends a command to a board.
    ///
    /// @param hwid `HWID_*`
    /// @param time 0 for a synchronous command, else the time that the generator allows the board
    ///             [ms]; above `TIME_MAX_BOARD_TIMEOUT`: `ERR_ARGUMENT`
    unsigned sendBoardCommand(unsigned hwid, unsigned address, unsigned time,
                              unsigned short command, const void* data, unsigned size);
    unsigned sendBoardCommand(unsigned hwid, unsigned address, unsigned time,
                              unsigned short command, const NetPacket& data);
    /// Waits for the answer of a board command and returns the number of its data bytes.
    ///
    /// @param command the command that was sent; 0 accepts any
    /// @param data    takes the bytes at its position, growing as needed, and is left at that
    ///                position; a packet of size 0 takes nothing
    ///
    /// `ERR_TIMEOUT`; `ERR_PACKET` for a wrong frame; a refusal of the board throws with its code.
    unsigned readBoardAnswer(unsigned hwid, unsigned address, unsigned id, unsigned short command,
                             NetPacket& data, unsigned timeoutMs);
    unsigned long long readBoardParam(unsigned hwid, unsigned address, unsigned short param);
    void writeBoardParam(unsigned hwid, unsigned address, unsigned short param,
                         unsigned long long value);
    void readBoardMeasures(unsigned hwid, unsigned address, FloatArray& values, bool adcOnly);
    unsigned readBoardThreshold(unsigned hwid, unsigned address, unsigned measure, bool upper);
    void setBoardThreshold(unsigned hwid, unsigned address, unsigned measure, bool upper,
                           unsigned value);

    /// One measure of every active board of a kind (`HWID_PROCESSOR` or `HWID_AMPLIFIER`).
    void readAllBoardsMeasures(unsigned hwid, unsigned measure, FloatArray& values, bool adcOnly);
    void readAllBoardsThresholds(unsigned hwid, unsigned measure, bool upper, FloatArray& values,
                                 bool adcOnly);
    void setAllBoardsThreshold(unsigned hwid, unsigned measure, bool upper,
                               const FloatArray& values, bool adcOnly);

    /// Asks for the status of all boards and stores it; true if all are 0.
    bool refreshBoardsStatus();
    unsigned getBoardStatus(unsigned hwid, unsigned address) const;

    // --- introspection: see `FUS` ----------------------------------------------------------------

    void readBoardVersions(gprotocol::BoardType type, unsigned address, Version& hardware,
                           Version& firmware);
    BoardInfo readBoardInfo(gprotocol::BoardType type, unsigned address);
    /// Leaves the connection open.
    void reboot(unsigned what);
    /// Dotted address and port of the generator: `ERR_NOT_CONNECTED` unless open.
    std::string peerAddress() const;
    unsigned short peerPort() const;

    // --- back panel; see the operations of the same names in `FUS` -------------------------------

    void readBackPanelConfiguration(Mask1D& snt, Mask1D& amp, gprotocol::BackPanelStorage source);
    /// Whoever doesn't let it close the connection must close it after a success: the generator
    /// doesn't want it any more, and nobody is told when it ends the link.
    void setBackPanelConfiguration(const Mask1D& snt, const Mask1D& amp,
                                   gprotocol::BackPanelStorage target, bool closeAfter);
    void clearBackPanelConfiguration();

private:
    class Reader;

    /// The check at connect: true when the back panel was set, and the link closed.
    bool applyDefinitionBackPanel(const GeneratorDefinition& definition);
    void requireBackPanelProtocol() const;

    /// Sends a command of which the generator may end the link by itself, as soon as it has
    /// answered, and awaits the `ANSWER_OK`. After a success the caller has the connection closed;
    /// after an exception it goes on.
    void sendLastCommand(unsigned short type, const NetPacket& payload, unsigned timeoutMs);
    bool openLink(const char* host, unsigned short port, unsigned timeoutMs);
    void readGeneratorText(TCPClient& socket);
    std::shared_ptr<Reader> reader() const;
    std::shared_ptr<Reader> openReader() const;
    std::shared_ptr<Reader> takeReader();

    bool isV3() const { return m_config.protocolNumber() >= 300; }
    void requireBoardProtocol() const;
    void requireActiveBoard(unsigned hwid, unsigned address) const;
    void requireMeasureIndex(unsigned hwid, unsigned measure) const;
    void requireMeasureList(unsigned hwid) const;
    template <class Visit>
    void visitBoards(unsigned hwid, Visit visit);
    std::size_t boardsVisited(unsigned hwid) const;
    void resizeForBoards(unsigned hwid, FloatArray& values) const;
    const PrivateMeasure& measureAt(unsigned hwid, unsigned index) const;

    unsigned checkedHardwareID(gprotocol::BoardType type, unsigned address) const;
    NetPacket askBoard(unsigned hwid, unsigned address, unsigned short command,
                       const NetPacket& request, unsigned size);

    unsigned long long readParam(unsigned hwid, unsigned address, unsigned short param) override;
    void readMeasureDefinition(PrivateBoard& board, unsigned index) override;

    /// Makes the event of a motion that has ended out of an asynchronous packet of the mechanical
    /// board. True when somebody may be waiting for the packet: it goes to the inbox, too. Runs on
    /// the reader thread.
    bool handleMechanicalAsync(unsigned id, unsigned short type, NetPacket& packet);
    void reportMotion(unsigned id, unsigned command, unsigned result, NetPacket& packet);

    // constant after construction
    Upcalls& m_upcalls;

    // written while the connection is set up, before others see the object; the status of the
    // boards in it is atomic
    GeneratorConfig m_config;

    // atomic
    std::atomic<bool> m_secure{true};

    // guarded by m_readerMutex, which is held for a copy or a swap only
    mutable std::mutex m_readerMutex;
    std::shared_ptr<Reader> m_reader;
};

} // namespace fus
