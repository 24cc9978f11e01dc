// What the mechanical board reports without being asked: how a motion ended.

#include "fus/P_Connection.h"

#include "fus/FUSEvent.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MProtocol.h"
#include "fus/P_NetPacket.h"
#include "fus/P_Upcalls.h"

#include <memory>

namespace fus {

using namespace gprotocol;

namespace {

constexpr int FRAME_OFFSET = 12;
constexpr unsigned SIZE_BYTES = 2;
constexpr unsigned ERROR_CODE_SIZE = 4;

/// The size that follows a result; 0 where the packet ends before it.
unsigned sizeBehindResult(NetPacket& packet) {
    return packet.remaining() < SIZE_BYTES ? 0 : packet.read16();
}

std::unique_ptr<MechMotionEvent> failedMotion(unsigned id, NetPacket& packet) {
    const unsigned size = sizeBehindResult(packet);
    if (size < ERROR_CODE_SIZE || packet.remaining() < ERROR_CODE_SIZE) {
        FUS_LOG(ERROR, "Unexpected motion error size (%d) (id=%d)", static_cast<int>(size),
                static_cast<int>(id));
        return std::make_unique<MechMotionEvent>(id, mprotocol::ERROR_INTERNAL);
    }
    packet.setByteOrder(NetPacket::LITTLE);
    return std::make_unique<MechMotionEvent>(id, HardwareCode(packet.read32()),
                                             MechMotionEvent::RESULT_FROM_CODE);
}

} // namespace

bool Connection::handleMechanicalAsync(unsigned id, unsigned short /*type*/, NetPacket& packet) {
    packet.seek(FRAME_OFFSET, 0);
    const unsigned hwid = packet.read8();
    const unsigned address = packet.read8();
    const std::uint16_t wireId = packet.read16();
    const unsigned result = packet.read16();
    if (hwid != HWID_MECHANICS) {
        FUS_LOG(ERROR,
                "Unexpected asynchronous packet from %s #%d: cmd=%s=0x%04X, id=%d, result=0x%04X",
                hardwareName(hwid), static_cast<int>(address), boardCommandName(hwid, wireId),
                static_cast<unsigned>(wireId), static_cast<int>(id), result);
        return true;
    }
    const std::uint32_t command = mprotocol::mechCommandIndexFromId(wireId);
    FUS_LOG(VERBOSE, "    Mechanical asynchronous packet (%s=0x%04X, id=%d, result=0x%04X)",
            mprotocol::mechCommandName(wireId), command, static_cast<int>(id), result);
    // The end of a search is for the thread that waits for it, and makes no event here.
    if (command == mprotocol::CMD_INIT || !mprotocol::isAsynchronousCommand(command)) {
        return true;
    }
    reportMotion(id, command, result, packet);
    return false;
}

// Whatever the board says behind a known result, the motion gets its one event.
void Connection::reportMotion(unsigned id, unsigned command, unsigned result, NetPacket& packet) {
    // the position of the command in our own table counts as a success, which boards rely on
    if (result == BOARD_RESULT_YES || result == command) {
        FUS_LOG(INFO, "    Motion result (id=%d): ok", static_cast<int>(id));
        m_upcalls.motionEnded(std::make_unique<MechMotionEvent>(id, mprotocol::OK));
        if (const unsigned size = sizeBehindResult(packet)) {
            FUS_LOG(ERROR, "Unexpected data detected in motion result packet (%d bytes)!",
                    static_cast<int>(size));
        }
    } else if (result == BOARD_RESULT_NO) {
        m_upcalls.motionEnded(failedMotion(id, packet));
    } else {
        FUS_LOG(ERROR, "Unknown motion result (%d)", static_cast<int>(result));
    }
}

} // namespace fus
