// Sensors of a generator since protocol 3.0.

#include "MeterSource.h"

#include "Text.h"

#include "fus/FloatArray.h"
#include "fus/Generator.h"

#include <algorithm>
#include <utility>

namespace fus::tool {

using namespace gprotocol;

namespace {

class BoardSource : public Meter::Source {
public:
    BoardSource(FUS& fus, Meter::GoOn goOn)
        : Source(std::move(goOn)), m_generator(fus.getGenerator()) {
        const auto held = fus.holdDescription(); // the link may break in the middle
        for (const EnumRow& row : BOARD_TYPES) {
            const auto type = static_cast<BoardType>(row.value);
            for (unsigned i = 0; i < fus.getDetectedBoardCount(type); ++i) {
                addBoard(fus.getBoard(type, i));
            }
        }
    }

    bool read(std::vector<BoardReading>& boards) override;

private:
    void addBoard(const Board& board);
    Value describe(const Board& board, unsigned index);
    std::uint32_t threshold(const Board& board, unsigned index, bool upper);
    bool refreshStatus();
    void readValues(BoardReading& board);

    Generator& m_generator;
};

bool BoardSource::read(std::vector<BoardReading>& boards) {
    const bool known = goesOn() && refreshStatus();
    for (BoardReading& board : boards) {
        if (!goesOn()) {
            return false;
        }
        if (known) {
            board.status = m_generator.getBoardStatus(board.type, board.address);
        }
        if (!board.values.empty()) {
            readValues(board);
        }
    }
    return true;
}

/// Comes first and throws a time-out, since it tells whether the generator answers at all: each
/// board that doesn't is waited for. False if it refuses.
bool BoardSource::refreshStatus() {
    return attempt([&] { m_generator.refreshBoardsStatus(); });
}

/// A board may be silent alone.
void BoardSource::readValues(BoardReading& board) {
    FloatArray values;
    try {
        attempt([&] { m_generator.readBoardMeasures(board.type, board.address, values, false); });
    } catch (const FUSException& error) {
        if (!isTimeOut(error)) {
            throw;
        }
    }
    const std::size_t count = std::min(values.size(), board.values.size());
    for (std::size_t i = 0; i < count; ++i) {
        board.values[i].take(values.get(i));
    }
}

void BoardSource::addBoard(const Board& board) {
    BoardReading blank;
    blank.type = board.boardType();
    blank.address = board.address();
    for (unsigned i = 0; board.isActive() && i < board.boardMeasureCount(); ++i) {
        blank.values.push_back(describe(board, i));
    }
    numberAlike(blank.values);
    m_blank.push_back(std::move(blank));
}

Value BoardSource::describe(const Board& board, unsigned index) {
    const Measure measure = board.boardMeasure(index);
    Value value;
    value.name = printable(measure.name());
    value.unit = printable(measure.unitSymbol());
    const std::uint32_t least = threshold(board, index, false);
    const std::uint32_t most = threshold(board, index, true);
    if (least == 0 && most == 0) { // it has none
        return value;
    }
    if (least > measure.minADCValue()) {
        value.lower = measure.physicalFromADC(least);
    }
    if (most < (measure.size() < sizeof(most) ? measure.maxADCValue() : ~std::uint32_t{0})) {
        value.upper = measure.physicalFromADC(most);
    }
    // A sensor whose raw value falls while the physical one rises has them the other way round.
    if (measure.physicalFromADC(least) > measure.physicalFromADC(most)) {
        std::swap(value.lower, value.upper);
    }
    return value;
}

/// As the board says; what it said of itself at connect if it refuses, or shall not be asked.
std::uint32_t BoardSource::threshold(const Board& board, unsigned index, bool upper) {
    const Measure measure = board.boardMeasure(index);
    std::uint32_t raw = upper ? measure.upperThreshold() : measure.lowerThreshold();
    if (goesOn()) {
        attempt([&] {
            raw = m_generator.readBoardThreshold(board.boardType(), board.address(), index, upper);
        });
    }
    return raw;
}

} // namespace

std::unique_ptr<Meter::Source> makeBoardSource(FUS& fus, Meter::GoOn goOn) {
    return std::make_unique<BoardSource>(fus, std::move(goOn));
}

} // namespace fus::tool
