// What the mechanical board does with each command. All with the board's mutex held.
#include "MotBoard.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace mprotocol;

namespace {

constexpr unsigned ANY_SIZE = 0xFFFF;
constexpr unsigned TRIGGER_ONE_PULSE = 1;
constexpr std::size_t MOVE_SIZE = 8;

[[noreturn]] void refuseSize(const MotRequest& request) {
    refuse(BAD_BOARD_INPUT, request.command, "%zu bytes of data don't fit command 0x%04X.",
           request.data.size(), request.command);
}

} // namespace

struct MotBoard::Row {
    unsigned command;
    unsigned dataSize;
    bool needsRest; // it isn't taken while something moves
    Bytes (MotBoard::*carryOut)(const MotRequest&);
};

const MotBoard::Row* MotBoard::findRow(unsigned command) {
    static const Row rows[] = {
        {MOT_PARAM_GET, 2, false, &MotBoard::readParameter},
        {MOT_PARAM_SET, 6, true, &MotBoard::writeParameter},
        {MOT_STATUS, 0, false, &MotBoard::readStatus},
        {MOT_LOG_GET, 2, false, &MotBoard::readLog},
        {MOT_STOP, 0, false, &MotBoard::stop},
        {MOT_MOVE_DURATION, 6, true, &MotBoard::moveDuration},
        {MOT_MOVE_STEPS, 6, true, &MotBoard::moveSteps},
        {MOT_INIT, 4, true, &MotBoard::search},
        {MOT_MOVE_TO, ANY_SIZE, true, &MotBoard::moveTo},
        {MOT_TRAJ_RESET, 0, true, &MotBoard::resetDisplacement},
        {MOT_TRAJ_SEND, ANY_SIZE, true, &MotBoard::sendDisplacement},
        {MOT_TRAJ_EXEC, ANY_SIZE, true, &MotBoard::executeDisplacement},
        {MOT_TRAJ_TRIG, ANY_SIZE, true, &MotBoard::prepareDisplacement},
    };
    const Row* end = std::end(rows);
    const Row* found = std::find_if(std::begin(rows), end,
                                    [command](const Row& row) { return row.command == command; });
    return found == end ? nullptr : found;
}

Bytes MotBoard::carryOut(const MotRequest& request) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_accepted.reset();
    const Row* row = findRow(request.command);
    if (!row) {
        refuse(UNKNOWN_BOARD_COMMAND, request.command, "Unknown board command %u.",
               request.command);
    }
    if (const auto fault = m_faults.onMechanics(FaultKind::MECH_ERROR, request.command)) {
        refuse(fault->value, fault->argument, "%s", fault->text.c_str());
    }
    if (row->dataSize != ANY_SIZE && row->dataSize != request.data.size()) {
        refuseSize(request);
    }
    if (row->needsRest) {
        needRest();
    }
    Bytes answer;
    try {
        answer = (this->*row->carryOut)(request);
    } catch (const ShortData&) {
        refuseSize(request);
    }
    if (const auto fault =
            m_faults.onMechanics(FaultKind::MECH_DATA, request.command, gprotocol::ANSWER_BOARD)) {
        answer.resize(answer.size() + fault->value);
    }
    return answer;
}

void MotBoard::needRest() const {
    if (m_motion) {
        refuseMot(m_motion->isGuided ? MOT_BUSY : MOT_BUSY_COMMAND, m_motion->courses[0].axis);
    }
}

MotAxis& MotBoard::axisAt(unsigned index) {
    if (index >= m_axes.size()) {
        refuseMot(MOT_BAD_AXIS, index);
    }
    return m_axes[index];
}

void MotBoard::accept(const MotRequest& request, MotMotion motion) {
    motion.command = request.command;
    m_prepared.reset();
    m_accepted = Accepted{request.command, request.time, std::move(motion)};
}

// --- parameters, status, history ---

const MechParamRow& MotBoard::parameterAt(unsigned index, unsigned id) {
    axisAt(index);
    const MechParamRow* row = findMotParameter(id);
    if (!row || (id == PARAM_R_INIT_DAC_USED && m_board.protocol < 2)) {
        refuseMot(MOT_UNKNOWN_PARAMETER, index, id);
    }
    return *row;
}

Bytes MotBoard::readParameter(const MotRequest& request) {
    const unsigned index = request.data[0];
    const MechParamRow& row = parameterAt(index, request.data[1]);
    Bytes value;
    ByteWriter(value).le32(valueNow(m_axes[index], row.value));
    return value;
}

Bytes MotBoard::writeParameter(const MotRequest& request) {
    const std::uint32_t raw = ByteReader(request.data).le32();
    const unsigned index = request.data[4];
    const MechParamRow& row = parameterAt(index, request.data[5]);
    if (row.readOnly()) {
        refuseMot(MOT_READ_ONLY, index, row.value);
    }
    if (!isValidMotValue(row, raw)) {
        refuseMot(MOT_BAD_VALUE, index, row.value);
    }
    if (row.value == PARAM_ORIGIN_FOUND) {
        m_axes[index].clearOrigin();
    }
    for (MotAxis& axis : m_axes) {
        if (isSharedMotParameter(row.value) || axis.index() == index) {
            axis.setValue(row.value, raw);
        }
    }
    return {};
}

