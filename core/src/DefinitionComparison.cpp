#include "fus/DefinitionComparison.h"

#include "fus/Generator.h"
#include "fus/LowLevelMechanics.h"
#include "fus/P_Connection.h"
#include "fus/P_DefinitionReview.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_FUSPrivate.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"
#include "fus/P_LowLevelMechanicsPrivate.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace fus {

using namespace gprotocol;

namespace {

using Finding = DefinitionCheck::Finding;

constexpr float HERTZ_PER_MHZ = 1e6F;
constexpr const char* CHANGES = "; applying the definition changes it";

/// Findings, and questions that may fail.
class Comparison {
public:
    explicit Comparison(FUS& fus) : m_fus(fus), m_connection(FUSAccess::getConnection(fus)) {}

    std::vector<Finding> take() { return std::move(m_findings); }

protected:
    void error(const char* section, const std::string& key, const std::string& text) {
        m_findings.push_back({DefinitionCheck::SEVERITY_ERROR, 0, section, key, text});
    }
    void warn(const char* section, const std::string& key, const std::string& text) {
        m_findings.push_back({DefinitionCheck::SEVERITY_WARNING, 0, section, key, text});
    }

    /// What can't be asked for doesn't keep the rest from being compared, unless the link is gone.
    template <class Question>
    void ask(const char* section, const std::string& key, Question question) {
        try {
            question();
        } catch (const FUSException& e) {
            if (!m_connection->isOpen()) {
                throw;
            }
            error(section, key, std::string("can't be compared: ") + e.message());
        }
    }

    const GeneratorConfig& config() const { return m_connection->config(); }

