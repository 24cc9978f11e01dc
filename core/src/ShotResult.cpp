#include "fus/ShotResult.h"

#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace fus {

namespace {

constexpr float NOT_CONVERTED = -1.0F;

/// Bytes that a block of `count` items takes; the widths of the factors keep it from overflowing.
std::uint64_t blockSize(unsigned short count, const std::vector<unsigned>& sizes) {
    std::uint64_t itemSize = 0;
    for (const unsigned size : sizes) {
        itemSize += size;
    }
    return itemSize * count;
}

std::vector<unsigned> runningSums(const std::vector<unsigned>& sizes) {
    std::vector<unsigned> sums(sizes.size());
    unsigned sum = 0;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        sums[i] = sum;
        sum += sizes[i];
    }
    return sums;
}

template <typename T>
unsigned load(const unsigned char* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

float valueOr(const std::vector<float>& values, std::size_t index) {
    return values.empty() ? NOT_CONVERTED : values[index];
}

float* allocated(std::vector<float>& values, std::size_t count) {
    if (values.empty()) {
        values.assign(count, NOT_CONVERTED); // what a failed conversion leaves out stays so
    }
    return values.data();
}

} // namespace

std::atomic<ShotResult::Converter> ShotResult::s_converter{nullptr};
std::atomic<float (*)()> ShotResult::s_maxPower{nullptr};

ShotResult::Block::Block(unsigned char* data, unsigned dataSize)
    : bytes(dataSize != 0 ? data : nullptr), size(bytes ? dataSize : 0) {
    if (!bytes) {
        delete[] data;
    }
}

ShotResult::Block::Block(const Block& other)
    : bytes(other.bytes ? new unsigned char[other.size] : nullptr), size(other.size) {
    if (bytes) {
        std::memcpy(bytes.get(), other.bytes.get(), size);
    }
}

ShotResult::Block::Block(Block&& other) noexcept
    : bytes(std::move(other.bytes)), size(std::exchange(other.size, 0)) {}

ShotResult::Block& ShotResult::Block::operator=(Block other) noexcept {
    bytes = std::move(other.bytes);
    size = other.size;
    return *this;
}

ShotResult::ShotResult() = default;
ShotResult::ShotResult(const ShotResult& other) = default;
ShotResult::ShotResult(ShotResult&& other) noexcept = default;
ShotResult& ShotResult::operator=(const ShotResult& other) = default;
ShotResult& ShotResult::operator=(ShotResult&& other) noexcept = default;
ShotResult::~ShotResult() = default;

ShotResult::ShotResult(unsigned execIndex, unsigned shotIndex,
                       gprotocol::AmplifierType amplifierType, unsigned duration, int totalGap,
                       unsigned char* data, unsigned size, unsigned channels, unsigned boards,
                       unsigned channelMeasures, unsigned boardMeasures,
                       const unsigned* channelSizes, const unsigned* boardSizes)
    : m_execIndex(execIndex), m_shotIndex(shotIndex),
      m_channelCount(static_cast<unsigned short>(channels)),
      m_channelMeasureCount(static_cast<unsigned short>(channelMeasures)),
      m_amplifierType(amplifierType), m_duration(duration), m_totalGap(totalGap) {
    takeChannelBlock(Block(data, size), channelSizes);
    if (!m_raw.bytes) {
        return;
    }
    takeBoardBlock(boards, boardMeasures, boardSizes);
    if (const Converter convert = s_converter.load(std::memory_order_acquire)) {
        convert(*this);
    }
}

void ShotResult::takeChannelBlock(Block block, const unsigned* sizes) {
    if (!block.bytes || (sizes == nullptr && m_channelMeasureCount != 0)) {
        return;
    }
    m_channelMeasureSizes.assign(sizes, sizes + m_channelMeasureCount);
    if (blockSize(m_channelCount, m_channelMeasureSizes) > block.size) {
        m_channelMeasureSizes.clear();
        return;
    }
    m_channelMeasureOffsets = runningSums(m_channelMeasureSizes);
    m_raw = std::move(block);
}

void ShotResult::takeBoardBlock(unsigned boards, unsigned measures, const unsigned* sizes) {
    const auto boardCount = static_cast<unsigned short>(boards);
    const auto measureCount = static_cast<unsigned short>(measures);
    if (boardCount == 0 || measureCount == 0 || sizes == nullptr) {
        return;
    }
    std::vector<unsigned> boardSizes(sizes, sizes + measureCount);
    const std::uint64_t offset = blockSize(m_channelCount, m_channelMeasureSizes);
    if (blockSize(boardCount, boardSizes) > m_raw.size - offset) {
        return;
    }
    m_boardMeasureSizes = std::move(boardSizes);
    m_boardMeasureOffsets = runningSums(m_boardMeasureSizes);
    m_boardDataOffset = static_cast<std::size_t>(offset);
    m_boardCount = boardCount;
    m_boardMeasureCount = measureCount;
}

