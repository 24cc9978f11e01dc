#include "fus/FUSException.h"
#include "fus/Log.h"
#include "fus/P_ErrorInfo.h"
#include "fus/P_NetPacket.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

using fus::NetPacket;

/// The input is the payload of an error answer.
void decodeError(const std::uint8_t* data, std::uint32_t size) {
    NetPacket packet = NetPacket::copyOf(data, size);
    try {
        const fus::ErrorInfo info(packet);
        if (info.message().empty()) {
            std::abort();
        }
    } catch (const fus::FUSException&) {
        // too short
    }
}

/// One access to the packet, chosen by the operation's byte.
void access(NetPacket& packet, std::uint8_t operation, std::uint8_t argument) {
    unsigned char bytes[256] = {};
    const int offset = static_cast<std::int8_t>(argument) * 0x01000001;
    switch (operation % 12) {
    case 0:
        packet.read8();
        break;
    case 1:
        packet.read16();
        break;
    case 2:
        packet.read32();
        break;
    case 3:
        packet.readFloat();
        break;
    case 4:
        packet.read(argument);
        break;
    case 5:
        packet.readBytes(bytes, argument);
        break;
    case 6:
        packet.write16(argument);
        break;
    case 7:
        packet.write32(argument);
        break;
    case 8:
        packet.writeBytes(bytes, argument);
        break;
    case 9:
        packet.seek((operation & 0x80U) != 0 ? offset : argument, argument % 4);
        break;
    case 10:
        packet.resize(argument, (operation & 0x80U) != 0);
        break;
    default:
        packet.setByteOrder(argument % 4U);
        break;
    }
}

/// The first half of the input is a packet, the second a list of accesses to it.
void accessPacket(const std::uint8_t* data, std::uint32_t size) {
    const std::uint32_t half = size / 2;
    NetPacket packet = NetPacket::copyOf(data, half);
    for (std::uint32_t i = half; i + 1 < size; i += 2) {
        const std::uint32_t before = packet.position();
        try {
            access(packet, data[i], data[i + 1]);
        } catch (const fus::FUSException&) {
            if (packet.position() != before) {
                std::abort();
            }
        }
        if (packet.position() > packet.size()) {
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fus::Log::getInstance().setLevel(fus::Log::NONE);
    if (size > 0xFFFF) {
        return 0;
    }
    decodeError(data, static_cast<std::uint32_t>(size));
    accessPacket(data, static_cast<std::uint32_t>(size));
    return 0;
}
