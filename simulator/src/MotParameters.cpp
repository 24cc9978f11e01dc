#include "MotParameters.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace fus {
namespace simulator {

using namespace mprotocol;

namespace {

struct InitialRow {
    MechParam id;
    double value;
};

// The others start with 0.
constexpr InitialRow INITIAL[] = {{PARAM_KP, 1},
                                  {PARAM_MAX_INT_ERROR, 1000},
                                  {PARAM_ZERO_COUNT, 1},
                                  {PARAM_MAX_SPEED, 20},
                                  {PARAM_DAC_MIN_NEG, 115},
                                  {PARAM_DAC_MIN_POS, 139},
                                  {PARAM_ABS_ENABLED, 1},
                                  {PARAM_TOLERANCE_MOVING, 100},
                                  {PARAM_TOLERANCE_TARGET, 10},
                                  {PARAM_ACCEL_DURATION, 25}};

} // namespace

const MechParamRow* findMotParameter(unsigned id) {
    return id < MOT_PARAMETER_COUNT ? &MECH_PARAMS[id] : nullptr;
}

double initialMotValue(unsigned id) {
    const auto* found = std::find_if(std::begin(INITIAL), std::end(INITIAL),
                                     [id](const InitialRow& row) { return row.id == id; });
    return found == std::end(INITIAL) ? 0 : found->value;
}

bool isSharedMotParameter(unsigned id) {
    return id == PARAM_ACCEL_DURATION;
}

std::uint32_t motRaw(const MechParamRow& row, double value) {
    if (row.type != MechParamType::FLOAT) {
        return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
    }
    const auto number = static_cast<float>(value);
    std::uint32_t raw = 0;
    std::memcpy(&raw, &number, sizeof raw);
    return raw;
}

float motFloat(std::uint32_t raw) {
    float number = 0;
    std::memcpy(&number, &raw, sizeof number);
    return number;
}

bool isValidMotValue(const MechParamRow& row, std::uint32_t raw) {
    switch (row.value) {
    case PARAM_ORIGIN_FOUND: // only a search finds one
        return raw == 0;
    case PARAM_ZERO_COUNT:
        return raw == 1 || raw == 2;
    default:
        break;
    }
    switch (row.type) {
    case MechParamType::BOOL:
        return raw <= 1;
    case MechParamType::UINT8:
        return raw <= 255;
    case MechParamType::FLOAT:
        return std::isfinite(motFloat(raw));
    default:
        return true;
    }
}

} // namespace simulator
} // namespace fus
