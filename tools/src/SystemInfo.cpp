#include "SystemInfo.h"

#include "Attempt.h"

#include "fus/Generator.h"
#include "fus/LowLevelMechanics.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace fus::tool {

namespace {

using namespace gprotocol;

constexpr unsigned FIRST_WITH_ADDRESSES = 3; // major version of the protocol; before, it counts

MeasureInfo describe(const Measure& measure) {
    MeasureInfo info;
    info.name = measure.name();
    info.unit = measure.unitSymbol();
    info.bytes = measure.size();
    info.lowerADC = measure.lowerThreshold();
    info.upperADC = measure.upperThreshold();
    info.lower = measure.physicalFromADC(info.lowerADC);
    info.upper = measure.physicalFromADC(info.upperADC);
    // A sensor whose raw value falls while the physical one rises has them the other way round.
    if (info.lower > info.upper) {
        std::swap(info.lower, info.upper);
    }
    return info;
}

BoardData describe(const Board& board) {
    BoardData data;
    data.type = board.boardType();
    data.address = board.address();
    data.active = board.isActive();
    data.hardware = board.hardwareVersion();
    data.firmware = board.firmwareVersion();
    data.uniqueId = board.uniqueID();
    data.crc = board.CRC();
    data.buildTime = board.buildTime();
    data.revision = board.revisionHash();
    for (unsigned i = 0; i < board.boardMeasureCount(); ++i) {
        data.measures.push_back(describe(board.boardMeasure(i)));
    }
    return data;
}

/// What the board says of itself goes before what the generator's text says of it. `address` is the
/// one by which it is asked.
void askBoard(FUS& fus, unsigned address, BoardData& data) {
    const auto shortAddress = static_cast<unsigned char>(address);
    attempt([&] {
        const BoardInfo info = fus.readBoardInfo(data.type, shortAddress);
        data.hardware = info.hardwareVersion();
        data.firmware = info.firmwareVersion();
        data.crc = info.firmwareCRC() != 0 ? info.firmwareCRC() : data.crc;
        data.firmwareSize = info.firmwareSize();
        if (*info.firmwareDatetime() != '\0') {
            data.buildTime = info.firmwareDatetime();
        }
    });
    if (data.uniqueId == 0) {
        attempt([&] {
            data.uniqueId = static_cast<std::uint32_t>(
                fus.getGenerator().readBoardParam(data.type, address, BPARAM_ALL_UID));
        });
    }
}

std::vector<BoardData> readBoards(FUS& fus) {
    const bool old = fus.getProtocolVersion().v1 < FIRST_WITH_ADDRESSES;
    std::vector<BoardData> boards;
    for (const EnumRow& row : BOARD_TYPES) {
        const auto type = static_cast<BoardType>(row.value);
        for (unsigned i = 0; i < fus.getDetectedBoardCount(type); ++i) {
            boards.push_back(describe(fus.getBoard(type, i)));
            if (boards.back().active) {
                askBoard(fus, old ? i : boards.back().address, boards.back());
            }
            if (type == BOARD_AMPLIFIER) {
                const BoardAMP amplifier = fus.getBoardAMP(i);
                for (unsigned m = 0; m < amplifier.channelMeasureCount(); ++m) {
                    boards.back().channelMeasures.push_back(describe(amplifier.channelMeasure(m)));
                }
            }
        }
    }
    return boards;
}

ModeLimits readLimits(const Generator& generator, const EnumRow& row) {
    const auto mode = static_cast<ElecExecMode>(row.value);
    ModeLimits limits;
    limits.name = row.shortName;
    limits.minShooting = generator.getMinShootingDuration(mode);
    limits.maxShooting = generator.getMaxShootingDuration(mode);
    limits.minTotal = generator.getMinTotalShotDuration(mode, 0);
    limits.maxTotal = generator.getMaxTotalShotDuration(mode);
    limits.maxTrajectoryDelay = generator.getMaxTrajectoryDelay(mode);
    limits.maxTrajectorySize = generator.getMaxTrajectorySize(mode);
    limits.available = limits.maxShooting > 0 && limits.maxTrajectorySize > 0;
    return limits;
}

std::vector<ModeLimits> readModes(const Generator& generator) {
    std::vector<ModeLimits> modes;
    for (const EnumRow& row : ELEC_EXEC_MODES) {
        if (row.name != nullptr) { // one that the generator knows
            modes.push_back(readLimits(generator, row));
        }
    }
    return modes;
}

/// The mechanics' own secure mode, off while this lives: it lets nobody read without a definition.
class InsecureMechanics {
public:
    explicit InsecureMechanics(LowLevelMechanics& mechanics)
        : m_mechanics(mechanics), m_former(mechanics.isInSecureMode()) {
        m_mechanics.setSecureMode(false);
    }
    ~InsecureMechanics() { m_mechanics.setSecureMode(m_former); }
    InsecureMechanics(const InsecureMechanics&) = delete;
    InsecureMechanics& operator=(const InsecureMechanics&) = delete;

private:
    LowLevelMechanics& m_mechanics;
    const bool m_former;
};

std::string textOf(const MechanicalStatus& status) {
    return status.ok() ? status.message() : status.toString();
}

AxisInfo readAxis(LowLevelMechanics& mechanics, unsigned axis) {
    AxisInfo info;
    info.position = mechanics.readAbsoluteActuatorPosition(axis);
    info.originFound = mechanics.isOriginFound(axis);
    info.motorDetected = mechanics.readIntParameter(axis, mprotocol::PARAM_R_MOTOR_DETECTED) != 0;
    return info;
}

MechanicsInfo readMechanics(FUS& fus) {
    LowLevelMechanics& mechanics = fus.getLowLevelMechanics();
    const InsecureMechanics insecure(mechanics);
    MechanicsInfo info;
    attempt([&] { info.status = textOf(mechanics.readStatus()); });
    attempt(
        [&] { info.maxAxes = mechanics.readIntParameter(0, mprotocol::PARAM_R_MAX_AXIS_COUNT); });
    attempt(
        [&] { info.maxMoves = mechanics.readIntParameter(0, mprotocol::PARAM_R_TRAJ_MAXSIZE); });
    // Boards tell how many axes they support, not how many there are: the first that is refused
    // ends them.
    for (unsigned axis = 0; axis < info.maxAxes.value_or(0); ++axis) {
        if (!attempt([&] { info.axes.push_back(readAxis(mechanics, axis)); })) {
            break;
        }
    }
    return info;
}

} // namespace

