// The generator that is connected against the one that the installation should have.

#include "fus/FUS.h"

#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_FUSPrivate.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace fus {

using namespace gprotocol;

namespace {

void requireDefinition(const GeneratorDefinition& definition) {
    if (!definition.isLoaded()) {
        FUS_THROW_MSG(ERR_CONFIG, "No generator definition loaded");
    }
}

std::string signedText(unsigned number) {
    return std::to_string(static_cast<int>(number));
}

constexpr const char* BOARD_COUNT_KEYS[BOARD_TYPE_COUNT] = {nullptr, "generatorCount",
                                                            "amplifierCount", "mechanicsCount"};

/// In the order in which they are checked.
class Mismatches {
public:
    void addCount(const char* section, const char* key, const char* what, unsigned got,
                  unsigned expected) {
        if (got != expected) {
            add(section, key, what,
                " (got " + signedText(got) + " but expecting " + signedText(expected) + ")");
        }
    }

    void addVersion(const Version& expected, const Version& connected) {
        if (expected != connected) {
            add("amplifier", "version", "amplifier version",
                " (expected: " + expected.toString() + ", connected: " + connected.toString() +
                    ")");
        }
    }

    void addBoards(BoardType type, unsigned got, unsigned expected) {
        if (got != expected) {
            add("config", BOARD_COUNT_KEYS[type], "board count",
                std::string(" for type ") + BOARD_SHORT_NAMES[type] + " (got " + signedText(got) +
                    " while " + signedText(expected) + " expected)");
        }
    }

    std::vector<ConfigurationMismatch> take() { return std::move(m_all); }

private:
    void add(const char* section, const char* key, const char* what, const std::string& details) {
        m_all.push_back(
            {section, key, std::string("Generator configuration mismatch: bad ") + what, details});
    }

    std::vector<ConfigurationMismatch> m_all;
};

/// Writes the thresholds of one board.
class ThresholdWriter {
public:
    ThresholdWriter(Generator& generator, const Board& board)
        : m_generator(generator), m_board(board) {}

    void apply(const FloatArray& lower, const FloatArray& upper) {
        for (unsigned m = 0; m < m_board.boardMeasureCount(); ++m) {
            if (m < lower.size() && m < upper.size()) {
                // first the widest range, so that the board never sees lower above upper
                write(m, false, 0);
                write(m, true, m_board.boardMeasure(m).maxADCValue());
            }
            tryBound(m, false, lower);
            tryBound(m, true, upper);
        }
    }

private:
    void write(unsigned measure, bool upper, unsigned value) {
        m_generator.setBoardThreshold(m_board.boardType(), m_board.address(), measure, upper,
                                      value);
    }

    void tryBound(unsigned measure, bool upper, const FloatArray& bounds) {
        if (measure >= bounds.size()) {
            return;
        }
        try {
            write(measure, upper, m_board.boardMeasure(measure).physicalToADC(bounds[measure]));
        } catch (const FUSException&) {
            // logged where it was thrown; the other bounds still count
        }
    }

    Generator& m_generator;
    const Board& m_board;
};

bool hasThresholds(const GeneratorDefinition& definition, BoardType type) {
    return definition.boardThresholds(type, false).size() != 0 ||
           definition.boardThresholds(type, true).size() != 0;
}

bool hasThresholds(const GeneratorDefinition& definition) {
    return std::any_of(std::begin(BOARD_TYPES), std::end(BOARD_TYPES), [&](const EnumRow& type) {
        return hasThresholds(definition, static_cast<BoardType>(type.value));
    });
}

void applyThresholds(Generator& generator, const GeneratorConfig& config,
                     const GeneratorDefinition& definition, BoardType type) {
    if (!hasThresholds(definition, type)) {
        return;
    }
    const unsigned hwid = boardTypeToHardwareID(type);
    const unsigned count = std::min(config.getCount(BOARDS_IN_USE[type]), config.boardCount(hwid));
    for (unsigned i = 0; i < count; ++i) {
        const PrivateBoard& record = config.boardAt(hwid, i);
        if (record.active) {
            ThresholdWriter(generator, HandleMaker::board(record))
                .apply(definition.boardThresholds(type, false),
                       definition.boardThresholds(type, true));
        }
    }
}

} // namespace

std::shared_ptr<const GeneratorDefinition> FUS::Private::definition() const {
    return m_generator.getDefinition();
}

