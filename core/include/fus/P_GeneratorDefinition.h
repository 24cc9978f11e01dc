#pragma once

#include "fus/FloatArray.h"
#include "fus/GProtocol.h"
#include "fus/Mask1D.h"
#include "fus/Version.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace fus {

class Config;
class ConfigSection;
struct DefinitionKey;
struct DefinitionReview;

/// Measures that a channel of an amplifier has, by AmplifierType.
inline constexpr unsigned EXPECTED_COMPONENTS[gprotocol::AMPLIFIER_COUNT] = {0, 3, 4, 3};

/// The generator that an installation is supposed to have, as its installer wrote it down: where it
/// is, what it is made of, what its voltages and measures may be, and how the raw measures of a
/// shot become physical values and an emitted power.
///
/// Not locked. Shared objects are constant: a load makes a new one that takes the old one's place.
class GeneratorDefinition {
public:
    GeneratorDefinition() = default;

    /// Reads an INI text. False, with nothing kept, after a log line about what is wrong with it.
    /// Neither this nor the other loads throw, whatever they are given.
    bool load(std::istream& stream);
    bool loadFile(const char* filename);
    bool loadText(const char* text);
    void clear();
    /// Reads a tree as the loads do, to its end whatever is wrong with it, and tells the review all
    /// of that. False where they would refuse it; the object isn't loaded after either.
    bool review(const Config& config, DefinitionReview& review);
    /// What a definition may hold.
    static std::vector<DefinitionKey> keys();
    /// True only after a complete and valid load.
    bool isLoaded() const { return m_loaded; }

    /// Null if there is none; lives as long as the object is neither loaded anew nor destroyed.
    const char* host() const { return m_generatorHost.empty() ? nullptr : m_generatorHost.c_str(); }
    std::uint16_t port() const { return m_generatorPort; }
    std::uint32_t channels() const { return m_channels; }
    /// Boards of a BoardType; ERR_ARGUMENT above BOARD_MECHANICS.
    unsigned boardCount(unsigned type) const;
    const Version& amplifierVersion() const { return m_amplifierVersion; }
    gprotocol::AmplifierType amplifierType() const { return m_amplifierType; }
    /// Measures of a channel.
    std::uint32_t measureCount() const { return m_measureCount; }
    float maxPower() const { return m_maxPower; } ///< [W]
    /// Whether the voltages of a whole generator are told: more than 4 of them.
    bool definesVoltages() const { return m_hasVoltage; }
    /// Ranges of the power supplies [V], as many in both.
    const FloatArray& minVoltages() const { return m_minVoltages; }
    const FloatArray& maxVoltages() const { return m_maxVoltages; }
    /// Bounds of the board measures in their units, by measure index; ERR_INDEX for another type.
    const FloatArray& boardThresholds(gprotocol::BoardType type, bool upper) const;
    /// Channels in use as the back panel should have them, empty where not told, and where to
    /// write them: BKP_RAM or BKP_BOTH.
    const Mask1D& backPanelSNT() const { return m_bkpMaskSNT; }
    const Mask1D& backPanelAMP() const { return m_bkpMaskAMP; }
    gprotocol::BackPanelStorage backPanelStorage() const { return m_backPanelTarget; }
    std::uint32_t clockFrequency() const { return m_clock; } ///< [Hz], 0: not told

    /// Counts the voltages that are outside of their ranges, with a log line for each. Values
    /// without a range, and NaN, are good.
    unsigned checkVoltages(const FloatArray& values) const;

    /// Turns the raw measures of a channel into physical values, and computes its power [W], -1.0
    /// for a negative one. A channel of zeroes keeps them, and has the power 0.0. ERR_ARGUMENT for
    /// another count than `measureCount()`, and where there are no polynomials.
    ///
    /// Results are compared bit by bit: the order of the operations is the contract.
    void convertMeasures(unsigned channel, FloatArray& values, float* power) const;
    void convertMeasures(unsigned channel, float* values, std::size_t count, float* power) const;
    /// Whether `convertBytes` can convert channels with so many measures.
    bool hasTables(std::size_t count) const;
    /// Converts all channels at once, to the same bits, where all raw values are bytes. Measure m
    /// of channel c stands at m * channels + c, before and after.
    void convertBytes(const unsigned char* raw, std::size_t channels, float* values,
                      float* powers) const;
    /// The power of physical values; `channel` is for the log.
    float computePower(unsigned channel, const FloatArray& values) const;

private:
    struct Key;
    struct Level;
    struct Section;
    struct Requirement;

    /// Values of a function for all raw values of one byte.
    using ByteTable = std::vector<float>;

    bool read(std::istream& stream);
    bool readSections(const Config& config, DefinitionReview* review);
    bool readDecoders(const ConfigSection& section, DefinitionReview* review);
    bool readLevel(const ConfigSection& section, const Level& level, DefinitionReview* review);
    bool meetsRequirements(DefinitionReview* review) const;
    void tabulateDecoders();
    float decode(std::size_t measure, float raw) const;
    float cosineOf(float rawPhase, float phase) const;
    bool isQuiet(float rawVoltage, float rawCurrent) const;
    float powerOf(unsigned channel, const float* values, float cosine) const;
    void silence(const unsigned char* raw, std::size_t channels, std::size_t channel, float* values,
                 float* powers) const;

    bool m_loaded = false;
    std::string m_generatorHost; // empty: none
    std::uint16_t m_generatorPort = 0;
    std::uint32_t m_channels = 0;
    std::array<std::uint32_t, gprotocol::BOARD_TYPE_COUNT> m_boardCounts{};
    Version m_amplifierVersion;
    gprotocol::AmplifierType m_amplifierType{};
    std::uint32_t m_measureCount = 0;
    std::vector<FloatArray> m_decoders; // one per measure; the index is the power
    unsigned char m_vthreshold = 0;     // raw
    unsigned char m_ithreshold = 0;     // raw
    float m_maxPower = 0.0F;            // [W]
    float m_onboardLoad = 50.0F;        // [Ohm]
    bool m_hasVoltage = false;
    FloatArray m_minVoltages;
    FloatArray m_maxVoltages;
    std::array<FloatArray, gprotocol::BOARD_TYPE_COUNT> m_minBOThresholds;
    std::array<FloatArray, gprotocol::BOARD_TYPE_COUNT> m_maxBOThresholds;
    Mask1D m_bkpMaskSNT;
    Mask1D m_bkpMaskAMP;
    gprotocol::BackPanelStorage m_backPanelTarget = gprotocol::BKP_RAM;
    std::uint32_t m_clock = 0; // [Hz]

    // made of the decoders
    std::vector<ByteTable> m_tables; // empty where a decoder is too long for one
    ByteTable m_phaseCosines;        // of the values in the phase's table
};

} // namespace fus
