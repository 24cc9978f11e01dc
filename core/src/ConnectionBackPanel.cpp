// The configuration of the back panel, and how a connect brings it to what the definition says.

#include "fus/P_Connection.h"

#include "fus/Mask1D.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>
#include <cstring>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned PROTOCOL_BACK_PANEL = 301;

// Writing the flash takes longer than any other command.
constexpr unsigned SET_TIMEOUT = 20000; // [ms]
constexpr std::size_t MASK_TEXT_SIZE = 256;

// How the generator says that nothing was ever written to its flash.
constexpr char EMPTY_FLASH[] = "code: 0x13150000, arg: 1879048720,";

struct Masks {
    Mask1D snt;
    Mask1D amp;
};

void logMask(const char* name, const Mask1D& mask) {
    char text[MASK_TEXT_SIZE];
    mask.toString(text, sizeof text);
    FUS_LOG(VERBOSE, "%s[%u]: %s", name, static_cast<unsigned>(mask.size()), text);
}

void logMasks(const Mask1D& snt, const Mask1D& amp) {
    logMask("SNT", snt);
    logMask("AMP", amp);
}

bool saysEmptyFlash(const FUSException& error) {
    return std::strncmp(error.message(), EMPTY_FLASH, sizeof EMPTY_FLASH - 1) == 0;
}

Mask1D readFlags(NetPacket& packet, std::uint32_t count) {
    Mask1D mask(count, false);
    for (std::uint32_t i = 0; i < count; ++i) {
        mask[i] = packet.read8() != 0;
    }
    return mask;
}

Masks readMasks(NetPacket* packet) {
    const std::uint32_t count = packet != nullptr ? packet->read32() : 0;
    if (packet == nullptr || count > BKP_MAX_CHANNELS) {
        FUS_THROW(ERR_PACKET);
    }
    Masks masks;
    masks.snt = readFlags(*packet, count);
    masks.amp = readFlags(*packet, count);
    return masks;
}

// Whole slots, up to that of the last active channel.
std::size_t neededSize(const Mask1D& mask, std::size_t slot) {
    const std::size_t last = mask.findLast(true);
    return last == Mask1D::NOT_FOUND ? 0 : (last / slot + 1) * slot;
}

void shrink(Mask1D& mask, std::size_t size, const char* name) {
    const Mask1D whole = mask;
    mask.resize(size, Mask1D::ResizeExistingParam::COPY, Mask1D::ResizeExtraParam::SET_0);
    if (!mask.isComparable(whole)) {
        FUS_LOG(ERROR, "%s shrinked not comparable!", name);
    }
}

void shrink(Masks& masks, std::size_t slot) {
    const std::size_t size = std::max(neededSize(masks.snt, slot), neededSize(masks.amp, slot));
    shrink(masks.snt, size, "SNT");
    shrink(masks.amp, size, "AMP");
}

/// Counts to the end of the longer mask, so that the shorter one says that it is too short.
NetPacket setPayload(const Mask1D& snt, const Mask1D& amp, BackPanelStorage target) {
    const std::size_t count = std::max(snt.size(), amp.size());
    NetPacket payload(static_cast<std::uint32_t>(12 + 2 * count));
    payload.write32(BKP_CMD_SET);
    payload.write32(target == BKP_BOTH ? 1 : 0);
    payload.write32(static_cast<std::uint32_t>(count));
    for (const Mask1D* mask : {&snt, &amp}) {
        for (std::size_t i = 0; i < count; ++i) {
            payload.write8((*mask)[i] ? 1 : 0);
        }
    }
    return payload;
}

void checkSet(const Mask1D& snt, const Mask1D& amp, BackPanelStorage target) {
    if (snt.size() != amp.size()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Masks sizes mismatch.");
    }
    if (snt.activeCount() != amp.activeCount()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Masks content mismatch (number of 0/1).");
    }
    if (target != BKP_RAM && target != BKP_BOTH) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid backpanel storage target.");
    }
}

} // namespace

void Connection::requireBackPanelProtocol() const {
    if (m_secure && m_config.protocolNumber() < PROTOCOL_BACK_PANEL) {
        FUS_THROW(ERR_PROTOCOL);
    }
}

void Connection::readBackPanelConfiguration(Mask1D& snt, Mask1D& amp, BackPanelStorage source) {
    const char* const name = backPanelStorageName(source); // logs an unknown one at any level
    FUS_LOG(INFO, "readBackPanelConfiguration(%s)", name);
    requireBackPanelProtocol();
    if (m_secure && source > BKP_FLASH) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid backpanel storage source.");
    }
    NetPacket payload(8);
    payload.write32(BKP_CMD_READ);
    payload.write32(source == BKP_FLASH ? 1 : 0);
    Masks masks;
    try {
        const unsigned id = sendCommand(CMD_BACKPANEL_CONFIG, payload);
        masks = readMasks(awaitAnswer(id, ANSWER_BACKPANEL).get());
    } catch (const FUSException& error) {
        if (!saysEmptyFlash(error)) {
            throw;
        }
        FUS_LOG(VERBOSE, "No config in FLASH (empty).");
        snt.clear();
        amp.clear();
        return;
    }
    shrink(masks, m_config.getCount(NB_CHANNELS_PER_SLOT));
    snt = masks.snt;
    amp = masks.amp;
    logMasks(snt, amp);
}

void Connection::setBackPanelConfiguration(const Mask1D& snt, const Mask1D& amp,
                                           BackPanelStorage target, bool closeAfter) {
    const char* const name = backPanelStorageName(target); // logs an unknown one at any level
    FUS_LOG(INFO, "setBackPanelConfiguration(%s)", name);
    requireBackPanelProtocol();
    if (m_secure) {
        checkSet(snt, amp, target);
    }
    logMasks(snt, amp);
    sendLastCommand(CMD_BACKPANEL_CONFIG, setPayload(snt, amp, target), SET_TIMEOUT);
    if (closeAfter) {
        close();
    }
}

void Connection::clearBackPanelConfiguration() {
    requireBackPanelProtocol();
    NetPacket payload(4);
    payload.write32(BKP_CMD_CLEAR);
    awaitAnswer(sendCommand(CMD_BACKPANEL_CONFIG, payload), ANSWER_OK);
}

bool Connection::applyDefinitionBackPanel(const GeneratorDefinition& definition) {
    const Mask1D& snt = definition.backPanelSNT();
    const Mask1D& amp = definition.backPanelAMP();
    if (snt.size() == 0 || amp.size() == 0) {
        return false;
    }
    FUS_LOG(INFO, "Applying back panel configuration from definition file...");
    const bool inFlash = definition.backPanelStorage() == BKP_BOTH;
    Masks current{m_config.sntConfiguration(), m_config.ampConfiguration()};
    if (inFlash) {
        readBackPanelConfiguration(current.snt, current.amp, BKP_FLASH);
    }
    if (snt.isComparable(current.snt) && amp.isComparable(current.amp)) {
        FUS_LOG(VERBOSE, "%s config is compatible with definition, nothing to do.",
                inFlash ? "FLASH" : "Active");
        return false;
    }
    setBackPanelConfiguration(snt, amp, definition.backPanelStorage(), true);
    return true;
}

} // namespace fus
