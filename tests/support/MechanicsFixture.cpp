#include "support/MechanicsFixture.h"

#include "fus/P_GProtocol.h"

#include <stdexcept>

namespace fus::test {

namespace {

constexpr const char* DEFINITION = R"([File]
version = 1
[Axis0/Board]
lowerBound = -1000
upperBound = 2000
maxSpeed = 5000
minNegativeDAC = 100
minPositiveDAC = 150
kP = 1.5
kI = 0.25
kD = 2
maxIntegralError = 100
toleranceTarget = 3
toleranceMoving = 40
[Axis0/FUS]
name = slide
motion = TRANSLATION
unit = mm
topology = L2
stepSize = 0.0009765625
maxUserSpeed = 1000
initDACs = 100|50|10
[Axis3/Board]
lowerBound = -50
upperBound = 50
maxSpeed = 900
minNegativeDAC = 0
minPositiveDAC = 128
accelDuration = 9
kP = 1
kI = 0
kD = 0
maxIntegralError = 2.5
toleranceTarget = 1
toleranceMoving = 2
plotMode = 0
inverted = yes
ABS = no
encoderCableDetection = yes
[Axis3/FUS]
motion = ROTATION
unit = rad
topology = R1
stepSize = 0.5
maxUserSpeed = 100
defUserSpeed = 10
initDACs = 130|160|10
initTimeout = 60
initPark = 10|20
)";

std::size_t startOf(const std::string& definition, const std::string& section) {
    const std::size_t at = definition.find("[" + section + "]\n");
    if (at == std::string::npos) {
        throw std::invalid_argument("no section " + section);
    }
    return at + section.size() + 3;
}

} // namespace

const std::string& twoAxes() {
    static const std::string text = DEFINITION;
    return text;
}

std::string withLine(const std::string& section, const std::string& line,
                     const std::string& definition) {
    std::string text = definition;
    return text.insert(startOf(definition, section), line + "\n");
}

std::string withoutKey(const std::string& section, const std::string& key) {
    std::string text = twoAxes();
    const std::size_t at = text.find("\n" + key + " ", startOf(text, section) - 1);
    return text.erase(at, text.find('\n', at + 1) - at);
}

MechanicsFixture::~MechanicsFixture() {
    mech().clearDefinition(); // so that the disconnect doesn't ask for a stop
    mech().setSecureMode(true);
}

void MechanicsFixture::connectBoard(const std::string& firmware) {
    connect(Generation::V2, iniOf(Generation::V2) + "[Available hardware]\nnb_mot_board = 1\n" +
                                "[Version]\nmot_board_software_version = " + firmware + "\n");
}

ScriptedPeer& MechanicsFixture::expectMot(unsigned command, const Bytes& data, unsigned time) {
    return peer.expect(gprotocol::CMD_BOARD_CMD,
                       zeroes(12) + be32(time) + hex("0F00") + be16(command) +
                           be16(static_cast<unsigned>(data.size())) + data);
}

Bytes MechanicsFixture::success(unsigned command) {
    return zeroes(12) + hex("0F00") + be16(command) + hex("0059");
}

Bytes MechanicsFixture::successWith(unsigned command, const Bytes& data) {
    return zeroes(12) + hex("0F00") + be16(command) + be16(command) +
           be16(static_cast<unsigned>(data.size())) + data;
}

Bytes MechanicsFixture::refusal(unsigned command, unsigned code) {
    return zeroes(12) + hex("0F00") + be16(command) + hex("004E 0004") + le32(code);
}

ScriptedPeer& MechanicsFixture::serve(unsigned command, const Bytes& data, unsigned time) {
    return expectMot(command, data, time).answer(SYNC, success(command));
}

ScriptedPeer& MechanicsFixture::serveWith(unsigned command, const Bytes& data,
                                          const Bytes& answer) {
    return expectMot(command, data).answer(SYNC, successWith(command, answer));
}

ScriptedPeer& MechanicsFixture::serveParam(unsigned actuator, unsigned param, const Bytes& value) {
    return serveWith(0x1000, u8(actuator) + u8(param), value);
}

void MechanicsFixture::serveCapacities(unsigned protocol, unsigned axes, unsigned moves,
                                       unsigned logLines) {
    serveWith(93, hex("100E"), le64(protocol));
    serveParam(0, 23, le32(axes));
    serveParam(0, 24, le32(moves));
    serveParam(0, 25, le32(logLines));
}

void MechanicsFixture::configure(unsigned protocol, const std::string& definition) {
    ASSERT_TRUE(mech().loadDefinitionString(definition.c_str()));
    serveCapacities(protocol);
    const bool one = definition.find("initOrder") != std::string::npos;
    for (unsigned i = 0; i < 18 * (one ? 1 : mech().getActuatorCount()); ++i) {
        peer.expect(gprotocol::CMD_BOARD_CMD).answer(SYNC, success(0x1001));
    }
    ASSERT_TRUE(mech().sendConfig(true));
}

void MechanicsFixture::makeReady(unsigned protocol) {
    configure(protocol);
    for (unsigned actuator = 0; actuator < 2; ++actuator) {
        serveParam(actuator, 1, le32(1));
        serveParam(actuator, 2, le32(10000 * (actuator + 1)));
    }
    serve(0x100C, zeroes(4) + le32(20010) + le32(20) + zeroes(8), 70);
    mech().findAllOrigins(false);
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_MECH_ORIGIN_RESULT));
    ASSERT_TRUE(mech().isAllOriginsFound());
    listener.clear();
}

} // namespace fus::test