    FUS& m_fus;
    const std::shared_ptr<Connection> m_connection;

private:
    std::vector<Finding> m_findings;
};

/// "0-3, 5"
std::string rangesOf(const std::vector<unsigned>& rising) {
    std::string text;
    for (std::size_t i = 0; i < rising.size();) {
        std::size_t last = i;
        while (last + 1 < rising.size() && rising[last + 1] == rising[last] + 1) {
            ++last;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(rising[i]) +
                (last == i ? "" : "-" + std::to_string(rising[last]));
        i = last + 1;
    }
    return text;
}

class GeneratorComparison : public Comparison {
public:
    explicit GeneratorComparison(FUS& fus)
        : Comparison(fus), m_definition(FUSAccess::getDefinition(fus)),
          m_isNew(config().protocolNumber() >= PROTOCOL_V3_PARAMETERS) {
        if (!m_definition->isLoaded()) {
            FUS_THROW_MSG(ERR_CONFIG, "No generator definition loaded");
        }
    }

    void run() {
        for (const ConfigurationMismatch& mismatch :
             configurationMismatches(config(), *m_definition)) {
            error(mismatch.section, mismatch.key, mismatch.message + mismatch.details);
        }
        ask("config", "minVoltages", [&] { compareVoltages(); });
        ask("config", "clock", [&] { compareClock(); });
        compareBackPanel();
        compareThresholds();
    }

private:
    void compareVoltages() {
        const FloatArray& lowest = m_definition->minVoltages();
        const FloatArray& greatest = m_definition->maxVoltages();
        if (lowest.size() == 0) {
            return;
        }
        FloatArray values;
        m_fus.getGenerator().readPowerSupplies(values);
        if (values.size() != lowest.size()) {
            warn("config", "minVoltages",
                 std::to_string(lowest.size()) + " ranges for " + std::to_string(values.size()) +
                     " power supplies");
        }
        for (std::size_t i = 0; i < std::min(values.size(), lowest.size()); ++i) {
            const bool isLow = values[i] < lowest[i];
            if (isLow || values[i] > greatest[i]) {
                error("config", isLow ? "minVoltages" : "maxVoltages",
                      "power supply #" + std::to_string(i + 1) + ": defined " +
                          asWritten(lowest[i]) + " to " + asWritten(greatest[i]) +
                          " V, connected " + asWritten(values[i]) + " V");
            }
        }
    }

    void compareClock() {
        const unsigned defined = m_definition->clockFrequency();
        if (defined == 0) {
            return;
        }
        if (!m_isNew) {
            warn("config", "clock", "a generator before protocol 3.0 has no clock to be set");
            return;
        }
        const unsigned connected = m_fus.getGenerator().readClockFrequency();
        if (connected != defined) {
            const auto inMHz = [](unsigned hertz) {
                return asWritten(static_cast<float>(hertz) / HERTZ_PER_MHZ);
            };
            warn("config", "clock",
                 "defined " + inMHz(defined) + " MHz, connected " + inMHz(connected) + " MHz" +
                     CHANGES);
        }
    }

    // --- back panel ------------------------------------------------------------------------------

    void compareBackPanel() {
        if (m_definition->backPanelSNT().size() == 0 || m_definition->backPanelAMP().size() == 0) {
            return; // it is left as it is
        }
        if (config().protocolNumber() < PROTOCOL_V3_FULL) {
            compareFixedBackPanel();
            return;
        }
        ask("backpanel", "SNT.mask", [&] { compareStorage(BKP_RAM); });
        if (m_definition->backPanelStorage() == BKP_BOTH) {
            ask("backpanel", "target", [&] { compareStorage(BKP_FLASH); });
        }
    }

    /// As a connect does.
    void compareFixedBackPanel() {
        const bool isSame =
            m_definition->backPanelStorage() == BKP_RAM &&
            m_definition->backPanelSNT().isComparable(config().sntConfiguration()) &&
            m_definition->backPanelAMP().isComparable(config().ampConfiguration());
        if (!isSame) {
            error(
                "backpanel", "SNT.mask",
                "a generator before protocol 3.1 doesn't have its back panel set: connecting with "
                "this definition fails");
        }
    }

    void compareStorage(BackPanelStorage storage) {
        Mask1D synthesizers;
        Mask1D amplifiers;
        m_fus.readBackPanelConfiguration(synthesizers, amplifiers, storage);
        compareMask("SNT.mask", storage, m_definition->backPanelSNT(), synthesizers);
        compareMask("AMP.mask", storage, m_definition->backPanelAMP(), amplifiers);
    }

    void compareMask(const char* key, BackPanelStorage storage, const Mask1D& defined,
                     const Mask1D& connected) {
        const auto isActive = [](const Mask1D& mask, std::size_t channel) {
            return channel < mask.size() && mask.get(channel);
        };
        std::vector<unsigned> differing;
        for (std::size_t i = 0; i < std::max(defined.size(), connected.size()); ++i) {
            if (isActive(defined, i) != isActive(connected, i)) {
                differing.push_back(static_cast<unsigned>(i));
            }
        }
        if (!differing.empty()) {
            const auto channels = [](const Mask1D& mask) {
                return std::to_string(mask.activeCount()) + " channels";
            };
            warn("backpanel", key,
                 std::string(storage == BKP_RAM ? "RAM" : "FLASH") + ": defined " +
                     channels(defined) + ", connected " + channels(connected) +
                     "; they differ in " + rangesOf(differing) + CHANGES);
        }
    }

    // --- thresholds ------------------------------------------------------------------------------

    /// A bound of a measure: its index, and whether it is the upper one.
    using Bound = std::pair<unsigned, bool>;

    void compareThresholds() {
        for (const EnumRow& row : BOARD_TYPES) {
            const auto type = static_cast<BoardType>(row.value);
            const std::string keys[] = {std::string("min") + BOARD_SHORT_NAMES[type],
                                        std::string("max") + BOARD_SHORT_NAMES[type]};
            for (const bool upper : {false, true}) {
                const FloatArray& bounds = m_definition->boardThresholds(type, upper);
                if (bounds.size() != 0) {
                    ask("thresholds", keys[upper ? 1 : 0],
                        [&] { compareBounds(type, upper, keys[upper ? 1 : 0], bounds); });
                }
            }
        }
    }

    void compareBounds(BoardType type, bool upper, const std::string& key,
                       const FloatArray& bounds) {
        if (!m_isNew) {
            warn("thresholds", key, "a generator before protocol 3.0 has no thresholds to be set");
            return;
        }
        const std::vector<Board> boards = activeBoards(type);
        if (boards.empty()) {
            warn("thresholds", key, "no such board is in use");
            return;
        }
        const unsigned measures = boards.front().boardMeasureCount();
        if (bounds.size() > measures) {
            warn("thresholds", key,
                 std::to_string(bounds.size()) + " bounds for the " + std::to_string(measures) +
                     " measures of a board");
        }
        for (unsigned m = 0; m < std::min<std::size_t>(measures, bounds.size()); ++m) {
            compareBound(boards, {m, upper}, key, bounds[m]);
        }
    }

    std::vector<Board> activeBoards(BoardType type) const {
        std::vector<Board> boards;
        for (unsigned i = 0; i < m_fus.getDetectedBoardCount(type); ++i) {
            const Board board = m_fus.getBoard(type, i);
            if (board.isActive()) {
                boards.push_back(board);
            }
        }
        return boards;
    }

    /// Boards that hold the same are told together. What is held is a raw value; one step of it is
    /// what a bound may lose on its way there.
    void compareBound(const std::vector<Board>& boards, const Bound& bound, const std::string& key,
                      float defined) {
        std::map<unsigned, std::vector<unsigned>> addresses;
        for (const Board& board : boards) {
            const std::int64_t held = m_fus.getGenerator().readBoardThreshold(
                board.boardType(), board.address(), bound.first, bound.second);
            const std::int64_t wanted = board.boardMeasure(bound.first).physicalToADC(defined);
            if (held < wanted - 1 || held > wanted + 1) {
                addresses[static_cast<unsigned>(held)].push_back(board.address());
            }
        }
        const Measure measure = boards.front().boardMeasure(bound.first);
        for (const auto& [held, ofBoards] : addresses) {
            warn("thresholds", key,
                 std::string(BOARD_SHORT_NAMES[boards.front().boardType()]) + " " +
                     rangesOf(ofBoards) + ", measure " + std::to_string(bound.first) + " (" +
                     measure.name() + "): defined " + asWritten(defined) + " " +
                     measure.unitSymbol() + ", connected " +
                     asWritten(measure.physicalFromADC(held)) + " " + measure.unitSymbol() +
                     CHANGES);
        }
    }

    const std::shared_ptr<const GeneratorDefinition> m_definition;
    const bool m_isNew;
};

class MechanicsComparison : public Comparison {
public:
    explicit MechanicsComparison(FUS& fus)
        : Comparison(fus), m_mechanics(fus.getLowLevelMechanics()) {
        if (!m_mechanics.isDefinitionLoaded()) {
            FUS_THROW(ERR_MECH_NO_CONFIG);
        }
    }

    void run() {
        const unsigned count = m_mechanics.getActuatorCount();
        const Version firmware = m_fus.getFirmwareVersion(BOARD_MECHANICS);
        if (count == 0) {
            return;
        }
        if (firmware == nullVersion) {
            error("", "",
                  "defined " + std::to_string(count) + " axes, connected no mechanical board");
        } else if (firmware.v1 < OLDEST_MOT_FIRMWARE) {
            error("", "",
                  "the mechanical board's firmware is " + firmware.toString() +
                      ", and it takes a configuration from version 3 on");
        } else {
            ask("", "", [&] { compareBoard(count); });
        }
    }

private:
    void compareBoard(unsigned count) {
        const unsigned most = m_mechanics.readIntParameter(0, mprotocol::PARAM_R_MAX_AXIS_COUNT);
        if (count > most) {
            error("", "",
                  "defined " + std::to_string(count) + " axes, connected a board for " +
                      std::to_string(most));
            return; // it has no parameters for the others
        }
        for (const auto& difference : m_mechanics.readConfigDifferences()) {
            const unsigned axis = m_mechanics.getActuator(difference.actuator).address();
            const std::string section = "Axis" + std::to_string(axis) + "/" + difference.section;
            warn(section.c_str(), difference.key,
                 "defined " + difference.expected + ", connected " + difference.found +
                     "; sending the configuration changes it");
        }
    }

    LowLevelMechanics& m_mechanics;
};

template <class Compared>
std::vector<Finding> compare(FUS& fus) {
    Compared comparison(fus);
    comparison.run();
    return comparison.take();
}

} // namespace

std::vector<Finding> DefinitionComparison::ofGenerator(FUS& fus) {
    return compare<GeneratorComparison>(fus);
}

std::vector<Finding> DefinitionComparison::ofMechanics(FUS& fus) {
    return compare<MechanicsComparison>(fus);
}

} // namespace fus
