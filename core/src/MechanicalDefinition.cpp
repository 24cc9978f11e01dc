// What a mechanical definition holds, and how it is read.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Config.h"
#include "fus/P_DefinitionReview.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalActuatorSteps.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

namespace fus {

namespace {

constexpr int NO_VERSION = -1;
constexpr int FORMAT_VERSION = 1;
constexpr unsigned AXIS_COUNT = 5;
constexpr unsigned BYTE_MAX = 255;

constexpr const char* FILE_SECTION = "File";
constexpr const char* GLOBAL_SECTION = "Global";
constexpr const char* VERSION_KEY = "version";
constexpr const char* ORDER_KEY = "initOrder";

unsigned count(std::size_t size) {
    return static_cast<unsigned>(size);
}

std::string axisName(unsigned axis) {
    return "Axis" + std::to_string(axis);
}

/// Logs it, and tells the review, if there is one.
void complain(DefinitionReview* review, DefinitionComplaint::Weight weight, const char* section,
              const char* key, const std::string& words) {
    FUS_LOG(ERROR, "%s", words.c_str());
    if (review != nullptr) {
        review->complaints.push_back({weight, section, key, "", words});
    }
}

std::vector<std::uint32_t> listedOrder(const Config& config, DefinitionReview* review) {
    std::vector<std::uint32_t> order;
    if (const ConfigSection* const global = config.findSection(GLOBAL_SECTION)) {
        global->getUnsigneds(ORDER_KEY, order);
    }
    if (review != nullptr) {
        review->readings[{GLOBAL_SECTION, ORDER_KEY}] = asWritten(order);
    }
    return order;
}

/// What the list names and there is; all actuators if that is nothing.
std::vector<unsigned> usableOrder(const std::vector<std::uint32_t>& listed, std::size_t actuators,
                                  DefinitionReview* review) {
    std::vector<unsigned> order;
    for (const std::uint32_t index : listed) {
        const bool known = index < actuators;
        if (known && std::find(order.begin(), order.end(), index) == order.end()) {
            order.push_back(index);
            continue;
        }
        complain(review, DefinitionComplaint::IGNORED, GLOBAL_SECTION, ORDER_KEY,
                 (known ? "Duplicate" : "Invalid") +
                     (" axis identifier in [Global].initOrder (" + std::to_string(index)) +
                     "), ignored.");
    }
    if (order.empty()) {
        order.resize(actuators);
        std::iota(order.begin(), order.end(), 0U);
    }
    return order;
}

} // namespace

const MechanicalActuator& MechanicalDefinition::at(unsigned index) const {
    if (index > BYTE_MAX) {
        FUS_THROW_INDEX("actuator index (bad cast)", index, actuators.size());
    }
    if (index >= actuators.size()) {
        FUS_THROW_INDEX("actuator index", index, actuators.size());
    }
    return *actuators[index];
}

OriginParams& MechanicalDefinition::originParams(unsigned index) const {
    return at(index).originParameters();
}

OriginParams* MechanicalDefinition::findOriginParams(unsigned index) const {
    return index < actuators.size() ? &actuators[index]->originParameters() : nullptr;
}

void MechanicalDefinition::clearOrigins() const {
    for (const auto& actuator : actuators) {
        actuator->clearOrigin();
    }
}

std::vector<DefinitionKey> MechanicalDefinition::keys() {
    std::vector<DefinitionKey> keys = {
        {FILE_SECTION, VERSION_KEY, {ValueKind::INTEGER, "1, the version of this format"}},
        {GLOBAL_SECTION, ORDER_KEY, {ValueKind::UNSIGNEDS, "axes, from 0 on, with | between them"}},
    };
    for (unsigned axis = 0; axis < AXIS_COUNT; ++axis) {
        for (const MechanicalActuatorStep& step : MechanicalActuatorSteps()) {
            if (step.isKey()) {
                keys.push_back({axisName(axis) + "/" + step.section, step.text, step.rule});
            }
        }
    }
    return keys;
}

bool MechanicalDefinition::checkFile(const Config& config, DefinitionReview* review) {
    const ConfigSection* const file = config.findSection(FILE_SECTION);
    if (file == nullptr) {
        complain(review, DefinitionComplaint::REFUSED, FILE_SECTION, "",
                 "Missing section : [File]");
        return false;
    }
    const int version = file->getInt(VERSION_KEY, NO_VERSION);
    if (version == NO_VERSION) {
        complain(review, DefinitionComplaint::ODD, FILE_SECTION, VERSION_KEY,
                 "Missing file version, please update!");
    } else if (version != FORMAT_VERSION) {
        complain(review, DefinitionComplaint::ODD, FILE_SECTION, VERSION_KEY,
                 "Unknown file format (version=" + std::to_string(version) + "), trying anyway...");
    }
    if (review != nullptr) {
        review->readings[{FILE_SECTION, VERSION_KEY}] = asWritten(version);
    }
    return true;
}

bool MechanicalDefinition::read(const Config& config, DefinitionReview* review) {
    const std::vector<std::uint32_t> listed = listedOrder(config, review);
    bool good = true;
    for (unsigned axis = 0; axis < AXIS_COUNT; ++axis) {
        const ConfigSection* const section = config.findSection(axisName(axis).c_str());
        good = (section == nullptr || readActuator(axis, *section, review)) && good;
        if (!good && review == nullptr) {
            return false;
        }
    }
    FUS_LOG(INFO, "  %u actuators loaded", count(actuators.size()));
    if (good) { // otherwise their indexes are not what they are to be
        initOrder = usableOrder(listed, actuators.size(), review);
    }
    return good;
}

bool MechanicalDefinition::readActuator(unsigned axis, const ConfigSection& section,
                                        DefinitionReview* review) {
    std::unique_ptr<MechanicalActuator> actuator(new MechanicalActuator(axis));
    if (!actuator->init(section, review)) {
        FUS_LOG(ERROR, "Failed to init actuator from section [%s]", axisName(axis).c_str());
        return false;
    }
    FUS_LOG(INFO, "  - id: %u, name: %s, type: %s, range [%d, %d]", actuator->address(),
            actuator->name(), actuator->motionName(), actuator->lowerBound(),
            actuator->upperBound());
    actuators.push_back(std::move(actuator));
    return true;
}

bool MechanicalDefinition::review(const Config& config, DefinitionReview& review) {
    MechanicalDefinition definition;
    const bool hasFile = checkFile(config, &review);
    const bool good = definition.read(config, &review);
    if (good) {
        definition.reviewAxes(review);
    }
    return hasFile && good;
}

/// What loads without a word, and hardly is what was meant.
void MechanicalDefinition::reviewAxes(DefinitionReview& review) const {
    if (actuators.empty()) {
        review.complaints.push_back({DefinitionComplaint::IGNORED, "", "",
                                     "no axis ([Axis0] to [Axis4]): nothing can be sent to a board",
                                     ""});
    }
    for (unsigned index = 0; index < actuators.size(); ++index) {
        const MechanicalActuatorData& actuator = *actuators[index]->m_data;
        const std::string name = axisName(actuator.address);
        const auto odd = [&](const std::string& section, const char* key, const std::string& text) {
            review.complaints.push_back({DefinitionComplaint::ODD, section, key, text, ""});
        };
        if (actuator.address != index) {
            odd(name, "",
                "there is a gap in front of it: to the board this is axis " +
                    std::to_string(index));
        }
        if (actuator.accelDuration != actuators[0]->m_data->accelDuration) {
            odd(name + "/Board", "accelDuration",
                "another one than that of the first axis: the board has one for all of them");
        }
        if (std::find(initOrder.begin(), initOrder.end(), index) == initOrder.end()) {
            odd(GLOBAL_SECTION, ORDER_KEY,
                "axis " + std::to_string(index) +
                    " is left out: it is neither configured nor searched");
        }
    }
}

} // namespace fus
