// Sensors of a generator before protocol 3.0.

#include "MeterSource.h"

#include "fus/FloatArray.h"
#include "fus/Generator.h"

#include <algorithm>
#include <limits>

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
    explicit ListSource(FUS& fus) : m_generator(fus.getGenerator()) {
        for (const ListRow& list : LISTS) {
            addList(list);
        }
        for (BoardReading& board : m_blank) {
            numberAlike(board.values);
        }
    }

    bool read(std::vector<BoardReading>& boards, const std::function<bool()>& goOn) override {
        for (const ListRow& list : LISTS) {
            if (!goOn()) {
                return false;
            }
            const FloatArray values = readList(list, false);
            std::size_t next = 0;
            for (const Place& place : m_places) {
                if (place.list == &list && next < values.size()) {
                    boards[place.board].values[place.value].take(values.get(next++));
                }
            }
        }
        return true;
    }

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

    Generator& m_generator;
    std::vector<Place> m_places;
};

void ListSource::addList(const ListRow& list) {
    const unsigned count = (m_generator.*list.count)();
    const FloatArray most = count > 0 && list.hasThresholds ? readList(list, true) : FloatArray();
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

std::unique_ptr<Meter::Source> makeListSource(FUS& fus) {
    return std::make_unique<ListSource>(fus);
}

} // namespace fus::tool