Bytes MotBoard::readStatus(const MotRequest&) {
    Bytes status;
    ByteWriter(status).le32(m_status);
    return status;
}

Bytes MotBoard::readLog(const MotRequest& request) {
    const auto& log = axisAt(request.data[0]).log();
    const unsigned line = request.data[1];
    if (line >= log.size()) {
        refuseMot(log.empty() ? MOT_EMPTY_LOG : MOT_BAD_LOG_INDEX, request.data[0], line);
    }
    return {log[line].begin(), log[line].end()};
}

// --- motions ---

// The motion ends behind the answer.
Bytes MotBoard::stop(const MotRequest& request) {
    if (!m_motion && !m_prepared) {
        refuseMot(MOT_AT_REST);
    }
    m_prepared.reset();
    m_accepted = Accepted{request.command};
    m_accepted->stops = true;
    return {};
}

Bytes MotBoard::moveDuration(const MotRequest& request) {
    const std::uint32_t ms = ByteReader(request.data).le32();
    const MotAxis& axis = axisAt(request.data[4]);
    accept(request, planner().moveFor(axis.index(), request.data[5], ms));
    return {};
}

Bytes MotBoard::moveSteps(const MotRequest& request) {
    const std::uint32_t steps = ByteReader(request.data).le32();
    const MotAxis& axis = axisAt(request.data[4]);
    accept(request, planner().moveSteps(axis.index(), request.data[5], steps));
    return {};
}

Bytes MotBoard::search(const MotRequest& request) {
    const Bytes& data = request.data;
    axisAt(data[0]);
    accept(request, planner().search({data[0], data[1], data[2], data[3]}));
    return {};
}

// A client that knows fewer axes leaves zeros behind the time: the last word that isn't one is the
// time.
Bytes MotBoard::moveTo(const MotRequest& request) {
    if (request.data.size() != 4 * (m_axes.size() + 1)) {
        refuseSize(request);
    }
    std::vector<std::uint32_t> words(m_axes.size() + 1);
    ByteReader reader(request.data);
    std::generate(words.begin(), words.end(), [&] { return reader.le32(); });
    while (words.size() > 1 && words.back() == 0) {
        words.pop_back();
    }
    const std::uint32_t ms = words.back();
    MovesByAxis moves(m_axes.size());
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        if (words[i] != 0) {
            moves[i].push_back({words[i], ms});
        }
    }
    accept(request, planner().guided(moves, 1, 0));
    return {};
}

// --- displacements ---

Bytes MotBoard::resetDisplacement(const MotRequest&) {
    for (auto& moves : m_displacement) {
        moves.clear();
    }
    m_prepared.reset();
    return {};
}

std::vector<MechanicalMove> MotBoard::readMoves(ByteReader& reader, unsigned& axis) {
    const std::size_t count = reader.u8();
    axis = reader.u8();
    reader.skip(2);
    axisAt(axis);
    if (reader.remaining() != count * MOVE_SIZE) {
        throw ShortData();
    }
    if (count == 0 || count > m_board.maxMoves) {
        refuseMot(count == 0 ? MOT_NO_MOVE : MOT_TOO_MANY_MOVES, axis);
    }
    std::vector<MechanicalMove> moves(count);
    for (MechanicalMove& move : moves) {
        move.position = reader.le32();
        move.delay = reader.le32();
    }
    return moves;
}

// The second answer says what the board thinks of the moves.
Bytes MotBoard::sendDisplacement(const MotRequest& request) {
    ByteReader reader(request.data);
    unsigned axis = 0;
    std::vector<MechanicalMove> moves = readMoves(reader, axis);
    Accepted accepted{request.command, request.time};
    m_prepared.reset();
    m_displacement[axis].clear();
    try {
        planner().checkMoves(axis, moves);
        m_displacement[axis] = std::move(moves);
    } catch (const Refusal& refusal) {
        accepted.refusal = refusal;
    }
    m_accepted = std::move(accepted);
    return {};
}

MotBoard::Prepared MotBoard::readRepetition(ByteReader& reader) const {
    Prepared repetition{};
    repetition.delay = reader.le32();
    repetition.count = m_board.protocol < 2 ? reader.u8() : reader.le32();
    if (repetition.count == 0) {
        refuseMot(MOT_NULL_COUNT);
    }
    return repetition;
}

Bytes MotBoard::executeDisplacement(const MotRequest& request) {
    ByteReader reader(request.data);
    const Prepared repetition = readRepetition(reader);
    if (reader.remaining() != 0) {
        throw ShortData();
    }
    accept(request, planner().guided(m_displacement, repetition.count, repetition.delay));
    return {};
}

Bytes MotBoard::prepareDisplacement(const MotRequest& request) {
    ByteReader reader(request.data);
    const Prepared repetition = readRepetition(reader);
    const unsigned mode = reader.u8();
    if (reader.remaining() != 0) {
        throw ShortData();
    }
    if (mode != TRIGGER_ONE_PULSE) {
        refuseMot(MOT_BAD_TRIGGER_MODE, 0, mode);
    }
    planner().guided(m_displacement, repetition.count, repetition.delay); // refuses what can't be
    m_prepared = repetition;
    return {};
}

} // namespace simulator
} // namespace fus
