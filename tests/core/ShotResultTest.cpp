#include "fus/ShotResult.h"

#include "fus/ExecResult.h"
#include "fus/FUSEvent.h"
#include "fus/FUSException.h"
#include "support/LogCapture.h"
#include "support/TestPeer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace fus {
namespace {

/// Measures in host byte order, as the decoder leaves them.
class RawBlock {
public:
    template <typename T>
    RawBlock& add(std::initializer_list<T> values) {
        for (const T value : values) {
            unsigned char bytes[sizeof value];
            std::memcpy(bytes, &value, sizeof value);
            m_bytes.insert(m_bytes.end(), bytes, bytes + sizeof value);
        }
        return *this;
    }

    unsigned size() const { return static_cast<unsigned>(m_bytes.size()); }

    unsigned char* release() const {
        auto* data = new unsigned char[m_bytes.size()];
        std::memcpy(data, m_bytes.data(), m_bytes.size());
        return data;
    }

private:
    std::vector<unsigned char> m_bytes;
};

constexpr unsigned CHANNELS = 3;
constexpr unsigned BOARDS = 2;
constexpr unsigned CHANNEL_SIZES[] = {1, 4, 2};
constexpr unsigned BOARD_SIZES[] = {2, 1};

RawBlock sampleBlock() {
    return RawBlock()
        .add<std::uint8_t>({1, 2, 255})
        .add<std::uint32_t>({0xFFFFFFFF, 5, 0x01020304})
        .add<std::uint16_t>({7, 0x0809, 9})
        .add<std::uint16_t>({0xABCD, 11})
        .add<std::uint8_t>({12, 13});
}

/// Counts and sizes of the sample block, but for what the caller changes.
ShotEvent eventOf(unsigned size, unsigned boards = BOARDS, const unsigned* sizes = CHANNEL_SIZES,
                  const unsigned* boardSizes = BOARD_SIZES) {
    return ShotEvent(42, 6, 7, gprotocol::AMPLIFIER_V_I_Pvi_Pvr, 1234, -5, sampleBlock().release(),
                     size, CHANNELS, boards, 3, 2, sizes, boardSizes);
}

FUSError errorOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const FUSException& e) {
        return e.errorCode();
    }
    return ERR_UNKNOWN;
}

TEST(ShotResult, ReadsEveryMeasureAtItsPlace) {
    const ShotEvent event = eventOf(sampleBlock().size());
    const ShotResult& result = event.shotResult();
    EXPECT_EQ(event.execID(), 42U);
    EXPECT_EQ(result.execIndex(), 6U);
    EXPECT_EQ(result.shotIndex(), 7U);
    EXPECT_EQ(result.amplifierType(), gprotocol::AMPLIFIER_V_I_Pvi_Pvr);
    EXPECT_EQ(result.duration(), 1234U);
    EXPECT_EQ(result.totalGap(), -5);
    EXPECT_TRUE(result.containsBoardData());

    const unsigned channels[3][CHANNELS] = {
        {1, 2, 255}, {0xFFFFFFFF, 5, 0x01020304}, {7, 0x809, 9}};
    const unsigned boards[2][BOARDS] = {{0xABCD, 11}, {12, 13}};
    for (unsigned m = 0; m < 3; ++m) {
        for (unsigned c = 0; c < CHANNELS; ++c) {
            EXPECT_EQ(result.channelRawValue(c, m), channels[m][c]) << c << ", " << m;
        }
    }
    for (unsigned m = 0; m < 2; ++m) {
        for (unsigned b = 0; b < BOARDS; ++b) {
            EXPECT_EQ(result.boardRawValue(b, m), boards[m][b]) << b << ", " << m;
        }
    }
}

