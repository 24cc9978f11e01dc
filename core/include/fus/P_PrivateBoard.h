#pragma once

#include "fus/Board.h"
#include "fus/Mask1D.h"
#include "fus/P_PrivateMeasure.h"
#include "fus/Version.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace fus {

/// The address of a board that hasn't been read yet: one beyond the last connector.
constexpr std::uint16_t NO_BOARD_ADDRESS = 32;

/// The record of one physical board. Written while the connection is set up, constant afterwards,
/// save for the status.
class PrivateBoard {
public:
    explicit PrivateBoard(std::uint32_t hardwareId) : hwid(hardwareId) {}
    PrivateBoard(const PrivateBoard&) = delete;
    PrivateBoard& operator=(const PrivateBoard&) = delete;
    virtual ~PrivateBoard();

    Version hardwareVersion;
    Version firmwareVersion;
    std::uint32_t uniqueID = 0;
    std::uint32_t CRC = 0;
    std::string buildTime;
    std::string revisionHash;
    const std::uint32_t hwid; ///< HWID_PROCESSOR and so on
    std::uint16_t address = NO_BOARD_ADDRESS;
    bool active = false;
    std::atomic<std::uint32_t> status{0}; ///< as last refreshed, from any thread
    MeasureList boardMeasures;
};

class PrivateBoardUPB final : public PrivateBoard {
public:
    PrivateBoardUPB();

    std::uint32_t bufferCount = 0;
    std::uint32_t bufferMaxSize = 0; ///< shots
    bool hasTriggerInput = false;
    bool hasMultiplexer = false;
};

class PrivateBoardSNT final : public PrivateBoard {
public:
    PrivateBoardSNT();

    Mask1D channelMask;
    std::uint32_t synthesizerCount = 0;
    bool hasHardwareShotDuration = false;
    bool hasWatchdogErrorDetection = false;
};

class PrivateBoardAMP final : public PrivateBoard {
public:
    PrivateBoardAMP();

    MeasureList channelMeasures;
    Mask1D channelMask;
    bool hasHardwareShotDuration = false;
    bool hasPowerSupplyControl = false;
};

class PrivateBoardMOT final : public PrivateBoard {
public:
    PrivateBoardMOT();
};

/// The one place that makes public handles. The records must outlive the handles.
struct HandleMaker {
    static Board board(const PrivateBoard& record) { return Board(&record); }
    static BoardUPB board(const PrivateBoardUPB& record) { return BoardUPB(&record); }
    static BoardSNT board(const PrivateBoardSNT& record) { return BoardSNT(&record); }
    static BoardAMP board(const PrivateBoardAMP& record) { return BoardAMP(&record); }
    static BoardMOT board(const PrivateBoardMOT& record) { return BoardMOT(&record); }
    static Measure measure(const PrivateMeasure& record) { return Measure(&record); }
};

} // namespace fus
