#pragma once

#include "fus/GProtocol.h"
#include "fus/Mask1D.h"
#include "fus/P_PrivateBoard.h"
#include "fus/Version.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fus {

class Config;
class ConfigSection;

/// The counts of a generator. The numbers are part of the interface.
enum CountIndex : unsigned {
    NB_ACTIVE_BOARDS = 0,
    NB_PROCESSOR_BOARDS = 1,
    NB_DETECTED_SYNTHESIZER_BOARDS = 2,
    NB_DETECTED_AMPLIFIER_BOARDS = 3,
    NB_MECHANICS_BOARDS = 4,
    NB_ACTIVE_SYNTHESIZER_BOARDS = 5,
    NB_ACTIVE_AMPLIFIER_BOARDS = 6,
    NB_CHANNELS = 7,
    NB_BUFFERS = 8,
    NB_MAX_TRAJECTORY_SIZE = 9,  ///< shots in one buffer
    NB_MAX_COMPOSITE_SHOTS = 10, ///< shots of a composite trajectory
    NB_POWER_SUPPLIES = 11,
    NB_AMPLIFIER_CURRENTS = 12,
    NB_AMPLIFIER_TEMPERATURES = 13,
    NB_AMPLIFIER_CHANNEL_MEASURES = 14,
    NB_AMPLIFIER_BOARD_MEASURES = 15,
    NB_AMPLIFIER_CHANNEL_MEASURES_SIZE = 16, ///< [byte] for one channel
    NB_AMPLIFIER_BOARD_MEASURES_SIZE = 17,   ///< [byte] for one board
    NB_CHANNELS_PER_SLOT = 18,
    NB_MAX_BOARD_ADDRESS = 19,
};
constexpr unsigned COUNT_TOTAL = 20;

/// The count of the boards in use, by BoardType.
constexpr CountIndex BOARDS_IN_USE[gprotocol::BOARD_TYPE_COUNT] = {
    NB_PROCESSOR_BOARDS, NB_ACTIVE_SYNTHESIZER_BOARDS, NB_ACTIVE_AMPLIFIER_BOARDS,
    NB_MECHANICS_BOARDS};

/// The timings of a generator [us, but for TIME_MAX_BOARD_TIMEOUT]. The numbers are part of the
/// interface.
enum TimingIndex : unsigned {
    TIME_MIN_SHOOTING = 0,
    TIME_MAX_SHOOTING = 1,
    TIME_MIN_QUICK_SHOOTING = 2,
    TIME_MAX_QUICK_SHOOTING = 3,
    TIME_MIN_TOTAL_SHOT = 4,
    TIME_MAX_TOTAL_SHOT = 5,
    TIME_MIN_QUICK_TOTAL_SHOT = 6,
    TIME_MIN_REPEAT_TOTAL_SHOT = 7,
    TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG = 8,
    TIME_MIN_TRAJECTORY_DELAY = 9,
    TIME_MAX_TRAJECTORY_DELAY = 10,
    TIME_MAX_REPEAT_TRAJECTORY_DELAY = 11, ///< always 0, on purpose
    TIME_MAX_BOARD_TIMEOUT = 12,           ///< [ms]
    TIME_MAX_RAMP = 13,
    TIME_MIN_HEARTBEAT_TIMEOUT = 14,
};
constexpr unsigned TIMING_TOTAL = 15;

/// "NB_CHANNELS"...; "NB_???" for a value outside the enumeration.
const char* countName(unsigned index);
/// "TIME_MAX_RAMP"...; "TIME_???" for a value outside the enumeration.
const char* timingName(unsigned index);

/// What getFlag() takes.
enum FlagType : unsigned { FLAG_MULTIPLEXER = 0, FLAG_TRIGGER_INPUT = 1 };

/// What getVersion() takes. SNT and AMP mean the first active board.
enum VersionType : unsigned {
    VERSION_UPB_HARDWARE = 0,
    VERSION_UPB_FIRMWARE = 1,
    VERSION_SNT_HARDWARE = 2,
    VERSION_SNT_FIRMWARE = 3,
    VERSION_AMP_HARDWARE = 4,
    VERSION_AMP_FIRMWARE = 5,
    VERSION_MOT_HARDWARE = 6,
    VERSION_MOT_FIRMWARE = 7,
    VERSION_PROTOCOL = 8,
};

/// What findMeasure() gives for a name that isn't there.
constexpr unsigned NB_NOT_FOUND_MEASURE = 0x1F1F1F1F;

