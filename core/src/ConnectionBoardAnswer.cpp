// The answer of a board: frame checks, refusals, data.

#include "fus/P_Connection.h"

#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>
#include <string>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned FRAME_OFFSET = 12;
constexpr unsigned ERROR_CODE_SIZE = 4;
constexpr unsigned ERROR_ARGUMENT_END = 8;

void checkFrame(NetPacket& answer, unsigned hwid, unsigned address, unsigned short command) {
    answer.seek(FRAME_OFFSET, 0);
    const unsigned gotHwid = answer.read8();
    if (gotHwid != hwid) {
        FUS_LOG(ERROR, "ReadBoardAnswer: bad hardware type (0x%02X/%02X)", gotHwid, hwid);
        FUS_THROW(ERR_PACKET);
    }
    const unsigned gotAddress = answer.read8();
    if (gotAddress != address) {
        FUS_LOG(ERROR, "ReadBoardAnswer: bad hardware address (0x%02X/%02X)", gotAddress, address);
        FUS_THROW(ERR_PACKET);
    }
    const unsigned gotCommand = answer.read16();
    if (command != 0 && gotCommand != command) {
        FUS_LOG(ERROR, "ReadBoardAnswer: bad %s command type (0x%04X/%04X)", hardwareName(hwid),
                gotCommand, static_cast<unsigned>(command));
        FUS_THROW(ERR_PACKET);
    }
}

std::string readText(NetPacket& answer, unsigned size) {
    std::string text(size, '\0');
    text.resize(answer.readBytes(text.data(), size));
    return text;
}

[[noreturn]] void throwRefusal(NetPacket& answer, unsigned hwid) {
    unsigned size = answer.read16();
    const unsigned remaining = answer.remaining();
    if (size != remaining) {
        FUS_LOG(ERROR, "ReadBoardAnswer: error size (%u) != remaining bytes (%u).", size,
                remaining);
        size = std::min(size, remaining);
    }
    if (size < ERROR_CODE_SIZE) {
        FUS_LOG(ERROR, "ReadBoardAnswer: board error without code (%u bytes).", size);
        if (hwid == HWID_MECHANICS) {
            FUS_THROW(ERR_MECHANICS);
        }
        FUS_THROW(ERR_GENERATOR);
    }
    answer.setByteOrder(NetPacket::LITTLE);
    const std::uint32_t code = answer.read32();
    const std::uint32_t argument = size >= ERROR_ARGUMENT_END ? answer.read32() : 0;
    const std::string text =
        size > ERROR_ARGUMENT_END ? readText(answer, answer.remaining()) : std::string();
    if (argument != 0) {
        FUS_LOG(ERROR, "ReadBoardAnswer: error code: 0x%08X, arg: %u, msg:'%s'", code, argument,
                text.c_str());
    }
    const FUSException error(HardwareCode(code), __FILE__, __LINE__, text.c_str());
    FUS_LOG(EXCEPTION, "%s: %s", FUSException::FUSErrorName(error.errorCode()), error.message());
    throw error;
}

// The number of data bytes: all that remain. A size that promises more is a broken packet.
unsigned dataSize(NetPacket& answer) {
    const unsigned size = answer.read16();
    const unsigned remaining = answer.remaining();
    if (size != remaining) {
        FUS_LOG(ERROR, "ReadBoardAnswer: announced size (%u) != remaining bytes (%u).", size,
                remaining);
        if (size > remaining) {
            FUS_THROW(ERR_PACKET);
        }
    }
    return remaining;
}

void copyData(NetPacket& answer, NetPacket& data, unsigned size) {
    if (data.size() == 0) {
        return;
    }
    const unsigned start = data.position();
    if (start + size > data.size()) {
        data.resize(start + size, true);
    }
    data.writeBytes(answer.data() + answer.position(), size);
    data.seek(static_cast<int>(start), 0);
}

} // namespace

unsigned Connection::readBoardAnswer(unsigned hwid, unsigned address, unsigned id,
                                     unsigned short command, NetPacket& data, unsigned timeoutMs) {
    std::unique_ptr<NetPacket> answer;
    if (!readAnswer(id, ANSWER_ANY, &answer, timeoutMs, nullptr)) {
        FUS_THROW(ERR_TIMEOUT);
    }
    if (!answer) {
        FUS_THROW(ERR_GENERATOR);
    }
    checkFrame(*answer, hwid, address, command);
    const unsigned result = answer->read16();
    if (result == BOARD_RESULT_YES) {
        return 0;
    }
    if (result == BOARD_RESULT_NO) {
        throwRefusal(*answer, hwid);
    }
    if (command != 0 && result != command) {
        FUS_LOG(ERROR, "ReadBoardAnswer: bad command type (got: 0x%04X / expected: %04X)", result,
                static_cast<unsigned>(command));
        FUS_THROW(ERR_PACKET);
    }
    const unsigned size = dataSize(*answer);
    copyData(*answer, data, size);
    FUS_LOG(VERBOSE, "    ReadBoardAnswer(%s=0x%04X, result: 0x%04X, datasz: %d): ok",
            boardCommandName(hwid, command), static_cast<unsigned>(command), result,
            static_cast<int>(size));
    return size;
}

} // namespace fus
