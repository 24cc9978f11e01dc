#include "fus/P_NetPacket.h"

#include "fus/P_LogMacros.h"

#include <algorithm>
#include <utility>

namespace fus {

namespace {

const char* boundsDescription(std::uint32_t width) {
    switch (width) {
    case 2:
        return "packet position for 16bits";
    case 4:
        return "packet position for 32bits";
    default:
        return "packet position";
    }
}

/// Compilers know the answer, and see the byte swap behind it.
bool isLittleEndianHost() {
    const std::uint16_t one = 1;
    unsigned char first = 0;
    std::memcpy(&first, &one, 1);
    return first == 1;
}

std::uint32_t toNetworkOrder(std::uint32_t v) {
    return isLittleEndianHost() ? v << 24U | (v & 0xFF00U) << 8U | (v >> 8U & 0xFF00U) | v >> 24U
                                : v;
}

} // namespace

NetPacket::NetPacket(std::uint32_t size, void* data, bool takeOwnership) : m_size(size) {
    if (data != nullptr && takeOwnership) {
        m_data.reset(static_cast<unsigned char*>(data));
        if (size == 0) {
            m_data.reset();
        }
    } else if (size != 0) {
        m_data = std::make_unique<unsigned char[]>(size);
        if (data != nullptr) {
            std::memcpy(m_data.get(), data, size);
        }
    }
}

NetPacket NetPacket::copyOf(const void* data, std::uint32_t size) {
    NetPacket packet(size);
    packet.writeBytes(data, size);
    packet.m_position = 0;
    return packet;
}

NetPacket::NetPacket(NetPacket&& other) noexcept
    : m_data(std::move(other.m_data)), m_size(std::exchange(other.m_size, 0)),
      m_position(std::exchange(other.m_position, 0)), m_order(other.m_order) {}

NetPacket& NetPacket::operator=(NetPacket&& other) noexcept {
    if (this != &other) {
        m_data = std::move(other.m_data);
        m_size = std::exchange(other.m_size, 0);
        m_position = std::exchange(other.m_position, 0);
        m_order = other.m_order;
    }
    return *this;
}

void NetPacket::setByteOrder(unsigned order) {
    if (order > NETWORK) {
        FUS_THROW(ERR_ARGUMENT);
    }
    m_order = static_cast<ByteOrder>(order);
}

void NetPacket::resize(std::uint32_t size, bool keep) {
    const std::uint32_t newSize = std::max(size, MIN_RESIZE);
    if (newSize == m_size) {
        return;
    }
    auto bytes = std::make_unique<unsigned char[]>(newSize);
    if (keep && m_size != 0) {
        std::memcpy(bytes.get(), m_data.get(), std::min(m_size, newSize));
    }
    m_data = std::move(bytes);
    m_size = newSize;
    m_position = std::min(m_position, newSize);
}

void NetPacket::seek(int offset, int whence) {
    const std::int64_t bases[] = {0, m_position, m_size};
    if (whence < 0 || whence > 2) {
        return; // the cursor is always within the packet, so there is nothing to clamp
    }
    const std::int64_t wanted = bases[whence] + offset;
    m_position = static_cast<std::uint32_t>(std::clamp<std::int64_t>(wanted, 0, m_size));
}

float NetPacket::readFloat() {
    static_assert(sizeof(float) == 4, "a float travels as an IEEE 754 single");
    const std::uint32_t bits = read32();
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t NetPacket::read(std::uint32_t width) {
    switch (width) {
    case 1:
        return read8();
    case 2:
        return read16();
    case 4:
        return read32();
    default:
        FUS_THROW_INDEX("packet read size", width, 5);
    }
}

std::uint32_t NetPacket::readBytes(void* target, std::uint32_t n) {
    const std::uint32_t count = std::min(n, remaining());
    if (target == nullptr || count == 0) {
        return 0;
    }
    std::memcpy(target, take(count), count);
    return count;
}

void NetPacket::writeFloat(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    write32(bits);
}

void NetPacket::writeAll32(const std::uint32_t* values, std::uint32_t count) {
    if (count > remaining() / sizeof(std::uint32_t)) {
        throwBounds(sizeof(std::uint32_t), m_position);
    }
    if (m_order != NETWORK) {
        std::for_each(values, values + count, [this](std::uint32_t value) { write32(value); });
        return;
    }
    // Word by word and through local names: stores of single bytes might change any member, and
    // compilers make a slow loop of them.
    unsigned char* place = take(count * static_cast<std::uint32_t>(sizeof(std::uint32_t)));
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t word = toNetworkOrder(values[i]);
        std::memcpy(place + std::size_t{i} * sizeof word, &word, sizeof word);
    }
}

std::uint32_t NetPacket::writeBytes(const void* source, std::uint32_t n) {
    const std::uint32_t count = std::min(n, remaining());
    if (source == nullptr || count == 0) {
        return 0;
    }
    std::memcpy(take(count), source, count);
    return count;
}

void NetPacket::throwBounds(std::uint32_t width, std::uint32_t position) const {
    FUS_THROW_INDEX(boundsDescription(width), position, m_size);
}

} // namespace fus
