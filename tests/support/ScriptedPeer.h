#pragma once

#include "support/Bytes.h"
#include "support/Latch.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace fus::test {

/// A packet as it came from the library.
struct PeerPacket {
    std::uint16_t type = 0;
    std::uint32_t id = 0;
    Bytes payload;
};

/// What a payload must be; bytes convert to "exactly these".
struct PayloadMatcher {
    std::string description;
    std::function<bool(const Bytes&)> matches;

    PayloadMatcher(const Bytes& expected); // NOLINT(google-explicit-constructor)
    PayloadMatcher(std::string what, std::function<bool(const Bytes&)> test)
        : description(std::move(what)), matches(std::move(test)) {}

    static PayloadMatcher any();
    static PayloadMatcher startsWith(const Bytes& head);
};

/// The other end of the link, on a thread of its own: it listens on a free port of this machine
/// and goes through a list of steps. For exact bytes and for misbehaviour.
///
///     ScriptedPeer peer;
///     peer.sendIni(ini);
///     peer.expect(CMD_BOARD_CMD, hex("...")).answer(ANSWER_BOARD, hex("..."));
///     ... use the library ...
///     peer.finish();
///
/// Steps may be added while earlier ones run. A step that needs a connection waits for one first,
/// so after `cut` or `expectEnd` the next step accepts anew. The first step that fails ends the
/// script and cuts the connection; `finish` (or the destructor) then fails the test, as it does
/// when steps weren't reached or bytes were left unread.
class ScriptedPeer {
public:
    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    std::uint16_t port() const { return m_port; }
    static constexpr const char* HOST = "127.0.0.1";

    // --- steps: what comes -----------------------------------------------------------------------

    /// The next packet has this type and such a payload.
    ScriptedPeer& expect(std::uint16_t type, const PayloadMatcher& payload = PayloadMatcher::any());
    /// The next bytes are these.
    ScriptedPeer& expectRaw(const Bytes& bytes);
    /// The library ends the connection, with nothing before.
    ScriptedPeer& expectEnd();
    /// Packets of this type may come at any time between the expected ones, and at the end.
    /// Applies from now on, and isn't a step.
    ScriptedPeer& allow(std::uint16_t type);

    // --- steps: what goes ------------------------------------------------------------------------

    /// The length and the text with which a generator greets.
    ScriptedPeer& sendIni(const std::string& text);
    /// An answer with the id of the packet that was expected last.
    ScriptedPeer& answer(std::uint16_t type, const Bytes& payload = {});
    /// An answer with the id of the packet that was expected as number `index`, from 0.
    ScriptedPeer& answerTo(std::size_t index, std::uint16_t type, const Bytes& payload = {});
    ScriptedPeer& sendPacket(std::uint16_t type, std::uint32_t id, const Bytes& payload = {});
    ScriptedPeer& send(const Bytes& bytes);
    /// A system call for each byte.
    ScriptedPeer& sendByteByByte(const Bytes& bytes);

    // --- steps: what happens ---------------------------------------------------------------------

    /// Waits for a connection; other steps that need one do so by themselves.
    ScriptedPeer& awaitConnection();
    /// Reads and sends nothing until the latch is open.
    ScriptedPeer& waitFor(const Latch& latch);
    /// Opens the latch: tells the test that everything before is done.
    ScriptedPeer& tell(const Latch& latch);
    /// Closes the connection, whatever may be unread.
    ScriptedPeer& cut();
    /// Anything else. It runs on the peer's thread.
    ScriptedPeer& run(const std::string& description, std::function<void()> action);

    // --- the end ---------------------------------------------------------------------------------

    /// Waits until all steps are done, and fails the test if they aren't in time, or if something
    /// was wrong. Closes the connection and the port.
    void finish();
    /// Waits until all steps up to now are done. False if they aren't in time or one has failed;
    /// `finish` will tell which.
    bool settle();
    /// The packets that steps have expected and got, also the wrong one that ended the script.
    std::vector<PeerPacket> received() const;
    /// How long a single step, and `settle`, may take.
    void setPatience(std::chrono::milliseconds patience);

private:
    struct Failure {
        std::string text;
    };
    struct Step {
        std::string description;
        std::function<void()> action;
    };

    ScriptedPeer& add(std::string description, std::function<void()> action);
    void loop();
    bool takeStep(Step& step);
    void runStep(const Step& step);

    void needConnection();
    void closeConnection();
    void waitUntil(const std::function<bool()>& poll, const std::string& what);
    bool receiveAll(Bytes& bytes);
    Bytes mustReceive(std::size_t size);
    PeerPacket receivePacket();
    PeerPacket receiveExpected(std::uint16_t type);
    void transmit(const Bytes& bytes);
    void readToEnd();
    void checkNothingUnread();
    bool isAllowed(std::uint16_t type) const;

    // constant after construction
    std::intptr_t m_listener;
    std::uint16_t m_port = 0;

    // of the peer's thread, and after its end of whoever finishes
    std::intptr_t m_connection;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    // guarded by m_mutex
    std::deque<Step> m_steps;
    std::vector<PeerPacket> m_received;
    std::set<std::uint16_t> m_allowed;
    std::string m_failure;
    std::chrono::milliseconds m_patience{std::chrono::seconds(20)};
    bool m_busy = false;
    bool m_stop = false;
    bool m_finished = false;

    std::thread m_thread;
};

} // namespace fus::test
