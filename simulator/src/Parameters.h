// The board parameters that the simulated boards have.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

enum class Access { READ_WRITE, READ_ONLY, WRITE_ONLY };

constexpr unsigned ON_UPB = 1;
constexpr unsigned ON_SNT = 2;
constexpr unsigned ON_AMP = 4;
constexpr unsigned ON_MOT = 8;
constexpr unsigned ON_ALL = 15;

// What values a parameter takes.
enum class Domain { UP_TO_MAXIMUM, CLOCK, CHECK_SWITCH, RAMP };

struct ParameterRow {
    unsigned id;
    Access access;
    unsigned boards;       // ON_*
    std::uint64_t initial; // where the description says nothing
    std::uint64_t maximum; // of a value that a client writes
    Domain domain = Domain::UP_TO_MAXIMUM;
};

constexpr std::uint64_t ANY_VALUE = ~std::uint64_t{0};

// Values of BPARAM_UPB_TRAJ_CHECKS that turn the generator's own checks off and on.
constexpr std::uint64_t TRAJ_CHECKS_OFF = 0xC3D1E58A;
constexpr std::uint64_t TRAJ_CHECKS_ON = 0x4B7A60F2;

const std::vector<ParameterRow>& parameterRows();
// Null if no board has it. Thresholds of board measures aren't here: they depend on the board.
const ParameterRow* findParameterRow(unsigned id);
// By name ("BPARAM_UPB_RAMP_START_TIME") or number ("1377", "0x561"). 0 for anything else.
unsigned parameterFromText(const std::string& text);
// ON_*, 0 for another hardware id.
unsigned boardBit(unsigned hwid);

// The generator parameters of protocol 2, and how their values are laid out.
enum class Form {
    BYTE,
    CHANNELS,
    SUPPLIES,     // signed 32 bits each
    TEMPERATURES, // 16 bits each
    CURRENTS,     // 32 bits each
    PERIPHERAL,   // an index byte, a state byte
    RAMP          // 16 bits of nothing, 32 bits
};

struct GeneratorParameterRow {
    unsigned id;
    Form form;
    // Where its value is kept, as later protocols know it; 0: elsewhere.
    unsigned boardParameter = 0;
    bool isThreshold = false; // of readings; what isn't can't be written
};

const std::vector<GeneratorParameterRow>& generatorParameterRows();
// Null for another id.
const GeneratorParameterRow* findGeneratorParameterRow(unsigned id);

constexpr unsigned V2_MULTIPLEXER = 1370;
constexpr unsigned PERIPHERAL_COUNT = 4;

} // namespace simulator
} // namespace fus
