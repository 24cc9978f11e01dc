// Sensors of a generator before protocol 3.0.

#include "MeterSource.h"

#include "fus/FloatArray.h"
#include "fus/Generator.h"

#include <exception>
#include <limits>
#include <utility>

namespace fus::tool {

using namespace gprotocol;

namespace {

constexpr float BAD_READING = -1000.0F;

/// A list that the generator gives: a value for each of its supplies, or for each amplifier.
struct ListRow {
    const char* name;
    const char* unit;
    BoardType type;
    unsigned (Generator::*count)() const;
    void (*read)(Generator& generator, FloatArray& values, bool thresholds);
    bool hasThresholds; ///< upper ones; there are no lower ones
};
constexpr ListRow LISTS[] = {
    {"vdc", "V", BOARD_PROCESSOR, &Generator::getPowerSupplyCount,
     [](Generator& generator, FloatArray& values, bool) { generator.readPowerSupplies(values); },
     false},
    {"tem", "C", BOARD_AMPLIFIER, &Generator::getAmplifierTemperatureCount,
     [](Generator& generator, FloatArray& values, bool thresholds) {
         generator.readAmplifierTemperatures(values, thresholds);
     },
     true},
    {"idc", "A", BOARD_AMPLIFIER, &Generator::getAmplifierCurrentCount,
     [](Generator& generator, FloatArray& values, bool thresholds) {
         generator.readAmplifierCurrents(values, thresholds);
     },
     true},
};

class ListSource : public Meter::Source {
public:
    ListSource(FUS& fus, Meter::GoOn goOn)
        : Source(std::move(goOn)), m_generator(fus.getGenerator()) {
        for (const ListRow& list : LISTS) {
            addList(list);
        }
        for (BoardReading& board : m_blank) {
            numberAlike(board.values);
        }
    }

    bool read(std::vector<BoardReading>& boards) override;

private:
    /// Where the next value of a list belongs to.
    struct Place {
        const ListRow* list;
        std::size_t board;
        std::size_t value;
    };

    void addList(const ListRow& list);
    std::size_t boardAt(BoardType type, unsigned address);
    FloatArray readList(const ListRow& list, bool thresholds);
    void takeList(const ListRow& list, std::vector<BoardReading>& boards);

    Generator& m_generator;
    std::vector<Place> m_places;
};

/// A list that doesn't come stays unread; if none of them comes, the generator is silent.
bool ListSource::read(std::vector<BoardReading>& boards) {
    bool answered = false;
    std::exception_ptr silence;
    for (const ListRow& list : LISTS) {
        if (!goesOn()) {
            return false;
        }
        if ((m_generator.*list.count)() == 0) {
            continue; // the library itself would refuse it: no answer either
        }
        try {
            takeList(list, boards);
            answered = true;
        } catch (const FUSException& error) {
            if (!isTimeOut(error)) {
                throw;
            }
            silence = std::current_exception();
        }
    }
    if (!answered && silence) {
        std::rethrow_exception(silence);
    }
    return true;
}

void ListSource::takeList(const ListRow& list, std::vector<BoardReading>& boards) {
    const FloatArray values = readList(list, false);
    std::size_t next = 0;
    for (const Place& place : m_places) {
        if (place.list == &list && next < values.size()) {
            boards[place.board].values[place.value].take(values.get(next++));
        }
    }
}

void ListSource::addList(const ListRow& list) {
    const unsigned count = (m_generator.*list.count)();
    const bool asks = count > 0 && list.hasThresholds && goesOn();
    const FloatArray most = asks ? readList(list, true) : FloatArray();
    for (unsigned i = 0; i < count; ++i) {
        const std::size_t board = boardAt(list.type, list.type == BOARD_AMPLIFIER ? i : 0);
        Value value;
        value.name = list.name;
        value.unit = list.unit;
        if (i < most.size() && most.get(i) > BAD_READING) {
            value.upper = most.get(i);
        }
        m_blank[board].values.push_back(std::move(value));
        m_places.push_back({&list, board, m_blank[board].values.size() - 1});
    }
}

std::size_t ListSource::boardAt(BoardType type, unsigned address) {
    for (std::size_t i = 0; i < m_blank.size(); ++i) {
        if (m_blank[i].type == type && m_blank[i].address == address) {
            return i;
        }
    }
    m_blank.emplace_back();
    m_blank.back().type = type;
    m_blank.back().address = address;
    return m_blank.size() - 1;
}

/// Empty if the generator refuses; NaN where it has no value.
FloatArray ListSource::readList(const ListRow& list, bool thresholds) {
    FloatArray values;
    attempt([&] { list.read(m_generator, values, thresholds); });
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values.get(i) <= BAD_READING) {
            values.set(i, std::numeric_limits<float>::quiet_NaN());
        }
    }
    return values;
}

} // namespace

std::unique_ptr<Meter::Source> makeListSource(FUS& fus, Meter::GoOn goOn) {
    return std::make_unique<ListSource>(fus, std::move(goOn));
}

} // namespace fus::tool
