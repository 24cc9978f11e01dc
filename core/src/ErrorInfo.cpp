#include "fus/P_ErrorInfo.h"

#include "fus/P_GProtocol.h"
#include "fus/P_NetPacket.h"

#include <cstdio>

namespace fus {

namespace {

/// The text behind the fixed part; its declared length counts a terminating null.
std::string readText(NetPacket& payload, std::uint32_t declared) {
    const std::uint32_t available = payload.remaining();
    const std::uint32_t length = declared == 0 || declared > available ? available : declared;
    std::string text(length, '\0');
    payload.readBytes(text.data(), length);
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

} // namespace

ErrorInfo::ErrorInfo(NetPacket& payload) {
    payload.setByteOrder(NetPacket::NETWORK);
    m_code = payload.read32();
    m_argument = payload.read32();
    m_boardType = payload.read8();
    m_address = payload.read8();
    const std::uint16_t textLength = payload.read16();
    payload.read32(); // reserved
    const std::string text = readText(payload, textLength);

    char head[128];
    std::snprintf(head, sizeof head, "code: 0x%08x, arg: %u, board: %s #%u, msg: ", m_code,
                  m_argument, gprotocol::hardwareName(m_boardType), m_address);
    m_message = head + text;
}

} // namespace fus
