#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorConfigTables.h"
#include "fus/P_LogMacros.h"

namespace fus {

namespace {

// Reads a parameter of the processor board. A refused one costs a log line and nothing else: the
// value that the text gave goes on.
template <class Store>
void readFromProcessor(ParameterSource& source, std::uint16_t parameter, const char* name,
                       Store store) {
    try {
        store(
            static_cast<std::uint32_t>(source.readParam(gprotocol::HWID_PROCESSOR, 0, parameter)));
    } catch (const FUSException&) {
        FUS_LOG(ERROR, "Can not initialize %s from UPB %s, using default.", name,
                gprotocol::boardParameterName(parameter));
    }
}

} // namespace

void GeneratorConfig::refine(ParameterSource& source) {
    refineCounts(source);
    refineTimings(source);
    const bool allMeasuresRead = readMeasureDefinitions(source);
    readMechanicsId(source);
    if (!allMeasuresRead) {
        FUS_THROW(ERR_CONFIG);
    }
}

void GeneratorConfig::refineCounts(ParameterSource& source) {
    for (const CountRow& row : COUNTS) {
        if (row.parameter != NO_PARAMETER) {
            readFromProcessor(source, row.parameter, row.name,
                              [&](std::uint32_t value) { setCount(row.index, value); });
        }
    }
}

void GeneratorConfig::refineTimings(ParameterSource& source) {
    for (const TimingIndex index : TIMING_REFINEMENT_ORDER) {
        const TimingRow& row = TIMINGS[index];
        if (row.refinement == TimingRefinement::ZERO) {
            setTiming(row.index, 0);
        } else {
            readFromProcessor(source, row.parameter, row.name,
                              [&](std::uint32_t value) { setTiming(row.index, value); });
        }
    }
}

// Goes on after a failure, so that the log names every measure that is wrong.
bool GeneratorConfig::readMeasureDefinitions(ParameterSource& source) {
    bool complete = true;
    for (const auto& board : m_boards) {
        const std::size_t count = board->active ? board->boardMeasures.size() : 0;
        for (unsigned i = 0; i < count; ++i) {
            try {
                source.readMeasureDefinition(*board, i);
            } catch (...) {
                complete = false;
            }
        }
    }
    return complete;
}

void GeneratorConfig::readMechanicsId(ParameterSource& source) {
    if (m_mot == nullptr) {
        return;
    }
    try {
        m_mot->uniqueID = static_cast<std::uint32_t>(
            source.readParam(gprotocol::HWID_MECHANICS, m_mot->address, gprotocol::BPARAM_ALL_UID));
    } catch (const FUSException&) {
        FUS_LOG(ERROR, "Can not read MOT UID.");
    }
}

} // namespace fus
