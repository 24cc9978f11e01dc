// What a simulated generator is made of: the INI text that a real one sends, and the sections that
// say what that text doesn't hold.
#pragma once

#include "fussim/Mechanics.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

// A description that can't be simulated; the text says which section or key is at fault.
class DescriptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A polynomial in rising powers, from an ADC value to a physical value.
struct MeasureCurve {
    std::vector<double> coefficients;

    double at(double x) const;
    // The ADC value in [0, maxAdc] whose physical value comes nearest to `value`. The polynomial
    // must rise or fall over that whole range.
    double inverse(double value, double maxAdc) const;
};

struct BoardMeasureDescription {
    std::string name;
    unsigned typeId = 0;
    unsigned size = 0; // [bytes] 1, 2 or 4
    std::uint32_t lowerThreshold = 0;
    std::uint32_t upperThreshold = 0;
    std::uint32_t divisor = 1;
    std::vector<std::int32_t> coefficients; // before the division, rising powers
    double idle = 0;                        // physical value at rest
    double full = 0;                        // and with all channels at full amplitude
    bool isSwitched = false;                // dead while the amplifiers' power supply is off

    MeasureCurve curve() const;
};

struct ChannelMeasureDescription {
    std::string name;
    unsigned size = 0; // [bytes] 1, 2 or 4
    MeasureCurve curve;
};

// What the back panel says: the channels of the boards that are in use, a flag for each channel of
// each slot. Both masks are of one size.
struct Wiring {
    std::vector<bool> snt;
    std::vector<bool> amp;
};

struct BoardDescription {
    unsigned hwid = 0;
    unsigned address = 0;
    bool active = false;
    std::array<unsigned, 4> hardwareVersion{};
    std::array<unsigned, 4> firmwareVersion{};
    std::uint32_t uniqueId = 0;
    std::uint32_t crc = 0;
    std::string buildTime;               // date, a blank, time
    unsigned crcFormat = 1;              // of what it says of its firmware: 0 or 1
    std::uint32_t firmwareSize = 131072; // [bytes], only told in format 1
    std::vector<BoardMeasureDescription> measures;
    std::vector<ChannelMeasureDescription> channelMeasures; // of an amplifier
    std::size_t firstChannel = 0; // of an active amplifier, in the generator's numbering
    std::size_t channelCount = 0;
    bool hasPowerSwitch = false;       // of an amplifier
    bool hasWatchdogDetection = false; // of a synthesizer
};

// Limits of a generator of protocol 2; later ones hold theirs in board parameters. [microseconds]
struct TimingDescription {
    std::uint32_t minShooting = 0, maxShooting = 0;
    std::uint32_t minQuickShooting = 0, maxQuickShooting = 0;
    std::uint32_t minTotal = 0, maxTotal = 0;
    std::uint32_t minQuickTotal = 0, minRepeatTotal = 0;
    std::uint32_t minRepeatDelay = 0;
    std::uint32_t minTrajectoryDelay = 0, maxTrajectoryDelay = 0;
    std::uint32_t maxRamp = 0;
};

// What hangs on the channels.
struct LoadDescription {
    double ohm = 50;
    double resonanceHz = 1e6;
    double quality = 2;
    double maxVoltage = 90; // [volt] at amplitude 255
    double spreadPercent = 3;
    double thermalSeconds = 4; // in which amplifiers come within a third of their final heat
};

// A plain value. It is made by one of the static functions and then only read; a test may change
// fields of its own copy before it gives it to a Simulator.
struct Description {
    // Throw DescriptionError.
    static Description parse(const std::string& text);
    static Description fromFile(const std::string& fileName);
    // One of the descriptions that come with the program: "2.5", "3.0" or "3.1".
    static Description shipped(const std::string& protocol);
    // The description without a file: a generator of protocol 3.1 with 256 channels.
    static Description builtIn() { return shipped("3.1"); }
    static const char* shippedText(const std::string& protocol);

    std::string wireText;        // what is sent at connect
    unsigned protocolNumber = 0; // major * 100 + minor
    std::size_t channelCount = 0;
    std::size_t bufferCount = 0;
    std::size_t maxShots = 0; // in one buffer
    bool hasTriggerInput = false;
    bool hasMultiplexer = false;
    bool hasMechanics = false;
    std::vector<BoardDescription> boards; // processor, synthesizers, amplifiers, mechanics
    std::vector<ChannelMeasureDescription> channelMeasures; // of the first active amplifier
    // What amplifiers of protocol 2 measure, and how many such values the generator gives.
    BoardMeasureDescription temperature, current;
    std::size_t temperatureCount = 0, currentCount = 0;
    TimingDescription timing;
    LoadDescription load;
    MechanicsDescription mechanics; // no axes without a mechanical board
    std::uint32_t watchdogUs = 2100000;
    double rebootSeconds = 20;     // of everything
    double slaveRebootSeconds = 3; // of the slave boards
    Wiring wiring;                 // that the text tells; none in protocol 2
    std::optional<Wiring> flash;   // of the back panel, at start; it overrules the text's
    // Start values of board parameters, by hardware id; and of the one-byte generator parameters of
    // protocol 2.
    std::map<unsigned, std::map<unsigned, std::uint64_t>> boardParameters;
    std::map<unsigned, std::uint8_t> generatorParameters;

    // The same generator with other channels in use: its text says so, and all that follows from
    // it. Throws DescriptionError if it couldn't work like this.
    Description rewired(const Wiring& next) const;

    bool isV2() const { return protocolNumber < 300; }
    bool hasV3Uploads() const { return protocolNumber >= 301; }
    bool hasBackPanel() const { return protocolNumber >= 301; } // that clients may change
    // Its synthesizers tell that their watchdog has cut a shot.
    bool detectsWatchdog() const;
    const BoardDescription* findBoard(unsigned hwid, unsigned address) const;
    // [bytes] of a shot result's packet, header included.
    std::size_t shotResultSize(bool withBoardMeasures) const;
};

} // namespace simulator
} // namespace fus
