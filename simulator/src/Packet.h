#pragma once

#include "Bytes.h"

#include "fus/P_GProtocol.h"

namespace fus {
namespace simulator {

// A packet to the client, before it is bytes.
struct Packet {
    std::uint32_t id = 0;
    unsigned type = 0;
    Bytes payload;
    bool liesAboutSize = false;
    std::uint32_t declaredSize = 0; // if it lies

    void appendTo(Bytes& target) const {
        const std::size_t size = gprotocol::PACKET_HEADER_SIZE + payload.size();
        ByteWriter(target)
            .u32(liesAboutSize ? declaredSize : static_cast<std::uint32_t>(size))
            .u32(id)
            .u16(type)
            .bytes(payload);
    }
};

} // namespace simulator
} // namespace fus
