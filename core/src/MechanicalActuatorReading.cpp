// How an actuator is read from a definition: step by step, as the table tells.

#include "fus/P_MechanicalActuatorSteps.h"

#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalActuatorData.h"

#include <cstring>
#include <set>
#include <string>

namespace fus {

namespace {

using Draft = MechanicalActuatorDraft;
using Step = MechanicalActuatorStep;

/// Whether all mandatory keys are there is told by this one alone, whatever key the text names.
constexpr const char* PRESENCE_KEY = "minNegativeDAC";

class ActuatorReading {
public:
    ActuatorReading(const ConfigSection& section, DefinitionReview* review)
        : m_section(section), m_name(section.name()), m_review(review),
          m_board(section.findSection(Step::BOARD_SECTION)),
          m_fus(section.findSection(Step::FUS_SECTION)) {}

    bool run(Draft& draft) {
        if (!hasSection(m_board, Step::BOARD_SECTION) || !hasSection(m_fus, Step::FUS_SECTION)) {
            return false;
        }
        draft.name = m_section.name();
        for (const Step& step : MechanicalActuatorSteps()) {
            if (!take(step, draft)) {
                return false;
            }
        }
        return m_good;
    }

private:
    bool hasSection(const ConfigSection* section, const char* name) {
        if (section == nullptr) {
            fail(m_name, "", "Missing section [" + m_name + "/" + name + "]");
        }
        return section != nullptr;
    }

    /// False gives the reading up.
    bool take(const Step& step, Draft& draft) {
        if (step.isKey()) {
            return readKey(step, draft);
        }
        if (m_skipping || (step.needs != nullptr && m_failed.count(step.needs) != 0)) {
            return true;
        }
        switch (step.kind) {
        case Step::COUNT:
            return hasCount(step, draft);
        case Step::ADVICE:
            advise(step, draft);
            return true;
        default:
            return step.check(draft) ||
                   failKey(step.about, "Parameter requirement failed: [" + m_name + "] " +
                                           step.text + ". Config rejected and cleared.");
        }
    }

    bool readKey(const Step& step, Draft& draft) {
        const ConfigSection& section =
            std::strcmp(step.section, Step::BOARD_SECTION) == 0 ? *m_board : *m_fus;
        m_key = &step;
        m_skipping = step.kind == Step::OPTIONAL && !section.hasParam(step.text);
        if (step.kind == Step::MANDATORY && !section.hasParam(PRESENCE_KEY) &&
            !failPresence(step)) {
            return false;
        }
        if (!m_skipping) {
            step.read(section, step.text, draft);
        }
        if (m_review != nullptr) {
            m_review->readings[{path(), step.text}] = step.written(draft);
        }
        return true;
    }

    bool hasCount(const Step& step, const Draft& draft) {
        const std::size_t items = (draft.*step.list).size();
        return items == step.count ||
               failKey(nullptr, "Unexpected (or missing) value for [" + path() + "]." + step.text +
                                    ", (" + std::to_string(items) + " values/" +
                                    std::to_string(step.count) + " expected)");
    }

    void advise(const Step& step, const Draft& draft) {
        if (m_review != nullptr && !step.check(draft)) {
            m_review->complaints.push_back({step.weight, path(), m_key->text, step.text, ""});
        }
    }

    /// A review is told by the words that name the key which really is missing.
    bool failPresence(const Step& step) {
        const std::string words =
            "A mandatory parameter is missing: [" + path() + "]." + step.text + ".";
        if (m_review == nullptr || std::strcmp(step.text, PRESENCE_KEY) == 0) {
            return fail(path(), PRESENCE_KEY, words);
        }
        return true;
    }

    /// What is wrong with a key is told once: its other requirements may not even make sense then.
    bool failKey(const char* about, const std::string& words) {
        m_skipping = about == nullptr;
        return fail(path(), m_skipping ? m_key->text : about, words);
    }

    /// True if the reading is to go on all the same.
    bool fail(const std::string& section, const char* key, const std::string& words) {
        FUS_LOG(ERROR, "%s", words.c_str());
        m_good = false;
        m_failed.insert(key);
        if (m_review != nullptr) {
            m_review->complaints.push_back({DefinitionComplaint::REFUSED, section, key, "", words});
        }
        return m_review != nullptr;
    }

    /// Of the key's section.
    std::string path() const { return m_name + "/" + m_key->section; }

    const ConfigSection& m_section;
    const std::string m_name;
    DefinitionReview* m_review;
    const ConfigSection* m_board;
    const ConfigSection* m_fus;
    const Step* m_key = nullptr; // that the next requirements are about
    bool m_skipping = false;     // them, as it is absent, or has failed
    bool m_good = true;
    std::set<std::string> m_failed; // keys
};

std::uint8_t byteOf(std::uint32_t value) {
    return static_cast<std::uint8_t>(value);
}

std::uint8_t byteOf(std::int32_t value) {
    return static_cast<std::uint8_t>(value);
}

void store(const Draft& draft, OriginParams& params) {
    params.initTimeout = draft.initTimeout;
    params.firstDAC = byteOf(draft.initDACs[0]);
    params.lastDAC = byteOf(draft.initDACs[1]);
    params.stepDAC = byteOf(draft.initDACs[2]);
    if (!draft.initPark.empty()) {
        params.parkPosition = draft.initPark[0];
        params.parkDuration = draft.initPark[1];
    }
}

void store(const Draft& draft, MechanicalActuatorData& data) {
    data.name = draft.name != nullptr ? draft.name : "";
    data.motionType = static_cast<MechanicalActuator::MotionType>(draft.motionType());
    data.unit = static_cast<MechanicalActuator::Unit>(draft.unitType());
    data.zeroTopology = static_cast<MechanicalActuator::ZeroTopology>(draft.topologyType());
    data.lowerBound = draft.lowerBound;
    data.upperBound = draft.upperBound;
    data.kP = draft.kP;
    data.kI = draft.kI;
    data.kD = draft.kD;
    data.maxIntegralError = draft.maxIntegralError;
    data.stepSize = draft.stepSize;
    data.toleranceMoving = draft.toleranceMoving;
    data.toleranceTarget = draft.toleranceTarget;
    data.boardMaxSpeed = static_cast<std::uint32_t>(draft.maxSpeed);
    data.maxUserSpeed = draft.maxUserSpeed;
    data.minNegativeDAC = byteOf(draft.minNegativeDAC);
    data.minPositiveDAC = byteOf(draft.minPositiveDAC);
    data.accelDuration = byteOf(draft.accelDuration);
    data.plotMode = byteOf(draft.plotMode);
    data.inverted = draft.inverted;
    data.abs = draft.abs;
    data.encoderCableDetection = draft.encoderCableDetection;
    // only an absent key leaves the mark
    data.defaultUserSpeed = draft.defUserSpeed == MechanicalActuator::BAD_FLOAT
                                ? draft.maxUserSpeed * 0.5F
                                : draft.defUserSpeed;
    store(draft, data.originParams);
}

} // namespace

bool MechanicalActuator::init(const ConfigSection& section, DefinitionReview* review) {
    Draft draft;
    if (!ActuatorReading(section, review).run(draft)) {
        return false;
    }
    store(draft, *m_data);
    return true;
}

} // namespace fus