/// From here on the generator answers board parameters.
constexpr unsigned PROTOCOL_V3_PARAMETERS = 300;
/// From here on the generator is a V3 one in everything.
constexpr unsigned PROTOCOL_V3_FULL = 301;

/// Where refine() gets its values from; the connection implements it. Both calls block until the
/// board has answered, and throw what a board command throws.
class ParameterSource {
public:
    virtual ~ParameterSource() = default;
    virtual unsigned long long readParam(unsigned hwid, unsigned address, unsigned short param) = 0;
    /// Reads the definition of a board measure into its record (see decodeMeasureDefinition()).
    virtual void readMeasureDefinition(PrivateBoard& board, unsigned index) = 0;
};

/// The description of the connected generator: its boards, and the counts and timings that every
/// check of a shot or a trajectory uses.
///
/// Written by load() before the connection's reader runs, and by refine() before anybody else uses
/// the connection; read by any thread afterwards, without a lock. Counts, timings and the boards'
/// status may also be written later. Boards are owned here and die at reset(), and so at the next
/// load() and at destruction.
class GeneratorConfig {
public:
    GeneratorConfig();
    ~GeneratorConfig();
    GeneratorConfig(const GeneratorConfig&) = delete;
    GeneratorConfig& operator=(const GeneratorConfig&) = delete;

    /// Empties everything and sets the three values that no generator tells.
    void reset();

    /// Reads the INI text of a generator, in the V3 layout if it has a section [UPB00], else in the
    /// V2 layout. Throws ERR_CONFIG_PARSE for a text that isn't INI (the object is then as before),
    /// for a missing mandatory section, for too many channels per board, and for more boards or
    /// measures than a generator can have (the object is then as far as it had come).
    void load(const std::string& iniText);

    /// Replaces what a generator of protocol 3.0 or above tells better by parameters, and reads the
    /// definitions of all board measures. A value that can't be read stays as it is. Throws
    /// ERR_CONFIG, at the end, when some measure has no valid definition.
    void refine(ParameterSource& source);

    /// Throws ERR_INDEX for a value outside CountIndex.
    std::uint32_t getCount(unsigned index) const {
        if (index >= COUNT_TOTAL) {
            throwCountIndex(index);
        }
        return m_counts[index].load(std::memory_order_relaxed);
    }
    void setCount(unsigned index, std::uint32_t value);

    /// Throws ERR_INDEX for a value outside TimingIndex.
    std::uint32_t getTiming(unsigned index) const {
        if (index >= TIMING_TOTAL) {
            throwTimingIndex(index);
        }
        return m_timings[index].load(std::memory_order_relaxed);
    }
    void setTiming(unsigned index, std::uint32_t value);

    // In what follows `hwid` is HWID_PROCESSOR, HWID_SYNTHESIZER, HWID_AMPLIFIER or HWID_MECHANICS;
    // another value throws ERR_INDEX where nothing else is said.

    /// The board of this address (not position), or null. Processor and mechanics have address 0.
    const PrivateBoard* findBoard(unsigned hwid, unsigned address) const;
    /// The board at this position, active ones first. Throws ERR_INDEX beyond boardCount().
    const PrivateBoard& boardAt(unsigned hwid, unsigned index) const;
    /// Detected boards, active or not.
    unsigned boardCount(unsigned hwid) const;
    /// As boardAt().
    const PrivateBoardAMP& amplifierAt(unsigned index) const;
    const PrivateBoardSNT& synthesizerAt(unsigned index) const;

    /// The board measures of the processor or of the first active amplifier, which stands for all
    /// amplifiers; null for any other `hwid` and where there is no such board.
    const MeasureList* measures(unsigned hwid) const;
    /// Position in measures(), or NB_NOT_FOUND_MEASURE.
    unsigned findMeasure(unsigned hwid, const char* name) const;

    /// A feature of the processor board, by FlagType. Throws ERR_NOT_CONNECTED without a board, and
    /// ERR_INDEX for another flag.
    bool getFlag(unsigned flagType) const;
    /// By VersionType; `nullVersion` where there is no such board. Throws ERR_INDEX for another
    /// type.
    Version getVersion(unsigned versionType) const;

    /// Throws ERR_ARGUMENT where there is no such board.
    bool isBoardActive(unsigned hwid, unsigned address) const;
    /// Stores the status that a board reported. Any thread. Throws ERR_ARGUMENT where there is no
    /// such board.
    void updateBoardStatus(unsigned hwid, unsigned address, std::uint32_t status);

