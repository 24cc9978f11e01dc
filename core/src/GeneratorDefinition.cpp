#include "fus/P_GeneratorDefinition.h"

#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <streambuf>

namespace fus {

namespace {

/// A text as the buffer of a stream, without a copy.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(const char* text) {
        char* const begin = const_cast<char*>(text); // a buffer for reading doesn't write
        setg(begin, begin, begin + std::strlen(text));
    }
};

} // namespace

bool GeneratorDefinition::load(std::istream& stream) {
    clear();
    if (!stream.good()) {
        return false;
    }
    try {
        m_loaded = read(stream);
    } catch (const FUSException& e) {
        FUS_LOG(ERROR, "Error parsing generator definition: %s (%s@%d)", e.message(),
                e.sourceFile(), static_cast<int>(e.line()));
    } catch (const std::exception& e) { // a file that memory can't hold
        FUS_LOG(ERROR, "Error loading generator definition: %s", e.what());
    }
    if (!m_loaded) {
        clear();
    }
    return m_loaded;
}

bool GeneratorDefinition::loadFile(const char* filename) {
    std::ifstream file(filename, std::ios::binary);
    if (!file) {
        clear();
        FUS_LOG(ERROR, "Can not open file '%s'.", filename);
        return false;
    }
    return load(file);
}

bool GeneratorDefinition::loadText(const char* text) {
    TextBuffer buffer(text);
    std::istream stream(&buffer);
    return load(stream);
}

bool GeneratorDefinition::read(std::istream& stream) {
    Config config;
    config.read(stream);
    if (!readSections(config, nullptr) || !meetsRequirements(nullptr)) {
        return false;
    }
    if (stream.bad()) { // the end is missing, and nobody knows what it would have said
        FUS_LOG(ERROR, "Error loading generator definition: it can not be read to its end");
        return false;
    }
    tabulateDecoders();
    return true;
}

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
