#include "fus/P_GeneratorDefinition.h"

#include "fus/P_LogMacros.h"

#include <algorithm>

namespace fus {

void GeneratorDefinition::clear() {
    *this = GeneratorDefinition();
}

unsigned GeneratorDefinition::boardCount(unsigned type) const {
    if (type >= m_boardCounts.size()) {
        FUS_THROW(ERR_ARGUMENT);
    }
    return m_boardCounts[type];
}

const FloatArray& GeneratorDefinition::boardThresholds(gprotocol::BoardType type,
                                                       bool upper) const {
    if (type >= gprotocol::BOARD_TYPE_COUNT) {
        FUS_THROW_INDEX("board type", type, gprotocol::BOARD_TYPE_COUNT);
    }
    return upper ? m_maxBOThresholds[type] : m_minBOThresholds[type];
}

unsigned GeneratorDefinition::checkVoltages(const FloatArray& values) const {
    if (m_minVoltages.size() == 0) {
        FUS_LOG(INFO, "Check voltage ignored since no min/max in definition.");
        return 0;
    }
    unsigned bad = 0;
    const std::size_t count = std::min(values.size(), m_minVoltages.size());
    for (std::size_t i = 0; i < count; ++i) {
        const float value = values[i];
        if (value < m_minVoltages[i] || value > m_maxVoltages[i]) {
            FUS_LOG(ERROR, "bad voltage[%u]: %g not within [%g, %g]", static_cast<unsigned>(i),
                    static_cast<double>(value), static_cast<double>(m_minVoltages[i]),
                    static_cast<double>(m_maxVoltages[i]));
            ++bad;
        }
    }
    return bad;
}

} // namespace fus