    /// The text as it was given to load().
    const std::string& iniText() const { return m_iniText; }
    /// All boards, in the order processor, synthesizers, amplifiers, mechanics, by rising address.
    const std::vector<std::unique_ptr<PrivateBoard>>& boards() const { return m_boards; }
    const PrivateBoardUPB* upb() const { return m_upb; }
    const PrivateBoardSNT* firstActiveSnt() const { return m_firstActiveSnt; }
    const PrivateBoardAMP* firstActiveAmp() const { return m_firstActiveAmp; }
    const PrivateBoardMOT* mot() const { return m_mot; }
    const Version& protocolVersion() const { return m_protocolVersion; }
    /// major * 100 + minor: below 300 V2, from 301 on V3 in everything.
    unsigned protocolNumber() const { return m_protocolNumber; }
    gprotocol::GenType generatorType() const { return m_generatorType; }
    /// The back panel's channels as a V3 generator reports them; empty for V2.
    const Mask1D& sntConfiguration() const { return m_sntConfiguration; }
    const Mask1D& ampConfiguration() const { return m_ampConfiguration; }

private:
    // What readV2 and readV3 find out on the way to the counts.
    struct Tally {
        unsigned channels = 0;
        unsigned activeSnt = 0;
        unsigned activeAmp = 0;
        unsigned temperatures = 0;
        unsigned currents = 0;
        unsigned compositeShots = 0;
        unsigned ampChannels = 0;
    };

    void readV2(const Config& ini);
    void readV2Processor(const ConfigSection& hardware, const ConfigSection& version);
    void readV2Synthesizers(const ConfigSection& hardware, const ConfigSection& version,
                            Tally& tally);
    void readV2Amplifiers(const ConfigSection& hardware, const ConfigSection& version,
                          Tally& tally);

    void readV3(const Config& ini);
    void readV3Processor(const ConfigSection& section);
    void readV3Synthesizers(const Config& ini, const std::vector<unsigned>& channels, Tally& tally);
    void readV3Amplifiers(const Config& ini, const std::vector<unsigned>& channels, Tally& tally);

    template <class BoardT>
    BoardT& addBoard(unsigned address, bool active) {
        auto owned = std::make_unique<BoardT>();
        BoardT& board = *owned;
        board.address = static_cast<std::uint16_t>(address);
        board.active = active;
        m_boards.push_back(std::move(owned));
        return board;
    }
    void addToRack(PrivateBoardSNT& board, Tally& tally);
    void addToRack(PrivateBoardAMP& board, Tally& tally);
    void setProtocol(const Version& version);
    void setProtocolFromFirmware();
    void fillCounts(const Tally& tally);
    void readTimings(const ConfigSection& section);
    const ConfigSection& mandatorySection(const Config& ini, const char* name) const;

    void refineCounts(ParameterSource& source);
    void refineTimings(ParameterSource& source);
    bool readMeasureDefinitions(ParameterSource& source);
    void readMechanicsId(ParameterSource& source);

    PrivateBoard* findRecord(unsigned hwid, unsigned address) const;
    PrivateBoard& existingRecord(unsigned hwid, unsigned address) const;
    [[noreturn]] static void throwCountIndex(unsigned index);
    [[noreturn]] static void throwTimingIndex(unsigned index);

    // Constant once the connection is set up
    std::string m_iniText;
    std::vector<std::unique_ptr<PrivateBoard>> m_boards;
    PrivateBoardUPB* m_upb = nullptr;
    std::vector<PrivateBoardSNT*> m_sntBoards;
    PrivateBoardSNT* m_firstActiveSnt = nullptr;
    std::vector<PrivateBoardAMP*> m_ampBoards;
    PrivateBoardAMP* m_firstActiveAmp = nullptr;
    PrivateBoardMOT* m_mot = nullptr;
    Version m_protocolVersion;
    std::uint32_t m_protocolNumber = 0;
    gprotocol::GenType m_generatorType{};
    Mask1D m_sntConfiguration;
    Mask1D m_ampConfiguration;

    // Atomic, no lock
    std::array<std::atomic<std::uint32_t>, COUNT_TOTAL> m_counts;
    std::array<std::atomic<std::uint32_t>, TIMING_TOTAL> m_timings;
};

} // namespace fus
