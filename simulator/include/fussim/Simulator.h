// A simulated generator in the caller's own process.
#pragma once

#include "fussim/Description.h"
#include "fussim/Fault.h"
#include "fussim/Records.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

struct Options {
    std::string host = "127.0.0.1"; // IPv4 address that it listens on
    std::uint16_t port = 0;         // 0: a free one
    // Seconds that pass for each simulated second; 0: as fast as it can. Scales shots, delays and
    // CMD_WAIT, reboots and the time in which amplifiers heat up and cool, but neither the
    // heart-beat nor faults. With 0 nothing cools but by shots, delays and CMD_WAIT.
    double timeScale = 1.0;
    std::uint64_t seed = 1;      // of the noise; the same seed and story give the same measures
    unsigned triggerEveryMs = 0; // pulses on the trigger input; 0: none
    std::vector<Fault> faults;
    std::function<void(const std::string&)> log; // a line for whatever happens; any thread
};

class SimulatorError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One client is served at a time. A second one is closed at once, unless the first has announced
// its end. What a client leaves behind is kept for the next one: buffers, parameters, thresholds,
// channel states; a running execution stops when its client goes. A change of the back panel counts
// from the next client on, for whom buffers are empty and all channels on. Nothing outlives a
// reboot but the FLASH, where the axes stand, and the faults; while it lasts, connections are
// refused.
//
// All members may be called from any thread, but start and stop from one at a time.
class Simulator {
public:
    explicit Simulator(Description description = Description::builtIn(), Options options = {});
    // Stops.
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Listens and returns. Throws SimulatorError when the address or the port can't be had.
    void start();
    // Cuts the client off, which ends what runs, and listens no more. May be started again.
    void stop();
    // 0 unless started.
    std::uint16_t port() const;
    // As it was given. The channels in use may be others since: see backPanel.
    const Description& description() const;

    void addFault(const Fault& fault);
    void addFault(const std::string& text); // see Fault::parse
    void clearFaults();

    // A pulse on the trigger input, as if from outside.
    void pulse();
    // Ends the running execution for this reason, one of stopReasonNames(); false if none runs.
    bool stopExecution(const std::string& reason);
    // The generator protects itself: it shuts a channel off, or an amplifier goes out of action,
    // which stops an execution. Both last until the amplifiers' supply or the slave boards are
    // switched on again, or restore(). Throw std::out_of_range for what doesn't exist.
    void shutOffChannel(unsigned channel);
    void disableAmplifier(unsigned address);
    void restore();
    // Cuts the client off, as a broken cable would.
    void dropClient();

    // --- The state that the generator is in ---
    // Empty if nothing was ever uploaded into this buffer.
    Trajectory buffer(unsigned index) const;
    // Throws std::out_of_range for a board or a parameter that doesn't exist.
    std::uint64_t boardParameter(unsigned hwid, unsigned address, unsigned parameter) const;
    void setBoardParameter(unsigned hwid, unsigned address, unsigned parameter,
                           std::uint64_t value);
    std::uint32_t threshold(unsigned hwid, unsigned address, unsigned measure, bool upper) const;
    // Of protocol 2: one of a byte, or the words of a list. Throw std::out_of_range for another.
    std::uint8_t generatorParameter(unsigned id) const;
    std::vector<std::uint32_t> generatorParameters(unsigned id) const;
    // As they are read back: on by hand, and not shut off by the generator.
    std::vector<bool> channelStates() const;
    std::vector<bool> manualChannelStates() const;
    // Status, power, measures and thresholds. Throws std::out_of_range for no such board.
    BoardRecord board(unsigned hwid, unsigned address) const;
    bool peripheralState(unsigned peripheral) const; // 0 to 3
    void setBoardStatus(unsigned hwid, unsigned address, std::uint32_t status);

    // The channels in use, and those that the FLASH holds, if it holds any.
    Wiring backPanel() const;
    std::optional<Wiring> backPanelFlash() const;

    // --- The mechanical board ---
    MechanicsState mechanics() const;
    // As it is on the wire. Throws std::out_of_range for an axis or a parameter that doesn't exist.
    std::uint32_t mechParameter(unsigned axis, unsigned parameter) const;
    void setMechParameter(unsigned axis, unsigned parameter, std::uint32_t raw);
    bool waitForMotion(unsigned timeoutMs) const; // until something moves
    bool waitForRest(unsigned timeoutMs) const;   // until nothing moves

    // --- What happened ---
    std::vector<ReceivedCommand> commands() const; // the last 4096
    std::size_t commandCount(unsigned type) const;
    bool waitForCommand(unsigned type, std::size_t count, unsigned timeoutMs) const;
    std::vector<ExecutionRecord> executions() const;   // the last 1024, in order of their start
    bool waitUntilIdle(unsigned timeoutMs) const;      // no execution runs
    bool waitForTriggerWait(unsigned timeoutMs) const; // an execution waits for a pulse
    bool waitForReboots(unsigned count, unsigned timeoutMs) const;     // of everything, and over
    bool waitForClients(unsigned connected, unsigned timeoutMs) const; // 0 or 1
    unsigned clientCount() const;                                      // clients served so far
    unsigned refusedClients() const;

private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

} // namespace simulator
} // namespace fus
