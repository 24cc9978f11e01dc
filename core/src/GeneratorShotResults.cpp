#include "fus/Generator.h"

#include "fus/FUSEvent.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace fus {

namespace {

/// Channels or boards in one line of the dump.
constexpr unsigned DUMPED_PER_LINE = 4;

/// The block of measures that is kept of a packet.
struct BlockPlan {
    unsigned bytes = 0;
    unsigned boards = 0; // 0: no board block
};

/// Decides how much of the received measures is taken. Missing board data and surplus data cost
/// only themselves.
BlockPlan planBlock(const AsyncResult& result, const MeasureLayout& layout, unsigned received) {
    const unsigned boards = result.withBoards ? layout.boards : 0;
    // In 64 bits: the factors are the generator's word.
    const std::uint64_t channelBytes = std::uint64_t{layout.channelBytes} * layout.channels;
    const std::uint64_t expected = channelBytes + std::uint64_t{layout.boardBytes} * boards;
    if (received == expected) {
        return {received, boards};
    }
    if (received < channelBytes) {
        FUS_LOG(ERROR, "Some measure data missing (%u bytes instead of %u)", received,
                static_cast<unsigned>(channelBytes));
        FUS_THROW(ERR_PACKET);
    }
    if (received < expected) {
        FUS_LOG(ERROR, "Some board measure data missing (%u bytes instead of %u) -> truncated",
                received, static_cast<unsigned>(expected));
        return {static_cast<unsigned>(channelBytes), 0};
    }
    FUS_LOG(ERROR, "Too much measure data (%u bytes instead of %u) -> truncated", received,
            static_cast<unsigned>(expected));
    return {static_cast<unsigned>(expected), boards};
}

/// The bytes of `count` values of each measure. Throws ERR_PACKET for a size that can't be decoded.
std::uint64_t decodedBytes(const std::vector<unsigned>& sizes, unsigned count,
                           const char* badFormat) {
    std::uint64_t bytes = 0;
    for (const unsigned size : sizes) {
        if (size != 1 && size != 2 && size != 4) {
            FUS_THROW_MSG(ERR_PACKET, badFormat);
        }
        bytes += std::uint64_t{size} * count;
    }
    return bytes;
}

/// The block must be filled to its last byte, neither less nor more.
void requireFilled(const unsigned char* block, unsigned size, std::uint64_t decoded) {
    if (decoded == size) {
        return;
    }
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    FUS_LOG(
        ERROR, "Unexpected position: %p instead of %p + %u = %p.",
        // NOLINTNEXTLINE(performance-no-int-to-ptr): it lies outside the block, and is only told
        reinterpret_cast<const void*>(begin + decoded), static_cast<const void*>(block), size,
        static_cast<const void*>(block + size));
    FUS_THROW_MSG(ERR_PACKET, "Error converting measure data (byte-order).");
}

template <class Value, class Read>
unsigned char* storeValues(unsigned char* out, unsigned count, Read read) {
    for (unsigned i = 0; i < count; ++i) {
        const Value value = read();
        std::memcpy(out, &value, sizeof value);
        out += sizeof value;
    }
    return out;
}

/// Copies `count` values of each measure, from network to host byte order, and returns the end.
unsigned char* copyMeasures(NetPacket& packet, const std::vector<unsigned>& sizes, unsigned count,
                            unsigned char* out) {
    for (const unsigned size : sizes) {
        if (size == 1) {
            out += packet.readBytes(out, count);
        } else if (size == 2) {
            out = storeValues<std::uint16_t>(out, count, [&] { return packet.read16(); });
        } else {
            out = storeValues<std::uint32_t>(out, count, [&] { return packet.read32(); });
        }
    }
    return out;
}

std::unique_ptr<unsigned char[]> decodeBlock(NetPacket& packet, const MeasureLayout& layout,
                                             const BlockPlan& plan) {
    std::uint64_t decoded = decodedBytes(layout.channelSizes, layout.channels,
                                         "Unsupported channel measurement format.");
    if (plan.boards != 0) {
        decoded +=
            decodedBytes(layout.boardSizes, plan.boards, "Unsupported board measurement format.");
    }
    std::unique_ptr<unsigned char[]> block(new unsigned char[plan.bytes]);
    requireFilled(block.get(), plan.bytes, decoded);
    unsigned char* end = copyMeasures(packet, layout.channelSizes, layout.channels, block.get());
    if (plan.boards != 0) {
        copyMeasures(packet, layout.boardSizes, plan.boards, end);
    }
    return block;
}

void appendNumber(std::string& text, const char* format, unsigned number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, format, number);
    text += digits;
}

/// One line for every few items: "[  0,   3]: 12  34 | ...".
template <class RawValue>
void dumpMeasures(unsigned items, unsigned measures, RawValue rawValue) {
    for (unsigned first = 0; first < items; first += DUMPED_PER_LINE) {
        const unsigned last = std::min(first + DUMPED_PER_LINE, items) - 1;
        std::string line;
        appendNumber(line, "[%3u, ", first);
        appendNumber(line, "%3u]:", last);
        for (unsigned item = first; item <= last; ++item) {
            for (unsigned measure = 0; measure < measures; ++measure) {
                appendNumber(line, " %3u", rawValue(item, measure));
            }
            line += " |";
        }
        FUS_LOG(VERBOSE, "%s", line.c_str());
    }
}

void dump(const ShotResult& shot) {
    FUS_LOG(VERBOSE, "Channel measures:");
    dumpMeasures(shot.channelCount(), shot.channelMeasureCount(),
                 [&](unsigned c, unsigned m) { return shot.channelRawValue(c, m); });
    if (shot.containsBoardData()) {
        FUS_LOG(VERBOSE, "Board measures:");
        dumpMeasures(shot.boardCount(), shot.boardMeasureCount(),
                     [&](unsigned b, unsigned m) { return shot.boardRawValue(b, m); });
    }
}

unsigned countOf(const std::vector<unsigned>& sizes) {
    return static_cast<unsigned>(sizes.size());
}

} // namespace

void Generator::Private::handleShotResult(const AsyncResult& result, const MeasureLayout& layout,
                                          NetPacket& packet) {
    FUS_LOG(INFO,
            "Shot result (execID=%u exec#=%u(total=%u) shot=%u duration=%u channels=%u gap=%d "
            "remain=%u genErr=%u ampErr=%u)",
            result.id, result.execIndex, result.total - 1, result.shot, result.duration,
            result.channels, result.gap, result.remain, result.generatorError,
            result.amplifierError);
    if (result.channels != layout.channels) {
        FUS_LOG(ERROR, "Bad channel count: %u instead of %u", result.channels, layout.channels);
        FUS_THROW(ERR_PACKET);
    }
    const BlockPlan plan = planBlock(result, layout, packet.remaining());
    std::unique_ptr<unsigned char[]> block = decodeBlock(packet, layout, plan);
    auto event = std::make_unique<ShotEvent>(
        result.id, result.execIndex, result.shot, conversion().definition->amplifierType(),
        result.duration, result.gap, block.release(), plan.bytes, layout.channels, plan.boards,
        countOf(layout.channelSizes), countOf(layout.boardSizes), layout.channelSizes.data(),
        layout.boardSizes.data());
    if (FUS_LOG_ENABLED(VERBOSE)) {
        dump(event->shotResult());
    }
    upcalls.notifyListeners(event.release());
}

} // namespace fus
