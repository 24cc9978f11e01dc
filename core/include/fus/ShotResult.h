#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

namespace fus {

/// The measures that the amplifiers took during one shot: raw values as the generator sent them,
/// and, where a conversion is installed, physical values and the emitted power of each channel.
/// A plain value with deep copies; it reaches listeners in a ShotEvent.
///
/// The accessors throw ERR_INDEX for a channel, board or measure at or beyond its count. The raw
/// ones throw ERR_NOT_AVAILABLE before that if there are no measures at all, and ERR_ARGUMENT after
/// it for a measure whose size is not 1, 2 or 4 bytes.
class FUS_API ShotResult {
public:
    /// Everything 0, no measures.
    ShotResult();
    ShotResult(const ShotResult& other);
    ShotResult(ShotResult&& other) noexcept;
    ShotResult& operator=(const ShotResult& other);
    ShotResult& operator=(ShotResult&& other) noexcept;
    ~ShotResult();

    /// Index of the trajectory execution, from 0.
    unsigned execIndex() const { return m_execIndex; }
    /// Index of the shot in its trajectory, from 0.
    unsigned shotIndex() const { return m_shotIndex; }
    unsigned channelCount() const { return m_channelCount; }
    /// 0 without a board block, as is boardMeasureCount().
    unsigned boardCount() const { return m_boardCount; }
    unsigned channelMeasureCount() const { return m_channelMeasureCount; }
    unsigned boardMeasureCount() const { return m_boardMeasureCount; }
    gprotocol::AmplifierType amplifierType() const { return m_amplifierType; }
    /// Real shooting time [us].
    unsigned duration() const { return m_duration; }
    /// Difference with the requested duration + delay [us].
    int totalGap() const { return m_totalGap; }
    bool containsBoardData() const;

    unsigned channelRawValue(unsigned channel, unsigned measure) const;
    unsigned boardRawValue(unsigned board, unsigned measure) const;
    /// In the unit of the measure; -1.0 if no conversion was made.
    float channelPhysicalValue(unsigned channel, unsigned measure) const;
    float boardPhysicalValue(unsigned board, unsigned measure) const;
    /// Emitted power [W]; -1.0 if none was computed.
    float power(unsigned channel) const;
    /// Greatest power that a channel may emit [W]; see Generator::getMaxPower(). 0.0 before FUS was
    /// started and after its end, with the process.
    static float maxPower();

private:
    friend class Generator;
    friend class ShotEvent;
    friend struct TestPeer;

    /// Fills in physical values and powers by the setters below; throws nothing.
    using Converter = void (*)(ShotResult&);

    /// A byte block that is copied with its owner.
    struct Block {
        Block() = default;
        Block(unsigned char* data, unsigned size);
        Block(const Block& other);
        Block(Block&& other) noexcept;
        Block& operator=(Block other) noexcept;
        ~Block() = default;

        std::unique_ptr<unsigned char[]> bytes;
        unsigned size = 0;
    };

    /// Takes over `data`, which was made by new unsigned char[size] and holds the values in host
    /// byte order: for each channel measure the values of all channels, then the same for the
    /// boards. The sizes [bytes], one for each measure, are copied.
    ///
    /// The caller guarantees that the block is as large as counts and sizes say. A channel block
    /// that does not fit (or has no sizes) is dropped with everything behind it, a board block that
    /// does not fit is left out, so that no accessor can leave the block.
    ShotResult(unsigned execIndex, unsigned shotIndex, gprotocol::AmplifierType amplifierType,
               unsigned duration, int totalGap, unsigned char* data, unsigned size,
               unsigned channels, unsigned boards, unsigned channelMeasures, unsigned boardMeasures,
               const unsigned* channelSizes, const unsigned* boardSizes);

    void takeChannelBlock(Block block, const unsigned* sizes);
    void takeBoardBlock(unsigned boards, unsigned measures, const unsigned* sizes);
    unsigned rawValueAt(std::size_t position, unsigned size, const char* badSize) const;
    void checkChannel(unsigned channel, unsigned measure) const;
    void checkBoard(unsigned board, unsigned measure) const;

    void setConvertedChannelValue(unsigned channel, unsigned measure, float value);
    void setConvertedBoardValue(unsigned board, unsigned measure, float value);
    void setComputedPower(unsigned channel, float watts);
    // The same for whoever keeps to the counts by himself. The converted values are indexed
    // channelCount() * measure + channel.
    unsigned rawOfChannel(unsigned channel, unsigned measure) const {
        const unsigned size = m_channelMeasureSizes[measure];
        const std::size_t block = std::size_t{m_channelMeasureOffsets[measure]} * m_channelCount;
        return rawValueAt(block + std::size_t{size} * channel, size,
                          "Unsupported channel measure size.");
    }
    bool hasByteMeasures() const;
    float* channelValues();
    float* powerValues();

    // Installed by who knows the measures' polynomials; null: nothing is converted.
    static std::atomic<Converter> s_converter;
    // Installed likewise; null: 0.0.
    static std::atomic<float (*)()> s_maxPower;

    unsigned m_execIndex = 0;
    unsigned m_shotIndex = 0;
    unsigned short m_channelCount = 0;
    unsigned short m_boardCount = 0;
    unsigned short m_channelMeasureCount = 0;
    unsigned short m_boardMeasureCount = 0;
    gprotocol::AmplifierType m_amplifierType{};
    unsigned m_duration = 0;
    int m_totalGap = 0;
    Block m_raw;
    std::size_t m_boardDataOffset = 0; // of the board block in the raw data, 0 if there is none
    // Indexed count * measure + item; empty until the first value is set.
    std::vector<float> m_convertedChannelValues;
    std::vector<float> m_convertedBoardValues;
    std::vector<float> m_powers;
    std::vector<unsigned> m_channelMeasureSizes;
    std::vector<unsigned> m_channelMeasureOffsets; // running sums of the sizes
    std::vector<unsigned> m_boardMeasureSizes;
    std::vector<unsigned> m_boardMeasureOffsets;
};

} // namespace fus
