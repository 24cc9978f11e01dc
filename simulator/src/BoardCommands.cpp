#include "BoardCommands.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t FRAME_RESERVED = 12;
constexpr std::size_t CRC_DATE_REQUEST_SIZE = 8;

struct BoardRequest {
    std::uint32_t time = 0; // [milliseconds], 0 for a synchronous command
    unsigned hwid = 0;
    unsigned address = 0;
    unsigned command = 0;
    Bytes data;
};

BoardRequest readRequest(const Bytes& payload) {
    ByteReader reader(payload);
    BoardRequest request;
    reader.skip(FRAME_RESERVED);
    request.time = reader.u32();
    request.hwid = reader.u8();
    request.address = reader.u8();
    request.command = reader.u16();
    const std::size_t size = reader.u16();
    if (size != reader.remaining()) {
        refuse(BAD_INPUT_SIZE, static_cast<std::uint32_t>(size), "The data has %zu bytes, not %zu.",
               reader.remaining(), size);
    }
    const std::uint8_t* data = reader.take(size);
    request.data.assign(data, data + size);
    return request;
}

Bytes answerHead(const BoardRequest& request, unsigned result) {
    Bytes answer;
    ByteWriter(answer)
        .zeros(FRAME_RESERVED)
        .u8(request.hwid)
        .u8(request.address)
        .u16(request.command)
        .u16(result);
    return answer;
}

Bytes refusalAnswer(const BoardRequest& request, const Refusal& refusal) {
    Bytes answer = answerHead(request, BOARD_RESULT_NO);
    ByteWriter(answer)
        .u16(static_cast<std::uint32_t>(8 + refusal.text.size()))
        .le32(refusal.code)
        .le32(refusal.argument)
        .text(refusal.text);
    return answer;
}

Bytes dataAnswer(const BoardRequest& request, const Bytes& data) {
    if (data.empty()) {
        return answerHead(request, BOARD_RESULT_YES);
    }
    Bytes answer = answerHead(request, request.command);
    ByteWriter(answer).u16(static_cast<std::uint32_t>(data.size())).bytes(data);
    return answer;
}

void needSize(const BoardRequest& request, std::size_t size) {
    if (request.data.size() != size) {
        refuse(BAD_BOARD_INPUT, request.command, "%zu bytes of data, not %zu.", size,
               request.data.size());
    }
}

Bytes boardVersion(Hardware& hardware, const BoardRequest& request) {
    needSize(request, 0);
    const BoardDescription& board = hardware.board(request.hwid, request.address);
    const auto& firmware = board.firmwareVersion;
    const bool isV2 = hardware.description().isV2();
    Bytes data;
    ByteWriter(data)
        .le32(hardwareWord(board.hardwareVersion))
        .u8(firmware[0])
        .u8(firmware[1])
        .u8(firmware[isV2 ? 3 : 2])
        .u8(firmware[isV2 ? 2 : 3]);
    return data;
}

// The request has 8 bytes that mean nothing.
Bytes boardCrcAndDate(Hardware& hardware, const BoardRequest& request) {
    needSize(request, CRC_DATE_REQUEST_SIZE);
    const BoardDescription& board = hardware.board(request.hwid, request.address);
    const std::size_t blank = std::min(board.buildTime.find(' '), board.buildTime.size());
    const std::string date = board.buildTime.substr(0, blank);
    const std::string time = board.buildTime.substr(std::min(blank + 1, board.buildTime.size()));
    Bytes data;
    ByteWriter writer(data);
    if (board.crcFormat == 0) {
        writer.le16(board.crc).field(date, 15).field(time, 14);
    } else {
        writer.le32(board.firmwareSize).le32(board.crc).field(date, 12).field(time, 10).u8(0);
    }
    writer.u8(board.crcFormat);
    return data;
}

Bytes measureDefinition(const BoardDescription& board, unsigned index) {
    if (index >= board.measures.size()) {
        refuse(OUT_OF_RANGE, index, "No measure %u.", index);
    }
    const BoardMeasureDescription& measure = board.measures[index];
    Bytes data;
    ByteWriter writer(data);
    writer.le16(measure.typeId)
        .u8(measure.size)
        .u8(0)
        .le32(measure.lowerThreshold)
        .le32(measure.upperThreshold)
        .le32(measure.divisor)
        .le32(static_cast<std::uint32_t>(measure.coefficients.size()));
    for (std::int32_t coefficient : measure.coefficients) {
        writer.le32(static_cast<std::uint32_t>(coefficient));
    }
    return data;
}

Bytes boardMeasures(Hardware& hardware, const BoardRequest& request) {
    const BoardDescription& board = hardware.board(request.hwid, request.address);
    if (request.data.size() == 1) {
        return measureDefinition(board, request.data[0]);
    }
    needSize(request, 0);
    return hardware.readMeasures(board);
}

Bytes readParameter(Hardware& hardware, const BoardRequest& request) {
    needSize(request, 2);
    const unsigned id = ByteReader(request.data).le16();
    Bytes data;
    ByteWriter(data).le64(hardware.readParameter(request.hwid, request.address, id));
    return data;
}

Bytes writeParameter(Hardware& hardware, const BoardRequest& request) {
    needSize(request, 12);
    ByteReader reader(request.data);
    const unsigned id = reader.le16();
    reader.skip(2);
    hardware.writeParameter(request.hwid, request.address, id, reader.le64());
    return {};
}

struct BoardCommandRow {
    unsigned command;
    bool inV2;
    Bytes (*carryOut)(Hardware&, const BoardRequest&);
};

constexpr BoardCommandRow BOARD_COMMAND_ROWS[] = {
    {CMD_BOARD_VERSION, true, boardVersion},     {CMD_BOARD_CRC_DATE, true, boardCrcAndDate},
    {CMD_BOARD_MEASURES, false, boardMeasures},  {CMD_BOARD_PARAM_SET, false, writeParameter},
    {CMD_BOARD_PARAM_GET, false, readParameter},
};

Bytes carryOut(Hardware& hardware, MotBoard& mot, const BoardRequest& request) {
    const bool isV2 = hardware.description().isV2();
    const bool isMechanical = request.hwid == HWID_MECHANICS;
    hardware.board(request.hwid, request.address);
    if (!isV2 && request.time > hardware.upb(BPARAM_UPB_MAX_ASYNC_TIMEOUT)) {
        refuse(INCORRECT_PARAMETER, request.time, "The command's time is too long.");
    }
    for (const BoardCommandRow& row : BOARD_COMMAND_ROWS) {
        if (row.command == request.command && (row.inV2 || !isV2 || isMechanical)) {
            return row.carryOut(hardware, request);
        }
    }
    if (isMechanical) {
        return mot.carryOut({request.time, request.command, request.data});
    }
    refuse(UNKNOWN_BOARD_COMMAND, request.command, "Unknown board command %u.", request.command);
}

} // namespace

Bytes carryOutBoardCommand(Hardware& hardware, MotBoard& mot, const Bytes& payload) {
    const BoardRequest request = readRequest(payload);
    try {
        return dataAnswer(request, carryOut(hardware, mot, request));
    } catch (const Refusal& refusal) {
        return refusalAnswer(request, refusal);
    }
}

Bytes refusedByBoard(const Bytes& payload, const Refusal& refusal) {
    return refusalAnswer(readRequest(payload), refusal);
}

} // namespace simulator
} // namespace fus
