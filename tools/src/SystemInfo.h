#pragma once

#include "fus/FUS.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fus::tool {

// What is known about a connected generator, as plain values that outlive the connection.

/// Short names of the board types, by gprotocol::BoardType.
constexpr const char* BOARD_NAMES[gprotocol::BOARD_TYPE_COUNT] = {"UPB", "SNT", "AMP", "MOT"};

struct MeasureInfo {
    std::string name;
    std::string unit; ///< its symbol
    unsigned bytes = 0;
    std::uint32_t lowerADC = 0; ///< thresholds; both 0: the generator has none for it
    std::uint32_t upperADC = 0;
    float lower = 0; ///< the same [unit], in order also where raw values fall as these rise
    float upper = 0;

    bool hasThresholds() const { return lowerADC != 0 || upperADC != 0; }
    bool operator==(const MeasureInfo& other) const;
};

struct BoardData {
    gprotocol::BoardType type = gprotocol::BOARD_PROCESSOR;
    unsigned address = 0;
    bool active = false;
    Version hardware;
    Version firmware;
    std::uint32_t uniqueId = 0; ///< 0: not told
    std::uint32_t crc = 0;
    std::uint32_t firmwareSize = 0; ///< [bytes], 0: not told
    std::string buildTime;
    std::string revision;
    std::vector<MeasureInfo> measures;
    std::vector<MeasureInfo> channelMeasures; ///< of an amplifier

    const char* typeName() const { return BOARD_NAMES[type]; }
};

/// Of one execution mode [us].
struct ModeLimits {
    const char* name = nullptr;
    bool available = false;
    unsigned minShooting = 0;
    unsigned maxShooting = 0;
    unsigned minTotal = 0;
    unsigned maxTotal = 0;
    unsigned maxTrajectoryDelay = 0;
    unsigned maxTrajectorySize = 0; ///< shots
};

struct AxisInfo {
    unsigned position = 0; ///< of the encoder [step]
    bool originFound = false;
    bool motorDetected = false;
};

/// What the mechanical board tells without a definition; what it refused is missing.
struct MechanicsInfo {
    std::optional<unsigned> maxMoves;
    std::optional<unsigned> maxAxes;
    std::vector<AxisInfo> axes;
    std::string status; ///< empty: unknown
};

struct SystemInfo {
    gprotocol::GenType kind = gprotocol::GEN_UNKNOWN;
    Version protocol;
    unsigned channels = 0;
    unsigned channelMeasures = 0;
    unsigned buffers = 0;
    bool triggerInput = false;
    bool multiplexer = false;
    bool shotRamp = false;
    unsigned maxRamp = 0;            ///< [us]
    unsigned minTrajectoryDelay = 0; ///< [us]
    unsigned minRepeatShotDelay = 0; ///< [us]
    std::vector<BoardData> boards;   ///< by type, then by position
    std::vector<ModeLimits> modes;
    std::optional<MechanicsInfo> mechanics;
};

/// Asks the connected generator. What a board refuses stays out. Throws FUSException when
/// the link breaks or the generator doesn't answer any more.
SystemInfo readSystemInfo(FUS& fus);

/// "a real generator", "a simulator", "a generator"; by gprotocol::GenType.
const char* kindText(gprotocol::GenType kind);

} // namespace fus::tool
