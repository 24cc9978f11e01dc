// The board channel: commands that the generator's processor carries to its boards, itself
// included. The frame is big-endian, what it carries is little-endian.

#include "fus/P_Connection.h"

#include "fus/FloatArray.h"
#include "fus/P_FloatToWord.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>
#include <cinttypes>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned COMMAND_HEAD = 22;     // bytes in front of a command's data
constexpr unsigned RESERVED_HEAD = 12;    // zeroes that a command starts with
constexpr unsigned STATUS_TIMEOUT = 5000; // [ms], whatever the default answer time-out is
constexpr unsigned MAX_MEASURE_INDEX = 256;

const char* boundName(bool upper) {
    return upper ? "UP" : "LO";
}
const char* unitName(bool adcOnly) {
    return adcOnly ? "ADC" : "PHY";
}

NetPacket littleEndian(unsigned size) {
    NetPacket packet(size);
    packet.setByteOrder(NetPacket::LITTLE);
    return packet;
}

// Bytes that the raw values of all measures take.
std::size_t rawSize(const MeasureList& measures) {
    std::size_t size = 0;
    for (const auto& measure : measures) {
        size += measure->size;
    }
    return size;
}

unsigned short thresholdParam(unsigned measure, bool upper) {
    return static_cast<unsigned short>((upper ? BPARAM_ALL_BO_MAX : BPARAM_ALL_BO_MIN) +
                                       (measure & 0xFFU));
}

} // namespace

void Connection::requireBoardProtocol() const {
    if (m_secure && !isV3()) {
        FUS_THROW(ERR_PROTOCOL);
    }
}

void Connection::requireActiveBoard(unsigned hwid, unsigned address) const {
    if (m_secure && !m_config.isBoardActive(hwid, address)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid board (type or address).");
    }
}

void Connection::requireMeasureIndex(unsigned hwid, unsigned measure) const {
    if (!m_secure) {
        return;
    }
    const MeasureList* const measures = m_config.measures(hwid);
    const std::size_t count = measures != nullptr ? measures->size() : 0;
    if (measure >= count) {
        FUS_THROW_INDEX("measure index", measure, count);
    }
}

void Connection::requireMeasureList(unsigned hwid) const {
    if (m_secure && m_config.measures(hwid) == nullptr) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid hardware type.");
    }
}

unsigned Connection::sendBoardCommand(unsigned hwid, unsigned address, unsigned time,
                                      unsigned short command, const void* data, unsigned size) {
    requireActiveBoard(hwid, address);
    if (time > m_config.getTiming(TIME_MAX_BOARD_TIMEOUT)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Asynchronous board command is too long");
    }
    const char* const board = hardwareName(hwid); // names log unknown ones at any level
    const char* const name = boardCommandName(hwid, command);
    FUS_LOG(INFO, "    SendBoardCommand(%s=%d, adr=%u, %s=0x%04X, time=%d ms, datasz=%d)", board,
            static_cast<int>(hwid), address, name, static_cast<unsigned>(command),
            static_cast<int>(time), static_cast<int>(size));
    NetPacket packet(COMMAND_HEAD + size);
    packet.seek(RESERVED_HEAD, 0);
    packet.write32(time);
    packet.write8(static_cast<std::uint8_t>(hwid));
    packet.write8(static_cast<std::uint8_t>(address));
    packet.write16(command);
    packet.write16(static_cast<std::uint16_t>(size));
    packet.writeBytes(data, size);
    return sendCommand(CMD_BOARD_CMD, packet);
}

unsigned Connection::sendBoardCommand(unsigned hwid, unsigned address, unsigned time,
                                      unsigned short command, const NetPacket& data) {
    return sendBoardCommand(hwid, address, time, command, data.data(), data.size());
}

