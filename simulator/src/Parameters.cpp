#include "Parameters.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <cstdlib>

namespace fus {
namespace simulator {

using namespace gprotocol;

const std::vector<ParameterRow>& parameterRows() {
    constexpr Access RW = Access::READ_WRITE;
    constexpr Access RO = Access::READ_ONLY;
    constexpr Access WO = Access::WRITE_ONLY;
    static const std::vector<ParameterRow> rows = {
        {BPARAM_UPB_MAX_ASYNC_TIMEOUT, RO, ON_UPB, 43200000, 0},
        {BPARAM_UPB_RAMP_START_TIME, RW, ON_UPB, 0, ANY_VALUE, Domain::RAMP},
        {BPARAM_UPB_RAMP_END_TIME, RW, ON_UPB, 0, ANY_VALUE, Domain::RAMP},
        {BPARAM_UPB_CLOCK_FREQUENCY, RW, ON_UPB, 24000000, ANY_VALUE, Domain::CLOCK},
        {BPARAM_UPB_SHOOTING_TOLERANCE, RW, ON_UPB, 100, ANY_VALUE},
        {BPARAM_UPB_TOTAL_SHOT_TOLERANCE, RW, ON_UPB, 1000, ANY_VALUE},
        {BPARAM_UPB_MAX_Iout_Prev, RW, ON_UPB, 255, 255},
        {BPARAM_UPB_EXEC_HEARTBEAT_TIMEOUT, RW, ON_UPB, 0, ANY_VALUE},
        {BPARAM_UPB_TRAJ_CHECKS, WO, ON_UPB, TRAJ_CHECKS_ON, ANY_VALUE, Domain::CHECK_SWITCH},
        {BPARAM_UPB_MAX_AMPLITUDE, RW, ON_UPB, 255, 255},
        {BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL, RO, ON_UPB, 10000, 0},
        {BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK, RO, ON_UPB, 2000, 0},
        {BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT, RO, ON_UPB, 100, 0},
        {BPARAM_UPB_MAX_SHOOTING_DURATION, RO, ON_UPB, 2000000, 0},
        {BPARAM_UPB_MAX_TOTAL_SHOT_DURATION, RO, ON_UPB, 10000000, 0},
        {BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY, RO, ON_UPB, 85000000, 0},
        {BPARAM_UPB_MAX_RAMP_TIME, RO, ON_UPB, 100000, 0},
        {BPARAM_UPB_PERIPH_POWER_SUPPLY, RW, ON_UPB, 1, 1},
        {BPARAM_UPB_PERIPH_MASTER_DDS, RW, ON_UPB, 1, 1},
        {BPARAM_UPB_PERIPH_SLAVE_RESET, RW, ON_UPB, 1, 1},
        {BPARAM_UPB_PERIPH_FANS, RW, ON_UPB, 1, 1},
        {BPARAM_UPB_MOT_SYNC_MASK, RW, ON_UPB, 0, ANY_VALUE},
        {BPARAM_UPB_MAX_SHOTS_COMPOSITE, RO, ON_UPB, 4, 0},
        {BPARAM_UPB_MIN_SHOOTING_DURATION_SHOT0_COMPOSITE, RO, ON_UPB, 0, 0},
        {BPARAM_UPB_MIN_SHOOTING_DURATION_ALL_COMPOSITE, RO, ON_UPB, 0, 0},
        {BPARAM_UPB_MAX_SHOOTING_DURATION_COMPOSITE, RO, ON_UPB, 2000000, 0},
        {BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_COMPOSITE, RO, ON_UPB, 0, 0},
        {BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG, RO, ON_UPB, 2400, 0},
        {BPARAM_ALL_HW_VERSION, RO, ON_ALL, 0, 0},
        {BPARAM_ALL_HW_ADDRESS, RO, ON_ALL, 0, 0},
        {BPARAM_ALL_SECTOR_SIZE, RO, ON_ALL, 4096, 0},
        {BPARAM_ALL_SECTOR_TIME, RO, ON_ALL, 400, 0},
        {BPARAM_ALL_UID, RO, ON_ALL, 0, 0},
        {BPARAM_ALL_CRC, RO, ON_ALL, 0, 0},
        {BPARAM_ALL_BOARD_SW_nRESET, WO, ON_ALL, 1, 1},
    };
    return rows;
}

const ParameterRow* findParameterRow(unsigned id) {
    const auto& rows = parameterRows();
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [id](const ParameterRow& row) { return row.id == id; });
    return found == rows.end() ? nullptr : &*found;
}

unsigned parameterFromText(const std::string& text) {
    for (const ParameterRow& row : parameterRows()) {
        if (text == boardParameterName(static_cast<int>(row.id))) {
            return row.id;
        }
    }
    char* end = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &end, 0);
    const bool whole = end != text.c_str() && *end == '\0';
    return whole && number <= 0xFFFF ? static_cast<unsigned>(number) : 0;
}

unsigned boardBit(unsigned hwid) {
    switch (hwid) {
    case HWID_PROCESSOR:
        return ON_UPB;
    case HWID_SYNTHESIZER:
        return ON_SNT;
    case HWID_AMPLIFIER:
        return ON_AMP;
    case HWID_MECHANICS:
        return ON_MOT;
    default:
        return 0;
    }
}

const std::vector<GeneratorParameterRow>& generatorParameterRows() {
    static const std::vector<GeneratorParameterRow> rows = {
        {1363, Form::BYTE, BPARAM_UPB_MAX_AMPLITUDE},
        {1365, Form::BYTE, BPARAM_UPB_MAX_Iout_Prev},
        {1366, Form::CHANNELS},
        {1367, Form::SUPPLIES},
        {1368, Form::TEMPERATURES},
        {1369, Form::TEMPERATURES, 0, true},
        {V2_MULTIPLEXER, Form::BYTE},
        {1371, Form::CURRENTS},
        {1372, Form::CURRENTS, 0, true},
        {1373, Form::PERIPHERAL, BPARAM_UPB_PERIPH_POWER_SUPPLY}, // the first of four
        {1377, Form::RAMP, BPARAM_UPB_RAMP_START_TIME},
        {1378, Form::RAMP, BPARAM_UPB_RAMP_END_TIME},
    };
    return rows;
}

const GeneratorParameterRow* findGeneratorParameterRow(unsigned id) {
    const auto& rows = generatorParameterRows();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [id](const auto& row) { return row.id == id; });
    return found == rows.end() ? nullptr : &*found;
}

} // namespace simulator
} // namespace fus