TEST(ShotResult, KeepsOnlyTheBlocksThatFitInItsData) {
    constexpr unsigned CHANNEL_BYTES = 21;
    constexpr unsigned ALL_BYTES = 27;
    constexpr unsigned HUGE_SIZES[] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    struct Case {
        const char* name;
        ShotEvent event;
        bool channels;
        bool boards;
    };
    const Case cases[] = {
        {"all", eventOf(ALL_BYTES), true, true},
        {"half the board block", eventOf(ALL_BYTES - 1), true, false},
        {"the board block given up", eventOf(CHANNEL_BYTES, 0), true, false},
        {"no board sizes", eventOf(ALL_BYTES, BOARDS, CHANNEL_SIZES, nullptr), true, false},
        {"sizes beyond all bounds", eventOf(ALL_BYTES, BOARDS, HUGE_SIZES), false, false},
        {"board sizes beyond all bounds", eventOf(ALL_BYTES, BOARDS, CHANNEL_SIZES, HUGE_SIZES),
         true, false},
        {"a byte missing", eventOf(CHANNEL_BYTES - 1), false, false},
        {"no channel sizes", eventOf(ALL_BYTES, BOARDS, nullptr), false, false},
        {"no size", eventOf(0), false, false},
    };
    const test::LogCapture quiet;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ShotResult& result = c.event.shotResult();
        EXPECT_EQ(result.containsBoardData(), c.boards);
        EXPECT_EQ(result.boardCount(), c.boards ? BOARDS : 0);
        EXPECT_EQ(result.boardMeasureCount(), c.boards ? 2U : 0U);
        EXPECT_EQ(result.channelCount(), CHANNELS);
        EXPECT_EQ(errorOf([&] { result.channelRawValue(2, 2); }),
                  c.channels ? ERR_UNKNOWN : ERR_NOT_AVAILABLE);
    }
}

TEST(ShotResult, ChecksEveryAccess) {
    constexpr unsigned ODD_SIZES[] = {1, 3, 2};
    constexpr unsigned ODD_BOARD_SIZES[] = {2, 0};
    const ShotEvent good = eventOf(sampleBlock().size());
    const ShotEvent odd = eventOf(sampleBlock().size(), BOARDS, ODD_SIZES, ODD_BOARD_SIZES);
    const ShotResult none;
    ShotResult r = good.shotResult();
    const ShotResult& o = odd.shotResult();
    struct Case {
        std::function<void()> access;
        FUSError error;
        std::string line;
    };
    const std::string bad = "ERR_INDEX: invalid ";
    const Case cases[] = {
        {[&] { none.channelRawValue(0, 0); }, ERR_NOT_AVAILABLE, "ERR_NOT_AVAILABLE"},
        {[&] { none.boardRawValue(0, 0); }, ERR_NOT_AVAILABLE, "ERR_NOT_AVAILABLE"},
        {[&] { r.channelRawValue(3, 9); }, ERR_INDEX, bad + "channel (3 above max=3)"},
        {[&] { r.channelRawValue(2, 3); }, ERR_INDEX, bad + "ch measure (3 above max=3)"},
        {[&] { r.boardRawValue(2, 9); }, ERR_INDEX, bad + "board index (2 above max=2)"},
        {[&] { r.boardRawValue(1, 2); }, ERR_INDEX, bad + "bo measure (2 above max=2)"},
        {[&] { r.channelPhysicalValue(3, 0); }, ERR_INDEX, bad + "channel (3"},
        {[&] { r.boardPhysicalValue(0, 2); }, ERR_INDEX, bad + "bo measure (2"},
        {[&] { r.power(3); }, ERR_INDEX, bad + "channel (3"},
        {[&] { TestPeer::setChannelValue(r, 0, 3, 1); }, ERR_INDEX, bad + "ch measure (3"},
        {[&] { TestPeer::setBoardValue(r, 2, 0, 1); }, ERR_INDEX, bad + "board index (2"},
        {[&] { TestPeer::setPower(r, 3, 1); }, ERR_INDEX, bad + "channel (3"},
        {[&] { o.channelRawValue(0, 1); }, ERR_ARGUMENT,
         "ERR_ARGUMENT: Unsupported channel measure size."},
        {[&] { o.boardRawValue(0, 1); }, ERR_ARGUMENT,
         "ERR_ARGUMENT: Unsupported board measure size."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << (&c - cases) << " " << c.line);
        const test::LogCapture log;
        EXPECT_EQ(errorOf(c.access), c.error);
        EXPECT_TRUE(log.hasPart(c.line));
    }
}