bool ShotResult::containsBoardData() const {
    return m_boardCount != 0 && m_boardMeasureCount != 0 && m_boardDataOffset != 0;
}

void ShotResult::checkChannel(unsigned channel, unsigned measure) const {
    if (channel >= m_channelCount) {
        FUS_THROW_INDEX("channel", channel, m_channelCount);
    }
    if (measure >= m_channelMeasureCount) {
        FUS_THROW_INDEX("ch measure", measure, m_channelMeasureCount);
    }
}

void ShotResult::checkBoard(unsigned board, unsigned measure) const {
    if (board >= m_boardCount) {
        FUS_THROW_INDEX("board index", board, m_boardCount);
    }
    if (measure >= m_boardMeasureCount) {
        FUS_THROW_INDEX("bo measure", measure, m_boardMeasureCount);
    }
}

unsigned ShotResult::channelRawValue(unsigned channel, unsigned measure) const {
    if (!m_raw.bytes) {
        FUS_THROW(ERR_NOT_AVAILABLE);
    }
    checkChannel(channel, measure);
    return rawOfChannel(channel, measure);
}

unsigned ShotResult::boardRawValue(unsigned board, unsigned measure) const {
    if (!m_raw.bytes) {
        FUS_THROW(ERR_NOT_AVAILABLE);
    }
    checkBoard(board, measure);
    const std::size_t size = m_boardMeasureSizes[measure];
    const std::size_t block =
        m_boardDataOffset + std::size_t{m_boardMeasureOffsets[measure]} * m_boardCount;
    return rawValueAt(block + size * board, m_boardMeasureSizes[measure],
                      "Unsupported board measure size.");
}

unsigned ShotResult::rawValueAt(std::size_t position, unsigned size, const char* badSize) const {
    const unsigned char* bytes = m_raw.bytes.get() + position;
    switch (size) {
    case 1:
        return *bytes;
    case 2:
        return load<std::uint16_t>(bytes);
    case 4:
        return load<std::uint32_t>(bytes);
    default:
        FUS_THROW_MSG(ERR_ARGUMENT, badSize);
    }
}

float ShotResult::channelPhysicalValue(unsigned channel, unsigned measure) const {
    checkChannel(channel, measure);
    return valueOr(m_convertedChannelValues, std::size_t{m_channelCount} * measure + channel);
}

float ShotResult::boardPhysicalValue(unsigned board, unsigned measure) const {
    checkBoard(board, measure);
    return valueOr(m_convertedBoardValues, std::size_t{m_boardCount} * measure + board);
}

float ShotResult::power(unsigned channel) const {
    if (channel >= m_channelCount) {
        FUS_THROW_INDEX("channel", channel, m_channelCount);
    }
    return valueOr(m_powers, channel);
}

void ShotResult::setConvertedChannelValue(unsigned channel, unsigned measure, float value) {
    checkChannel(channel, measure);
    channelValues()[std::size_t{m_channelCount} * measure + channel] = value;
}

void ShotResult::setConvertedBoardValue(unsigned board, unsigned measure, float value) {
    checkBoard(board, measure);
    float* const values =
        allocated(m_convertedBoardValues, std::size_t{m_boardCount} * m_boardMeasureCount);
    values[std::size_t{m_boardCount} * measure + board] = value;
}

void ShotResult::setComputedPower(unsigned channel, float watts) {
    if (channel >= m_channelCount) {
        FUS_THROW_INDEX("channel", channel, m_channelCount);
    }
    powerValues()[channel] = watts;
}

bool ShotResult::hasByteMeasures() const {
    return std::all_of(m_channelMeasureSizes.begin(), m_channelMeasureSizes.end(),
                       [](unsigned size) { return size == 1; });
}

float* ShotResult::channelValues() {
    return allocated(m_convertedChannelValues, std::size_t{m_channelCount} * m_channelMeasureCount);
}

float* ShotResult::powerValues() {
    return allocated(m_powers, m_channelCount);
}

float ShotResult::maxPower() {
    float (*const watts)() = s_maxPower.load(std::memory_order_acquire);
    return watts != nullptr ? watts() : 0.0F;
}

} // namespace fus