unsigned long long Connection::readBoardParam(unsigned hwid, unsigned address,
                                              unsigned short param) {
    const char* const name = boardParameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "Read board parameter (%s #%d, %s/%d)", hardwareName(hwid),
            static_cast<int>(address), name, param);
    requireBoardProtocol();
    requireActiveBoard(hwid, address);
    NetPacket request = littleEndian(2);
    request.write16(param);
    const unsigned id = sendBoardCommand(hwid, address, 0, CMD_BOARD_PARAM_GET, request);
    NetPacket data = littleEndian(8);
    if (readBoardAnswer(hwid, address, id, CMD_BOARD_PARAM_GET, data, TIMEOUT_DEFAULT) != 8) {
        FUS_THROW(ERR_PACKET);
    }
    const std::uint64_t low = data.read32();
    const std::uint64_t value = low | static_cast<std::uint64_t>(data.read32()) << 32U;
    FUS_LOG(INFO, "  %s/%d = %" PRIu64, name, param, value);
    return value;
}

void Connection::writeBoardParam(unsigned hwid, unsigned address, unsigned short param,
                                 unsigned long long value) {
    const char* const name = boardParameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "Write board parameter (%s #%d, %s/%d): %" PRIu64, hardwareName(hwid),
            static_cast<int>(address), name, param, static_cast<std::uint64_t>(value));
    requireBoardProtocol();
    requireActiveBoard(hwid, address);
    NetPacket request = littleEndian(12);
    request.write16(param);
    request.write16(0);
    request.write32(static_cast<std::uint32_t>(value));
    request.write32(static_cast<std::uint32_t>(value >> 32U));
    const unsigned id = sendBoardCommand(hwid, address, 0, CMD_BOARD_PARAM_SET, request);
    NetPacket nothing;
    readBoardAnswer(hwid, address, id, CMD_BOARD_PARAM_SET, nothing, TIMEOUT_DEFAULT);
}

unsigned Connection::readBoardThreshold(unsigned hwid, unsigned address, unsigned measure,
                                        bool upper) {
    FUS_LOG(INFO, "Read board threshold(%s #%u, %u, %s)", hardwareName(hwid), address, measure,
            boundName(upper));
    requireBoardProtocol();
    // the error differs here from all other board checks, its text doesn't
    if (m_secure && !m_config.isBoardActive(hwid, address)) {
        FUS_THROW_MSG(ERR_INDEX, "Invalid board (type or address).");
    }
    requireMeasureIndex(hwid, measure);
    const std::uint64_t value = readBoardParam(hwid, address, thresholdParam(measure, upper));
    FUS_LOG(INFO, "  threshold(ADC) = %" PRIu64, value);
    return static_cast<unsigned>(value);
}

void Connection::setBoardThreshold(unsigned hwid, unsigned address, unsigned measure, bool upper,
                                   unsigned value) {
    FUS_LOG(INFO, "Set board threshold(%s, %u, %u, %s) to %u", hardwareName(hwid), address, measure,
            boundName(upper), value);
    requireBoardProtocol();
    requireActiveBoard(hwid, address);
    requireMeasureIndex(hwid, measure);
    writeBoardParam(hwid, address, thresholdParam(measure, upper), value);
}

