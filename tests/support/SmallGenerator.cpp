#include "support/SmallGenerator.h"

#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"

namespace fus::test {

namespace {

using namespace gprotocol;

const std::string V2_TEXT = R"([Version]
server_hardware_version = 1.0
server_software_version = 2.9.1.4
gen_board_hardware_version = 2010.9.11.0
[Available hardware]
nb_elements = 8
max_nb_buffers = 2
max_nb_shot = 6
nb_power_supply = 3
nb_dds_board = 1
nb_adc_board = 2
nb_amplifier_temperatures = 2
nb_amplifier_currents = 2
nb_measures_by_amp_board = 4
has_ext_trigger = 1
has_demux = 1
)";

const std::string V3_TEXT = R"(max_nb_buffers = 2
max_nb_shots = 6
has_ext_trigger = 1
[BKP]
snt_chr = 11111111
amp_chr = 1111-1111
[SNT00]
hw = 2010.9.11.0
bm = 11111111
[AMP00]
bm = 1111
bo = tem2,idc4
ch = vrf1,irf2,pvi4
[AMP01]
bm = 1111
bo = tem2,idc4
ch = vrf1,irf2,pvi4
)";

const std::string TIMINGS_TEXT = R"([Timing constraints]
min_shot_duration_us = 50
max_shot_duration_us = 400
min_qshot_duration_us = 20
max_qshot_duration_us = 300
min_shot_length_us = 100
max_shot_length_us = 1000
min_qshot_length_us = 60
min_rfqshot_length_us = 80
min_delay_between_trj_us = 10
max_delay_between_trj_us = 5000
max_ramp_time_us = 7
)";

struct Parameter {
    std::uint16_t id;
    std::uint32_t value;
};

/// In the order in which they are asked for.
constexpr Parameter PARAMETERS[] = {
    {2800, 4},    // shots of a composite trajectory
    {1390, 400},  // greatest shooting duration
    {1387, 100},  // least total
    {1391, 1000}, // greatest total
    {1392, 5000}, // greatest delay between trajectories
    {1390, 400},  // again, for the quick mode
    {1388, 60},   // least quick total
    {1389, 80},   // least repeat total
    {2805, 30},   // least repeat delay
    {1375, 60000}, {1393, 7},
};

struct MeasureDefinition {
    std::uint32_t type;
    std::uint32_t size;
    std::uint32_t factor; // of the raw value, in halves
};

constexpr MeasureDefinition AMPLIFIER_MEASURES[] = {{3012, 2, 1}, {3011, 4, 2}};
constexpr unsigned AMPLIFIERS = 2;

/// The payload of a command to a board; its data in front of it is the size.
Bytes boardCommand(std::uint32_t hwid, std::uint32_t address, std::uint32_t command,
                   const Bytes& data) {
    return zeroes(16) + u8(hwid) + u8(address) + be16(command) +
           be16(static_cast<std::uint32_t>(data.size())) + data;
}

Bytes boardAnswer(std::uint32_t hwid, std::uint32_t address, std::uint32_t command,
                  const Bytes& data) {
    return zeroes(12) + u8(hwid) + u8(address) + be16(command) + be16(command) +
           be16(static_cast<std::uint32_t>(data.size())) + data;
}

Bytes definition(const MeasureDefinition& measure) {
    return le16(measure.type) + u8(measure.size) + u8(0) + le32(1) + le32(9) + le32(2) + le32(2) +
           le32(0) + le32(measure.factor);
}

void answerParameters(ScriptedPeer& peer) {
    for (const Parameter& parameter : PARAMETERS) {
        peer.expect(CMD_BOARD_CMD, boardCommand(10, 0, 93, le16(parameter.id)))
            .answer(ANSWER_BOARD, boardAnswer(10, 0, 93, le64(parameter.value)));
    }
}

void answerMeasures(ScriptedPeer& peer, const std::vector<BoardAddress>& boards) {
    for (const auto& [hwid, address] : boards) {
        std::uint32_t index = 0;
        for (const MeasureDefinition& measure : AMPLIFIER_MEASURES) {
            peer.expect(CMD_BOARD_CMD, boardCommand(hwid, address, 74, u8(index++)))
                .answer(ANSWER_BOARD, boardAnswer(hwid, address, 74, definition(measure)));
        }
    }
}

class SmallSource : public ParameterSource {
public:
    unsigned long long readParam(unsigned /*hwid*/, unsigned /*address*/,
                                 unsigned short param) override {
        for (const Parameter& parameter : PARAMETERS) {
            if (parameter.id == param) {
                return parameter.value;
            }
        }
        throw Failure{"no such parameter"};
    }

    void readMeasureDefinition(PrivateBoard& board, unsigned index) override {
        const Bytes bytes = definition(AMPLIFIER_MEASURES[index]);
        NetPacket packet =
            NetPacket::copyOf(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        decodeMeasureDefinition(packet, *board.boardMeasures.at(index), true);
    }

private:
    struct Failure {
        std::string text;
    };
};

} // namespace

std::string iniOf(Generation generation) {
    switch (generation) {
    case Generation::V2:
        return V2_TEXT + TIMINGS_TEXT;
    case Generation::V30:
        return "[UPB00]\nprotocol_version = 3.0\n" + V3_TEXT + TIMINGS_TEXT;
    default:
        return "[UPB00]\nprotocol_version = 3.1\n" + V3_TEXT;
    }
}

void greet(ScriptedPeer& peer, Generation generation) {
    greet(peer, generation, iniOf(generation));
}

void greet(ScriptedPeer& peer, Generation generation, const std::string& ini) {
    peer.sendIni(ini);
    answerConnect(peer, generation);
}

void greet(ScriptedPeer& peer, Generation generation, const std::string& ini,
           const std::vector<BoardAddress>& boards) {
    peer.sendIni(ini);
    answerConnect(peer, generation, boards);
}

void answerConnect(ScriptedPeer& peer, Generation generation,
                   const std::vector<BoardAddress>& boards) {
    if (generation != Generation::V2) {
        answerParameters(peer);
        answerMeasures(peer, boards);
    }
}

unsigned commandsOfConnect(Generation generation) {
    const auto parameters = static_cast<unsigned>(std::size(PARAMETERS));
    const auto measures = static_cast<unsigned>(std::size(AMPLIFIER_MEASURES));
    return generation == Generation::V2 ? 0 : parameters + AMPLIFIERS * measures;
}

void describe(GeneratorConfig& config, Generation generation) {
    config.load(iniOf(generation));
    if (generation != Generation::V2) {
        SmallSource source;
        config.refine(source);
    }
}

} // namespace fus::test