std::vector<ConfigurationMismatch> configurationMismatches(const GeneratorConfig& config,
                                                           const GeneratorDefinition& definition) {
    Mismatches mismatches;
    mismatches.addCount("config", "channels", "channel count", config.getCount(NB_CHANNELS),
                        definition.channels());
    mismatches.addCount("amplifier", "measures", "shot result measurement count",
                        config.getCount(NB_AMPLIFIER_CHANNEL_MEASURES), definition.measureCount());
    mismatches.addVersion(definition.amplifierVersion(), config.getVersion(VERSION_AMP_HARDWARE));
    for (const BoardType type : {BOARD_SYNTHESIZER, BOARD_AMPLIFIER, BOARD_MECHANICS}) {
        mismatches.addBoards(type, config.getCount(BOARDS_IN_USE[type]),
                             definition.boardCount(type));
    }
    return mismatches.take();
}

void FUS::Private::checkConfiguration() {
    FUS_LOG(INFO, "Checking generator configuration");
    const auto connection = getConnection();
    const GeneratorConfig& config = connection->config();
    const auto definition = this->definition();
    requireDefinition(*definition);
    const auto mismatches = configurationMismatches(config, *definition);
    if (!mismatches.empty()) {
        const ConfigurationMismatch& first = mismatches.front();
        FUS_LOG(ERROR, "%s%s", first.message.c_str(), first.details.c_str());
        FUS_THROW_MSG(ERR_CONFIG, first.message);
    }
}

unsigned FUS::Private::checkVoltages(const FloatArray& voltages) {
    getConnection();
    const auto definition = this->definition();
    requireDefinition(*definition);
    return definition->checkVoltages(voltages);
}

bool FUS::Private::usesNewProtocol() {
    return getConnection()->config().protocolNumber() >= PROTOCOL_V3_PARAMETERS;
}

void FUS::Private::applyClock() {
    const unsigned clock = definition()->clockFrequency();
    if (clock == 0) {
        return;
    }
    FUS_LOG(VERBOSE, "Applying definition: clock frequency");
    if (usesNewProtocol()) {
        m_generator.setClockFrequency(clock);
    } else {
        FUS_LOG(ERROR, "Warning: can not apply the 'clock' setting on a v2 generator.");
    }
}

void FUS::Private::applyBoardMeasureThresholds() {
    FUS_LOG(VERBOSE, "Applying definition: board measure thresholds");
    const auto definition = this->definition();
    if (!usesNewProtocol()) {
        if (hasThresholds(*definition)) {
            FUS_LOG(ERROR, "Warning: can not apply the [thresholds] section on a v2 generator.");
        }
        return;
    }
    const auto connection = getConnection();
    for (const EnumRow& type : BOARD_TYPES) {
        applyThresholds(m_generator, connection->config(), *definition,
                        static_cast<BoardType>(type.value));
    }
}

void FUS::Private::applyDefinition(const Connection& connection) {
    try {
        applyClock();
        applyBoardMeasureThresholds();
    } catch (...) {
        closeIfDead(connection);
        throw;
    }
}

void FUS::checkConfiguration() {
    m_private->checkConfiguration();
}

unsigned FUS::checkVoltages(const FloatArray& voltages) {
    return m_private->checkVoltages(voltages);
}

bool FUS::getDefinitionHasVoltage() const {
    return m_private->definition()->definesVoltages();
}

const char* FUS::getDefinitionHost() const {
    return m_private->definition()->host();
}

unsigned short FUS::getDefinitionPort() const {
    return m_private->definition()->port();
}

bool FUS::getDefinitionBackPanel(Mask1D& sntBoards, Mask1D& ampBoards,
                                 BackPanelStorage& target) const {
    const auto definition = m_private->definition();
    if (definition->backPanelSNT().size() == 0 || definition->backPanelAMP().size() == 0) {
        return false;
    }
    sntBoards = definition->backPanelSNT();
    ampBoards = definition->backPanelAMP();
    target = definition->backPanelStorage();
    return true;
}

void FUS::applyDefBoardMeasureThresholds() {
    m_private->applyBoardMeasureThresholds();
}

void FUS::applyDefClock() {
    m_private->applyClock();
}

std::shared_ptr<const GeneratorDefinition> FUSAccess::getDefinition(const FUS& fus) {
    return fus.m_private->definition();
}

} // namespace fus