void Connection::readBoardMeasures(unsigned hwid, unsigned address, FloatArray& values,
                                   bool adcOnly) {
    FUS_LOG(INFO, "Read board measures (%s #%d) as %s", hardwareName(hwid),
            static_cast<int>(address), unitName(adcOnly));
    const MeasureList* const measures = m_config.measures(hwid);
    requireBoardProtocol();
    if (measures == nullptr) {
        FUS_THROW_MSG(ERR_ARGUMENT, "No measure definition for this type of board.");
    }
    requireActiveBoard(hwid, address);
    const unsigned id = sendBoardCommand(hwid, address, 0, CMD_BOARD_MEASURES, nullptr, 0);
    NetPacket data(1);
    data.setByteOrder(NetPacket::LITTLE);
    const unsigned size =
        readBoardAnswer(hwid, address, id, CMD_BOARD_MEASURES, data, TIMEOUT_DEFAULT);
    if (size < rawSize(*measures)) {
        FUS_THROW(ERR_PACKET); // the missing values would read as zeroes
    }
    values.resize(measures->size(), false);
    for (std::size_t i = 0; i < measures->size(); ++i) {
        const PrivateMeasure& measure = *(*measures)[i];
        const std::uint32_t raw = data.read(measure.size);
        float value = static_cast<float>(raw);
        if (adcOnly) {
            FUS_LOG(VERBOSE, "  measure[%" FUS_PRIuSIZE "]= %u (ADC)", i, raw);
        } else {
            value = evaluatePolynomial(measure.ADCToUnit, value);
            FUS_LOG(VERBOSE, "  measure[%" FUS_PRIuSIZE "]= %g (ADC %u)", i,
                    static_cast<double>(value), raw);
        }
        values.set(i, value);
    }
}

// Calls visit(address, position) for the processor, or for every active amplifier in the order of
// the rack; `position` counts what was visited.
template <class Visit>
void Connection::visitBoards(unsigned hwid, Visit visit) {
    if (hwid == HWID_PROCESSOR) {
        visit(0U, std::size_t{0});
        return;
    }
    std::size_t position = 0;
    for (unsigned i = 0; i < m_config.getCount(NB_DETECTED_AMPLIFIER_BOARDS); ++i) {
        const PrivateBoardAMP& board = m_config.amplifierAt(i);
        if (board.active) {
            visit(static_cast<unsigned>(board.address), position++);
        }
    }
}

void Connection::readAllBoardsMeasures(unsigned hwid, unsigned measure, FloatArray& values,
                                       bool adcOnly) {
    FUS_LOG(INFO, "Read all boards measures (%s, i=%u) as %s", hardwareName(hwid), measure,
            unitName(adcOnly));
    requireBoardProtocol();
    requireMeasureList(hwid);
    const MeasureList* const measures = m_config.measures(hwid);
    if (m_secure && measure >= measures->size()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid measure index.");
    }
    resizeForBoards(hwid, values);
    visitBoards(hwid, [&](unsigned address, std::size_t position) {
        FloatArray all;
        readBoardMeasures(hwid, address, all, adcOnly);
        values.set(position, all.get(measure));
    });
}

void Connection::readAllBoardsThresholds(unsigned hwid, unsigned measure, bool upper,
                                         FloatArray& values, bool adcOnly) {
    FUS_LOG(INFO, "Read all boards thresholds (%s, m=%d, %s) as %s", hardwareName(hwid),
            static_cast<int>(measure), boundName(upper), unitName(adcOnly));
    requireBoardProtocol();
    requireMeasureList(hwid);
    requireMeasureIndex(hwid, measure);
    resizeForBoards(hwid, values);
    visitBoards(hwid, [&](unsigned address, std::size_t position) {
        const unsigned raw = readBoardThreshold(hwid, address, measure, upper);
        float value = static_cast<float>(raw);
        if (adcOnly) {
            FUS_LOG(VERBOSE, "  threshold[%" FUS_PRIuSIZE "]= %u (ADC)", position, raw);
        } else {
            value = evaluatePolynomial(measureAt(hwid, measure).ADCToUnit, value);
            FUS_LOG(VERBOSE, "  threshold[%" FUS_PRIuSIZE "]= %g (ADC %u)", position,
                    static_cast<double>(value), raw);
        }
        values.set(position, value);
    });
}

