#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"
#include "fus/Mask1D.h"
#include "fus/Measure.h"
#include "fus/Version.h"

#include <cstdint>

namespace fus {

class PrivateBoard;
class PrivateBoardAMP;
class PrivateBoardMOT;
class PrivateBoardSNT;
class PrivateBoardUPB;

/// What the connected generator says about one of its boards.
///
/// A board is a handle of one pointer into the description of the generator: copying it copies the
/// pointer, destroying it leaves the description alone. It may be read on any thread, and it must
/// not be used after the connection is closed: there is no check, a use after that crashes. What is
/// returned as `const char*` (never null) belongs to the description and lives as long as it does.
class FUS_API Board {
public:
    Board(const Board& other) = default;
    Board& operator=(const Board& other) = default;
    virtual ~Board();

    Version hardwareVersion() const;
    Version firmwareVersion() const;
    /// 0 where the generator doesn't tell (V2).
    std::uint32_t uniqueID() const;
    /// CRC of the firmware; 0 where the generator doesn't tell (V2).
    std::uint32_t CRC() const;
    /// Build time of the firmware, as the generator writes it; may be empty.
    const char* buildTime() const;
    /// Revision of the firmware in its version control; may be empty.
    const char* revisionHash() const;

    /// Throws ERR_INDEX for a board of a kind that the library doesn't know.
    gprotocol::BoardType boardType() const;
    /// The connector of the back panel, 0..31.
    std::uint16_t address() const;
    /// Tells whether the back panel's configuration uses this board.
    bool isActive() const;

    std::uint32_t boardMeasureCount() const;
    /// A measure of the board as a whole, 0..boardMeasureCount()-1. Throws ERR_INDEX beyond.
    Measure boardMeasure(std::uint32_t index) const;

protected:
    explicit Board(const PrivateBoard* board) : m_board(board) {}

    const PrivateBoard* m_board;

private:
    friend struct HandleMaker;
};

/// The processor board; every generator has exactly one.
class FUS_API BoardUPB : public Board {
public:
    /// Trajectory buffers.
    std::uint32_t bufferCount() const;
    /// Shots that one buffer takes.
    std::uint32_t bufferMaxSize() const;
    bool hasTriggerInput() const;
    /// Always false on a V3 generator.
    bool hasMultiplexer() const;

private:
    friend struct HandleMaker;
    explicit BoardUPB(const PrivateBoardUPB* board);

    const PrivateBoardUPB* m_upb;
};

/// A synthesizer board.
class FUS_API BoardSNT : public Board {
public:
    /// The channels of this slot that the board drives, 16 entries; a copy.
    Mask1D channelMask() const;
    /// Synthesizer chips on the board.
    std::uint32_t synthesizerCount() const;
    bool hasHardwareShotDuration() const;
    bool hasWatchdogErrorDetection() const;

private:
    friend struct HandleMaker;
    explicit BoardSNT(const PrivateBoardSNT* board);

    const PrivateBoardSNT* m_snt;
};

/// An amplifier board.
class FUS_API BoardAMP : public Board {
public:
    std::uint32_t channelMeasureCount() const;
    /// A measure taken on every channel, 0..channelMeasureCount()-1. Throws ERR_INDEX beyond.
    Measure channelMeasure(std::uint32_t index) const;
    /// The channels of this slot that the board drives, 16 entries; a copy.
    Mask1D channelMask() const;
    bool hasHardwareShotDuration() const;
    bool hasPowerSupplyControl() const;

private:
    friend struct HandleMaker;
    explicit BoardAMP(const PrivateBoardAMP* board);

    const PrivateBoardAMP* m_amp;
};

/// The board of the mechanical system.
class FUS_API BoardMOT : public Board {
private:
    friend struct HandleMaker;
    explicit BoardMOT(const PrivateBoardMOT* board);
};

} // namespace fus