/// Converts by halving, and gives up in front of the last channel.
void convertPartly(ShotResult& result) {
    for (unsigned c = 0; c + 1 < result.channelCount(); ++c) {
        for (unsigned m = 0; m < result.channelMeasureCount(); ++m) {
            TestPeer::setChannelValue(result, c, m,
                                      static_cast<float>(result.channelRawValue(c, m)) / 2);
        }
        TestPeer::setPower(result, c, static_cast<float>(100 + c));
    }
    TestPeer::setBoardValue(result, 1, 0, 5.5F);
}

TEST(ShotResult, HoldsWhatTheInstalledConversionMadeOfIt) {
    const ShotEvent plain = eventOf(sampleBlock().size());
    EXPECT_EQ(plain.shotResult().channelPhysicalValue(0, 0), -1.0F);
    EXPECT_EQ(plain.shotResult().boardPhysicalValue(0, 0), -1.0F);
    EXPECT_EQ(plain.shotResult().power(0), -1.0F);

    const auto before = TestPeer::installConverter(&convertPartly);
    ShotResult kept;
    {
        const ShotEvent event = eventOf(sampleBlock().size());
        const ShotEvent copied(event);
        kept = copied.shotResult();
    }
    TestPeer::installConverter(before);
    EXPECT_EQ(kept.channelPhysicalValue(0, 0), 0.5F);
    EXPECT_EQ(kept.channelPhysicalValue(1, 1), 2.5F);
    EXPECT_EQ(kept.channelPhysicalValue(2, 1), -1.0F) << "made up behind the failure";
    EXPECT_EQ(kept.power(1), 101.0F);
    EXPECT_EQ(kept.power(2), -1.0F);
    EXPECT_EQ(kept.boardPhysicalValue(1, 0), 5.5F);
    EXPECT_EQ(kept.boardPhysicalValue(0, 1), -1.0F);
    EXPECT_EQ(kept.channelRawValue(2, 2), 9U);
    EXPECT_EQ(kept.boardRawValue(1, 1), 13U);
}

TEST(ExecResult, TellsErrorsAndTheEndByItsStatus) {
    struct Case {
        ExecResult::Status status;
        const char* name;
        bool error;
        bool finished;
    };
    const Case cases[] = {
        {ExecResult::EXEC_UNKNOWN, "EXEC_UNKNOWN", true, true},
        {ExecResult::EXEC_OK_CONTINUE, "EXEC_OK_CONTINUE", false, false},
        {ExecResult::EXEC_OK_FINISHED, "EXEC_OK_FINISHED", false, true},
        {ExecResult::EXEC_STOP_BY_USER, "EXEC_STOP_BY_USER", false, true},
        {ExecResult::EXEC_STOP_INTERNAL_ERROR, "EXEC_STOP_INTERNAL_ERROR", true, true},
        {ExecResult::EXEC_STOP_AMPLIFIER_CURRENT, "EXEC_STOP_AMPLIFIER_CURRENT", true, true},
        {ExecResult::EXEC_STOP_HEARTBEAT, "EXEC_STOP_HEARTBEAT", true, true},
        {static_cast<ExecResult::Status>(12), "?XSTS?", true, true},
    };
    const test::LogCapture log;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ExecResult result = ExecEvent(1, 2, 3, c.status, "because").execResult();
        EXPECT_STREQ(result.statusName(), c.name);
        EXPECT_EQ(result.isError(), c.error);
        EXPECT_EQ(result.isFinished(), c.finished);
        EXPECT_STREQ(result.errorMessage(), "because");
    }
    EXPECT_TRUE(log.hasPart("Unknown ExecResult status 12"));
    EXPECT_EQ(ExecEvent(1, 2, 3).execResult().status(), ExecResult::EXEC_OK_CONTINUE);
    EXPECT_EQ(ExecEvent(1, 2, 0).execResult().status(), ExecResult::EXEC_OK_FINISHED);
    EXPECT_STREQ(ExecEvent(1, 2, 0).execResult().errorMessage(), "");
}

} // namespace
} // namespace fus