void Connection::setAllBoardsThreshold(unsigned hwid, unsigned measure, bool upper,
                                       const FloatArray& values, bool adcOnly) {
    FUS_LOG(INFO, "Set all boards threshold (%s, %u, %s) in %s", hardwareName(hwid), measure,
            boundName(upper), unitName(adcOnly));
    requireBoardProtocol();
    requireMeasureList(hwid);
    requireMeasureIndex(hwid, measure);
    if (hwid != HWID_PROCESSOR && hwid != HWID_AMPLIFIER) {
        return;
    }
    if (values.size() != boardsVisited(hwid)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid values size.");
    }
    visitBoards(hwid, [&](unsigned address, std::size_t position) {
        float value = values.get(position);
        if (!adcOnly) {
            value = evaluatePolynomial(measureAt(hwid, measure).UnitToADC, value);
        }
        setBoardThreshold(hwid, address, measure, upper, floatToWord(value));
    });
}

std::size_t Connection::boardsVisited(unsigned hwid) const {
    return hwid == HWID_PROCESSOR ? 1 : m_config.getCount(NB_ACTIVE_AMPLIFIER_BOARDS);
}

void Connection::resizeForBoards(unsigned hwid, FloatArray& values) const {
    if (hwid != HWID_PROCESSOR && hwid != HWID_AMPLIFIER) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Unsupported hardware type.");
    }
    values.resize(boardsVisited(hwid), false);
}

const PrivateMeasure& Connection::measureAt(unsigned hwid, unsigned index) const {
    const MeasureList* const measures = m_config.measures(hwid);
    const std::size_t count = measures != nullptr ? measures->size() : 0;
    if (index >= count) {
        FUS_THROW_INDEX("measure index", index, count);
    }
    return *(*measures)[index];
}

bool Connection::refreshBoardsStatus() {
    FUS_LOG(INFO, "refreshBoardsStatus()");
    requireBoardProtocol();
    const unsigned id = sendCommand(CMD_SYSTEM_STATE, nullptr, 0);
    std::unique_ptr<NetPacket> answer;
    if (!readAnswer(id, ANSWER_SYSTEM_STATE, &answer, STATUS_TIMEOUT, nullptr) || !answer) {
        FUS_THROW(ERR_TIMEOUT);
    }
    bool good = true;
    for (std::uint32_t left = answer->read32(); left != 0; --left) {
        const unsigned hwid = answer->read8();
        const unsigned address = answer->read8();
        answer->read16();
        const std::uint32_t status = answer->read32();
        FUS_LOG(VERBOSE, "  Status[%d#%2d] = 0x%08X", static_cast<int>(hwid),
                static_cast<int>(address), status);
        m_config.updateBoardStatus(hwid, address, status);
        good = good && status == 0;
    }
    return good;
}

unsigned Connection::getBoardStatus(unsigned hwid, unsigned address) const {
    requireBoardProtocol();
    const PrivateBoard* const board = m_config.findBoard(hwid, address);
    if (board == nullptr) {
        FUS_THROW(ERR_ARGUMENT);
    }
    return board->status;
}

unsigned long long Connection::readParam(unsigned hwid, unsigned address, unsigned short param) {
    return readBoardParam(hwid, address, param);
}

void Connection::readMeasureDefinition(PrivateBoard& board, unsigned index) {
    FUS_LOG(INFO, "Get board measure definition(%s #%u, measure %u)", hardwareName(board.hwid),
            static_cast<unsigned>(board.address), index);
    requireBoardProtocol();
    requireActiveBoard(board.hwid, board.address);
    if (m_secure && index >= MAX_MEASURE_INDEX) {
        FUS_THROW_INDEX("measure index", index, MAX_MEASURE_INDEX);
    }
    const auto which = static_cast<unsigned char>(index);
    const unsigned id =
        sendBoardCommand(board.hwid, board.address, 0, CMD_BOARD_MEASURES, &which, 1);
    NetPacket data(1);
    readBoardAnswer(board.hwid, board.address, id, CMD_BOARD_MEASURES, data, TIMEOUT_DEFAULT);
    decodeMeasureDefinition(data, *board.boardMeasures.at(index), m_secure);
}

} // namespace fus
