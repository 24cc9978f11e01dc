// The generator's definition, and what it is for here: the physical values and the powers of shot
// results.

#include "fus/Generator.h"

#include "fus/P_GeneratorDefinition.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/ShotResult.h"

#include <utility>
#include <vector>

namespace fus {

namespace {

bool isEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

const char* outcome(bool success) {
    return success ? "success" : "error";
}

/// Whether the amplifiers are those that the definition is for.
bool fits(const GeneratorDefinition& definition, const MeasureLayout& layout) {
    return layout.amplifierVersion == definition.amplifierVersion() &&
           layout.channelMeasures == definition.measureCount();
}

} // namespace

void Generator::Private::setSession(std::shared_ptr<const GeneratorSession> session) {
    // The old session dies behind the lock, with the argument.
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    m_session.swap(session);
    m_connected = true;
    m_conversionEnabled = fits(*m_definition, m_session->layout());
}

void Generator::Private::endSession() {
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    m_connected = false;
}

void Generator::Private::setDefinition(std::shared_ptr<const GeneratorDefinition> definition) {
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    m_definition.swap(definition);
    if (m_connected) {
        m_conversionEnabled = fits(*m_definition, m_session->layout());
    }
}

void Generator::Private::clearDefinition() {
    std::shared_ptr<const GeneratorDefinition> none = std::make_shared<GeneratorDefinition>();
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    m_definition.swap(none);
    m_conversionEnabled = false;
}

Generator::Private::Conversion Generator::Private::conversion() const {
    const std::lock_guard<std::mutex> lock(m_sessionMutex);
    return {m_session, m_definition, m_conversionEnabled};
}

bool Generator::Private::takeDefinition(std::shared_ptr<const GeneratorDefinition> definition) {
    const bool loaded = definition->isLoaded();
    const bool connected = upcalls.isConnected();
    setDefinition(std::move(definition));
    if (connected) {
        FUS_LOG(ERROR, "Warning: the generator definition has been loaded AFTER the connection, "
                       "only polynomials for shot results will be used. Other parameters are "
                       "ignored (BKP, clock, thresholds).");
    }
    return loaded;
}

bool Generator::loadDefinition(const char* filename) {
    if (isEmpty(filename)) {
        clearDefinition();
        return false;
    }
    const auto definition = std::make_shared<GeneratorDefinition>();
    const bool loaded = definition->loadFile(filename);
    FUS_LOG(INFO, "Loading generator definition from '%s': %s", filename, outcome(loaded));
    return m_private->takeDefinition(definition);
}

bool Generator::loadDefinitionString(const char* definition) {
    if (isEmpty(definition)) {
        clearDefinition();
        return false;
    }
    const auto made = std::make_shared<GeneratorDefinition>();
    const bool loaded = made->loadText(definition);
    FUS_LOG(INFO, "Loading generator definition from a string: %s", outcome(loaded));
    return m_private->takeDefinition(made);
}

void Generator::clearDefinition() {
    m_private->clearDefinition();
}

bool Generator::isDefinitionLoaded() const {
    return getDefinition()->isLoaded();
}

bool Generator::isShotResultConversionEnabled() const {
    return m_private->conversion().enabled;
}

float Generator::getMaxPower() const {
    return getDefinition()->maxPower();
}

std::shared_ptr<const GeneratorDefinition> Generator::getDefinition() const {
    return m_private->conversion().definition;
}

void Generator::installConversion() {
    ShotResult::s_converter = [](ShotResult& result) {
        try {
            upcalls().generator().computeResultPowers(&result);
        } catch (const FUSException&) {
            // no facade any more: the result stays as it is
        }
    };
    ShotResult::s_maxPower = [] { return upcalls().generator().getMaxPower(); };
}

void Generator::removeConversion() {
    ShotResult::s_converter = nullptr;
    ShotResult::s_maxPower = nullptr;
}

bool Generator::computeResultPowers(ShotResult* result) {
    if (result == nullptr) {
        return false;
    }
    const Private::Conversion conversion = m_private->conversion();
    if (!conversion.enabled) {
        return false;
    }
    // a load may have come since the result got its type
    result->m_amplifierType = conversion.definition->amplifierType();
    const bool channels = Private::convertChannels(*result, *conversion.definition);
    const bool boards = Private::convertBoards(*result, conversion.session->layout());
    return channels && boards;
}

bool Generator::Private::convertChannels(ShotResult& result,
                                         const GeneratorDefinition& definition) {
    unsigned channel = 0;
    unsigned measure = 0;
    try {
        const unsigned channels = result.channelCount();
        const unsigned measures = result.channelMeasureCount();
        if (definition.hasTables(measures) && result.hasByteMeasures()) {
            definition.convertBytes(result.m_raw.bytes.get(), channels, result.channelValues(),
                                    result.powerValues());
            return true;
        }
        std::vector<float> values(measures);
        for (; channel < channels; ++channel) {
            for (measure = 0; measure < measures; ++measure) {
                values[measure] = static_cast<float>(result.rawOfChannel(channel, measure));
            }
            float power = -1.0F;
            definition.convertMeasures(channel, values.data(), measures, &power);
            float* const converted = result.channelValues();
            for (unsigned m = 0; m < measures; ++m) {
                converted[std::size_t{channels} * m + channel] = values[m];
            }
            result.powerValues()[channel] = power;
        }
        return true;
    } catch (...) {
        FUS_LOG(ERROR, "computeResultPowers failed on channel %u, measure %u", channel, measure);
        return false;
    }
}

bool Generator::Private::convertBoards(ShotResult& result, const MeasureLayout& layout) {
    if (!result.containsBoardData()) {
        return true;
    }
    const std::vector<Polynomial>& polynomials = layout.boardPolynomials;
    if (result.boardMeasureCount() != polynomials.size()) {
        FUS_LOG(ERROR,
                "Board measure count mismatch in shot result conversions (%u in shot, "
                "%" FUS_PRIuSIZE " in config).",
                result.boardMeasureCount(), polynomials.size());
        return false;
    }
    unsigned board = 0;
    unsigned measure = 0;
    try {
        for (; board < result.boardCount(); ++board) {
            for (measure = 0; measure < polynomials.size(); ++measure) {
                const auto raw = static_cast<float>(result.boardRawValue(board, measure));
                const float value = evaluatePolynomial(polynomials[measure], raw);
                result.setConvertedBoardValue(board, measure, value);
            }
        }
        return true;
    } catch (...) {
        FUS_LOG(ERROR, "computeResultPowers failed on board %u, measure %u", board, measure);
        return false;
    }
}

} // namespace fus
