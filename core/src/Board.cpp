#include "fus/Board.h"

#include "fus/P_LogMacros.h"
#include "fus/P_PrivateBoard.h"

namespace fus {

namespace {

const PrivateMeasure& measureAt(const MeasureList& list, std::uint32_t index, const char* subject) {
    if (index >= list.size()) {
        FUS_THROW_INDEX(subject, index, list.size());
    }
    return *list[index];
}

} // namespace

Board::~Board() = default;

Version Board::hardwareVersion() const {
    return m_board->hardwareVersion;
}

Version Board::firmwareVersion() const {
    return m_board->firmwareVersion;
}

std::uint32_t Board::uniqueID() const {
    return m_board->uniqueID;
}

std::uint32_t Board::CRC() const {
    return m_board->CRC;
}

const char* Board::buildTime() const {
    return m_board->buildTime.c_str();
}

const char* Board::revisionHash() const {
    return m_board->revisionHash.c_str();
}

gprotocol::BoardType Board::boardType() const {
    return gprotocol::hardwareIDToBoardType(m_board->hwid);
}

std::uint16_t Board::address() const {
    return m_board->address;
}

bool Board::isActive() const {
    return m_board->active;
}

std::uint32_t Board::boardMeasureCount() const {
    return static_cast<std::uint32_t>(m_board->boardMeasures.size());
}

Measure Board::boardMeasure(std::uint32_t index) const {
    return HandleMaker::measure(measureAt(m_board->boardMeasures, index, "board measure index"));
}

BoardUPB::BoardUPB(const PrivateBoardUPB* board) : Board(board), m_upb(board) {}

std::uint32_t BoardUPB::bufferCount() const {
    return m_upb->bufferCount;
}

std::uint32_t BoardUPB::bufferMaxSize() const {
    return m_upb->bufferMaxSize;
}

bool BoardUPB::hasTriggerInput() const {
    return m_upb->hasTriggerInput;
}

bool BoardUPB::hasMultiplexer() const {
    return m_upb->hasMultiplexer;
}

BoardSNT::BoardSNT(const PrivateBoardSNT* board) : Board(board), m_snt(board) {}

Mask1D BoardSNT::channelMask() const {
    return m_snt->channelMask;
}

std::uint32_t BoardSNT::synthesizerCount() const {
    return m_snt->synthesizerCount;
}

bool BoardSNT::hasHardwareShotDuration() const {
    return m_snt->hasHardwareShotDuration;
}

bool BoardSNT::hasWatchdogErrorDetection() const {
    return m_snt->hasWatchdogErrorDetection;
}

BoardAMP::BoardAMP(const PrivateBoardAMP* board) : Board(board), m_amp(board) {}

std::uint32_t BoardAMP::channelMeasureCount() const {
    return static_cast<std::uint32_t>(m_amp->channelMeasures.size());
}

Measure BoardAMP::channelMeasure(std::uint32_t index) const {
    return HandleMaker::measure(measureAt(m_amp->channelMeasures, index, "channel measure index"));
}

Mask1D BoardAMP::channelMask() const {
    return m_amp->channelMask;
}

bool BoardAMP::hasHardwareShotDuration() const {
    return m_amp->hasHardwareShotDuration;
}

bool BoardAMP::hasPowerSupplyControl() const {
    return m_amp->hasPowerSupplyControl;
}

BoardMOT::BoardMOT(const PrivateBoardMOT* board) : Board(board) {}

} // namespace fus
