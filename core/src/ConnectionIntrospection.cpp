// What boards say of their hardware and firmware, and the reboot.

#include "fus/P_Connection.h"

#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <iterator>
#include <string>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned VERSION_SIZE = 8;
constexpr unsigned CRC_DATE_SIZE = 32;
constexpr unsigned CRC_DATE_REQUEST_SIZE = 8; // zeroes
constexpr unsigned CRC_DATE_FORMAT = 31;      // where the answer says how it is laid out

/// Where a component of the hardware version lies in its word, and what is added to it.
struct WordField {
    unsigned shift;
    unsigned bits;
    int offset;

    unsigned of(std::uint32_t word) const {
        const std::uint32_t raw = (word >> shift) & ((1U << bits) - 1);
        return raw + static_cast<unsigned>(offset);
    }
};

constexpr std::uint32_t NEW_WORD = 0x40000000; // from here on the word has the second layout
constexpr WordField WORD_LAYOUTS[2][4] = {
    {{26, 6, 2000}, {22, 4, 0}, {16, 6, 0}, {0, 16, 0}},
    {{22, 10, -256}, {8, 8, 0}, {16, 6, 0}, {0, 8, 0}},
};

Version hardwareVersion(std::uint32_t word) {
    const auto& fields = WORD_LAYOUTS[word < NEW_WORD ? 0 : 1];
    return {fields[0].of(word), fields[1].of(word), fields[2].of(word), fields[3].of(word)};
}

/// Widths of what stands in the answer about CRC and date, one after the other, by format [byte].
struct CrcDateFormat {
    unsigned size; // 0: not reported
    unsigned crc;
    unsigned date;
    unsigned time;
};
constexpr CrcDateFormat CRC_DATE_FORMATS[] = {{0, 2, 15, 14}, {4, 4, 12, 10}};

struct CrcDate {
    std::uint32_t size = 0;
    std::uint32_t crc = 0;
    std::string date;
    std::string time;
};

// A field that is full has no terminator.
std::string readField(NetPacket& data, unsigned width) {
    std::string text(width, '\0');
    data.readBytes(text.data(), width);
    return text.substr(0, text.find('\0'));
}

CrcDate decodeCrcDate(NetPacket& data) {
    const unsigned number = data.at(CRC_DATE_FORMAT);
    if (number >= std::size(CRC_DATE_FORMATS)) {
        FUS_LOG(ERROR, "Unknown packet version (%d)", static_cast<int>(number));
        FUS_THROW_MSG(ERR_PACKET, "Unknown format");
    }
    const CrcDateFormat& format = CRC_DATE_FORMATS[number];
    CrcDate found;
    found.size = format.size != 0 ? data.read(format.size) : 0;
    found.crc = data.read(format.crc);
    found.date = readField(data, format.date);
    found.time = readField(data, format.time);
    if (number == 0) {
        FUS_LOG(INFO, "  CRC0: 0x%04X, date: %s, time: %s", found.crc, found.date.c_str(),
                found.time.c_str());
    } else {
        FUS_LOG(INFO, "  CRC1: 0x%08X, size: %u, date: %s, time: %s", found.crc, found.size,
                found.date.c_str(), found.time.c_str());
    }
    return found;
}

} // namespace

// Without the secure mode a type that isn't one goes out as a hardware id.
unsigned Connection::checkedHardwareID(BoardType type, unsigned address) const {
    if (!m_secure && type >= BOARD_TYPE_COUNT) {
        return type;
    }
    const unsigned hwid = boardTypeToHardwareID(type);
    requireActiveBoard(hwid, address);
    return hwid;
}

// The answer of a command that must have exactly `size` bytes of data.
NetPacket Connection::askBoard(unsigned hwid, unsigned address, unsigned short command,
                               const NetPacket& request, unsigned size) {
    const unsigned id = sendBoardCommand(hwid, address, 0, command, request);
    NetPacket data(size);
    data.setByteOrder(NetPacket::LITTLE);
    if (readBoardAnswer(hwid, address, id, command, data, TIMEOUT_DEFAULT) != size) {
        FUS_THROW(ERR_PACKET);
    }
    return data;
}

void Connection::readBoardVersions(BoardType type, unsigned address, Version& hardware,
                                   Version& firmware) {
    if (type == BOARD_PROCESSOR && !isV3()) {
        const unsigned count = config().getCount(NB_PROCESSOR_BOARDS);
        if (address >= count) {
            FUS_THROW_INDEX("board address", address, count);
        }
        hardware = config().getVersion(VERSION_UPB_HARDWARE);
        firmware = config().getVersion(VERSION_UPB_FIRMWARE);
        return;
    }
    const unsigned hwid = checkedHardwareID(type, address);
    NetPacket data = askBoard(hwid, address, CMD_BOARD_VERSION, NetPacket(), VERSION_SIZE);
    hardware = hardwareVersion(data.read32());
    firmware.v1 = data.read8();
    firmware.v2 = data.read8();
    // the older protocol has the last two the other way round
    (isV3() ? firmware.v3 : firmware.v4) = data.read8();
    (isV3() ? firmware.v4 : firmware.v3) = data.read8();
}

BoardInfo Connection::readBoardInfo(BoardType type, unsigned address) {
    const unsigned hwid = checkedHardwareID(type, address);
    Version hardware;
    Version firmware;
    readBoardVersions(type, address, hardware, firmware);
    if (type == BOARD_PROCESSOR && !isV3()) {
        return {hardware, firmware, 0, 0, nullptr};
    }
    NetPacket data = askBoard(hwid, address, CMD_BOARD_CRC_DATE, NetPacket(CRC_DATE_REQUEST_SIZE),
                              CRC_DATE_SIZE);
    const CrcDate found = decodeCrcDate(data);
    return {hardware, firmware, found.crc, found.size, (found.date + " " + found.time).c_str()};
}

void Connection::reboot(unsigned what) {
    const bool ends = what == REBOOT_ALL || what == REBOOT_SLAVES;
    if (m_secure && !ends) {
        FUS_THROW(ERR_ARGUMENT);
    }
    FUS_LOG(INFO, "Reboot (what=%d)", static_cast<int>(what));
    NetPacket payload(sizeof(std::uint32_t));
    payload.write32(what);
    const unsigned timeout = rebootTimeout(what, g_defaultAnswerTimeout);
    if (ends) {
        sendLastCommand(CMD_REBOOT, payload, timeout);
        return;
    }
    const unsigned id = sendCommand(CMD_REBOOT, payload);
    if (!readAnswer(id, ANSWER_OK, nullptr, timeout, nullptr)) {
        FUS_THROW(ERR_TIMEOUT);
    }
}

} // namespace fus