bool MeasureInfo::operator==(const MeasureInfo& other) const {
    return std::tie(name, unit, bytes, lowerADC, upperADC, lower, upper) ==
           std::tie(other.name, other.unit, other.bytes, other.lowerADC, other.upperADC,
                    other.lower, other.upper);
}

SystemInfo readSystemInfo(FUS& fus) {
    const auto held = fus.holdDescription(); // the link may break in the middle
    const Generator& generator = fus.getGenerator();
    SystemInfo info;
    info.kind = fus.simulatorType();
    info.protocol = fus.getProtocolVersion();
    info.channels = generator.getChannelCount();
    info.channelMeasures = generator.getChannelMeasureCount();
    info.buffers = generator.getBufferCount();
    info.triggerInput = generator.hasTriggerInput();
    info.multiplexer = generator.hasMultiplexer();
    info.shotRamp = generator.hasShotRamp();
    info.maxRamp = generator.getMaxRampDuration();
    info.minTrajectoryDelay = generator.getMinTrajectoryDelay();
    info.minRepeatShotDelay = generator.getMinRepeatShotDelay();
    info.boards = readBoards(fus);
    info.modes = readModes(generator);
    if (fus.getDetectedBoardCount(BOARD_MECHANICS) > 0) {
        info.mechanics = readMechanics(fus);
    }
    return info;
}

const char* kindText(GenType kind) {
    switch (kind) {
    case GEN_HARDWARE:
        return "a real generator";
    case GEN_SIMULATOR:
        return "a simulator";
    default:
        return "a generator";
    }
}

} // namespace fus::tool
