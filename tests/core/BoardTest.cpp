#include "fus/Board.h"

#include "fus/P_NetPacket.h"
#include "fus/P_PrivateBoard.h"
#include "support/Bytes.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

using namespace fus;
using namespace fus::test;

namespace {

PrivateMeasure measureWith(std::uint32_t size, Polynomial toUnit, Polynomial toADC) {
    PrivateMeasure record;
    record.name = "tem";
    record.size = size;
    record.unit = gprotocol::UNIT_CELSIUS;
    record.ADCToUnit = std::move(toUnit);
    record.UnitToADC = std::move(toADC);
    return record;
}

// "tem:2:Celsius idc:4:Ampere"
std::string describe(const MeasureList& list) {
    std::string text;
    for (const auto& measure : list) {
        text += (text.empty() ? "" : " ") + measure->name + ":" + std::to_string(measure->size) +
                ":" + gprotocol::unitName(measure->unit);
    }
    return text;
}

// A definition of "tem": 2 bytes, thresholds 5 and 900, and the raw coefficients over the divisor.
struct Definition {
    std::uint32_t typeId = 3012;
    std::uint32_t size = 2;
    std::uint32_t divisor = 4;
    std::uint32_t declared = 2;
    std::vector<std::int32_t> coefficients = {-8, 2};

    Bytes bytes() const {
        Bytes out = le16(typeId) + u8(size) + u8(0xEE) + le32(5) + le32(900) + le32(divisor) +
                    le32(declared);
        for (const std::int32_t c : coefficients) {
            out += le32(static_cast<std::uint32_t>(c));
        }
        return out;
    }
};

std::string decodingFault(const Bytes& bytes, PrivateMeasure& measure, bool secure) {
    return faultOf([&] {
        NetPacket packet =
            NetPacket::copyOf(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        decodeMeasureDefinition(packet, measure, secure);
    });
}

} // namespace

TEST(Measure, TheHighestRawValueFollowsTheSizeButIsZeroForFourBytes) {
    const struct {
        std::uint32_t size, max;
    } rows[] = {{0, 0}, {1, 255}, {2, 65535}, {4, 0}, {5, 255}, {0x20000001, 255}};
    for (const auto& row : rows) {
        const PrivateMeasure record = measureWith(row.size, {}, {});
        const Measure measure = HandleMaker::measure(record);
        EXPECT_EQ(row.max, measure.maxADCValue()) << row.size;
        EXPECT_EQ(0U, measure.minADCValue());
    }
}

TEST(Measure, ConvertsToRawValuesThatAreNeverNegativeAndNeverWrap) {
    const struct {
        Polynomial polynomial;
        float value;
        std::uint32_t raw;
    } rows[] = {
        {{}, 12.0f, 0},
        {{3.0f}, 12.0f, 3},
        {{-1.0f, 0.5f}, 5.0f, 1}, // 1.5, truncated
        {{-1.0f, 0.5f}, 1.9f, 0}, // -0.05
        {{-10.0f, 1.0f}, 3.0f, 0},
        {{0.0f, 1.0f}, 100000.0f, 100000}, // beyond two bytes on purpose
        {{0.0f, 1.0f}, 1e20f, 4294967295U},
        {{0.0f, 1.0f}, std::numeric_limits<float>::quiet_NaN(), 0},
    };
    for (const auto& row : rows) {
        const PrivateMeasure record = measureWith(2, {}, row.polynomial);
        EXPECT_EQ(row.raw, HandleMaker::measure(record).physicalToADC(row.value)) << row.value;
    }
}

TEST(Measure, EvaluatesFromTheHighestPowerDownRoundingAtEveryStep) {
    // Volatile, so that the compiler leaves the arithmetic to the processor.
    const volatile float x = 1.0f + std::ldexp(1.0f, -12);
    // The product is 1 + 2^-11 + 2^-24. Rounded it cancels out; fused into the addition it doesn't.
    EXPECT_EQ(0.0f, evaluatePolynomial({-(1.0f + std::ldexp(1.0f, -11)), x}, x));
    // From the lowest power up this would be 1e8 + 1 - 1e8 = 0.
    EXPECT_EQ(1.0f, evaluatePolynomial({1.0f, -1e8f, 1e8f}, 1.0f));
    EXPECT_EQ(1.0f + 2 * 3.0f + 4 * 9.0f, evaluatePolynomial({1.0f, 2.0f, 4.0f}, 3.0f));

    const PrivateMeasure record = measureWith(2, {1.5f, 0.25f}, {});
    EXPECT_EQ(3.5f, HandleMaker::measure(record).physicalFromADC(8));
    const PrivateMeasure bare = measureWith(2, {}, {});
    EXPECT_EQ(0.0f, HandleMaker::measure(bare).physicalFromADC(8));
}

TEST(Measure, InvertsStraightLinesOnly) {
    EXPECT_EQ((Polynomial{4.0f, 2.0f}), makeInversePolynomial({-2.0f, 0.5f}));
    const struct {
        Polynomial polynomial;
        const char* fault;
    } rows[] = {
        {{}, "ERR_ARGUMENT: Invalid polynomial degree."},
        {{1.0f}, "ERR_ARGUMENT: Invalid polynomial degree."},
        {{1.0f, 2.0f, 0.0f}, "ERR_ARGUMENT: Invalid polynomial degree."},
        {{1.0f, 0.0f}, "ERR_ARGUMENT: Invalid polynomial coefficient."},
        {{1.0f, -0.0f}, "ERR_ARGUMENT: Invalid polynomial coefficient."},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.fault, faultOf([&] { makeInversePolynomial(row.polynomial); }));
    }
}

TEST(Measure, PrintsAPolynomialFromTheHighestPower) {
    EXPECT_EQ("[ ]", polynomialText({}));
    EXPECT_EQ("[ -3 ]", polynomialText({-3.0f}));
    EXPECT_EQ("[ 2.5, 1 ]", polynomialText({1.0f, 2.5f}));
    EXPECT_EQ("[ 1e-07, 0.333333, 1e+20 ]", polynomialText({1e20f, 1.0f / 3, 1e-7f}));
}

TEST(MeasureList, ReadsCountNameAndSize) {
    const struct {
        const char* text;
        const char* list;
    } rows[] = {
        {"", ""},
        {"2tem2,idc2", "tem:2:Celsius tem:2:Celsius idc:2:Ampere"},
        {"tem2", "tem:2:Celsius"},
        {"0vdc1", "vdc:1:Volt"},
        {"2xyz1", "xyz:1:??? xyz:1:???"},
        {"TEM2", "TEM:2:???"},
        {"tem", "tem:0:Celsius"},
        {"3te", "te:0:??? te:0:??? te:0:???"},
        {"0x2pvr0x4", "pvr:4:radian pvr:4:radian"}, // numbers may have a prefix
        {"Pfd010", "Pfd:8:Watt"},
        {"tem2,,idc2", "tem:2:Celsius"}, // an empty item is the end
        {",tem2", ""},
        {"tem2, idc2", "tem:2:Celsius  id:0:???"}, // a blank counts among the name's three
        // Cut at 15 characters; the rest is an item of its own.
        {"tem0000000000002idc1", "tem:0:Celsius idc:1:Ampere idc:1:Ampere"},
    };
    for (const auto& row : rows) {
        MeasureList list;
        parseMeasureList(row.text, list);
        EXPECT_EQ(row.list, describe(list)) << row.text;
    }
    MeasureList list;
    appendMeasures(list, "vdc", 2);
    EXPECT_EQ(3U, parseMeasureList("2tem2,idc2", list)) << "counts what it added";
    EXPECT_EQ(4U, list.size());
}

TEST(MeasureList, RefusesMoreMeasuresThanAnIndexCanTell) {
    for (const char* text : {"257tem2", "255tem2,2idc2", "4000000000tem2", "-1tem2"}) {
        MeasureList list;
        EXPECT_EQ(0U, faultOf([&] { parseMeasureList(text, list); }).find("ERR_CONFIG_PARSE: "))
            << text;
    }
    MeasureList list;
    EXPECT_EQ(256U, parseMeasureList("255tem2,idc2", list));
}

TEST(MeasureDefinition, GivesThresholdsAndBothPolynomials) {
    PrivateMeasure measure = measureWith(2, {}, {});
    LogCapture log(Log::VERBOSE);
    EXPECT_EQ("", decodingFault(Definition().bytes(), measure, true));
    EXPECT_EQ(log.lines(),
              (LogLines{{Log::VERBOSE, "  type: 3012 (tem), size: 2, lo: 5, up: 900, div: 4"},
                        {Log::VERBOSE, "  ADCToUnit: [ 0.5, -2 ]"},
                        {Log::VERBOSE, "  UnitToADC: [ 2, 4 ]"}}));
    EXPECT_EQ(5U, measure.lowerThreshold);
    EXPECT_EQ(900U, measure.upperThreshold);
    EXPECT_EQ((Polynomial{-2.0f, 0.5f}), measure.ADCToUnit);
    EXPECT_EQ((Polynomial{4.0f, 2.0f}), measure.UnitToADC);
}

TEST(MeasureDefinition, DividesByAnUnsignedDivisor) {
    PrivateMeasure measure = measureWith(2, {}, {});
    Definition definition;
    definition.divisor = 0x80000000;
    definition.coefficients = {std::numeric_limits<std::int32_t>::min(), 1 << 30};
    EXPECT_EQ("", decodingFault(definition.bytes(), measure, true));
    EXPECT_EQ((Polynomial{-1.0f, 0.5f}), measure.ADCToUnit);
}

TEST(MeasureDefinition, RefusesWhatDoesNotFit) {
    const Definition good;
    const auto changed = [&](auto change) {
        Definition definition = good;
        change(definition);
        return definition.bytes();
    };
    Bytes truncated = good.bytes();
    truncated.resize(17);
    const struct {
        const char* fault;
        const char* faultWithoutChecks;
        Bytes bytes;
    } rows[] = {
        {"ERR_PACKET: Invalid measure definition (null divisor).",
         "ERR_PACKET: Invalid measure definition (null divisor).", changed([](Definition& d) {
             d.divisor = 0;
             d.size = 1;
         })},
        {"ERR_PACKET: Invalid measure size", "", changed([](Definition& d) {
             d.size = 4;
             d.typeId = 3011;
         })},
        {"ERR_PACKET: Invalid measure type", "", changed([](Definition& d) { d.typeId = 3011; })},
        {"ERR_ARGUMENT: Invalid polynomial degree.", "ERR_ARGUMENT: Invalid polynomial degree.",
         changed([](Definition& d) {
             d.declared = 3;
             d.coefficients.push_back(0);
         })},
        {"ERR_ARGUMENT: Invalid polynomial coefficient.",
         "ERR_ARGUMENT: Invalid polynomial coefficient.",
         changed([](Definition& d) { d.coefficients[1] = 0; })},
        {"ERR_INDEX: Invalid index", "ERR_INDEX: Invalid index",
         changed([](Definition& d) { d.declared = 3; })},
        {"ERR_INDEX: Invalid index", "ERR_INDEX: Invalid index",
         changed([](Definition& d) { d.declared = 0xFFFFFFFF; })},
        {"ERR_INDEX: Invalid index", "ERR_INDEX: Invalid index", truncated},
    };
    for (const auto& row : rows) {
        PrivateMeasure measure = measureWith(2, {}, {});
        EXPECT_EQ(row.fault, decodingFault(row.bytes, measure, true)) << toHex(row.bytes);
        EXPECT_EQ(row.faultWithoutChecks, decodingFault(row.bytes, measure, false))
            << toHex(row.bytes);
        EXPECT_EQ(2U, measure.size) << "the text's size stays";
    }
}

TEST(Board, HandlesShareTheRecordAndLeaveItAlone) {
    PrivateBoardAMP record;
    record.address = 7;
    record.channelMask = Mask1D("1010", 0);
    appendMeasures(record.channelMeasures, "vrf", 1);
    appendMeasures(record.boardMeasures, "tem", 2, 2);
    BoardAMP amp = HandleMaker::board(record);
    {
        BoardAMP copy = amp;
        const PrivateBoardAMP other;
        copy = HandleMaker::board(other);
        EXPECT_EQ(32, copy.address()) << "no address until read";
    }
    EXPECT_EQ(7, amp.address());
    EXPECT_STREQ("vrf", amp.channelMeasure(0).name());
    EXPECT_STREQ("V", amp.channelMeasure(0).unitSymbol());
    EXPECT_STREQ("Celsius", amp.boardMeasure(1).unitName());
    amp.channelMask().set(0, false); // on a copy
    EXPECT_EQ(2U, amp.channelMask().activeCount());

    LogCapture log(Log::EXCEPTION);
    EXPECT_EQ("ERR_INDEX: Invalid index", faultOf([&] { amp.boardMeasure(2); }));
    EXPECT_EQ("ERR_INDEX: Invalid index", faultOf([&] { amp.channelMeasure(1); }));
    EXPECT_EQ(log.texts(), (std::vector<std::string>{
                               "ERR_INDEX: invalid board measure index (2 above max=2)",
                               "ERR_INDEX: invalid channel measure index (1 above max=1)"}));
}

TEST(Board, AssigningThroughTheBaseDoesNotConfuseKinds) {
    PrivateBoardUPB upbRecord;
    upbRecord.bufferCount = 16;
    const PrivateBoardMOT motRecord;
    BoardUPB upb = HandleMaker::board(upbRecord);
    Board& base = upb;
    base = HandleMaker::board(motRecord);
    EXPECT_EQ(gprotocol::BOARD_MECHANICS, upb.boardType());
    EXPECT_EQ(16U, upb.bufferCount());
}

TEST(Board, KnowsItsKind) {
    EXPECT_EQ(gprotocol::BOARD_PROCESSOR, HandleMaker::board(PrivateBoardUPB()).boardType());
    EXPECT_EQ(gprotocol::BOARD_SYNTHESIZER, HandleMaker::board(PrivateBoardSNT()).boardType());
    EXPECT_EQ(gprotocol::BOARD_AMPLIFIER, HandleMaker::board(PrivateBoardAMP()).boardType());
    EXPECT_EQ(gprotocol::BOARD_MECHANICS, HandleMaker::board(PrivateBoardMOT()).boardType());
    const PrivateBoard panel(gprotocol::HWID_BACK_PANEL);
    EXPECT_EQ("ERR_INDEX: Invalid index", faultOf([&] { HandleMaker::board(panel).boardType(); }));
    static_assert(std::has_virtual_destructor_v<Board>);
    static_assert(!std::is_polymorphic_v<Measure> && sizeof(Measure) == sizeof(void*));
    static_assert(!std::is_constructible_v<BoardUPB, const PrivateBoardUPB*>);
    static_assert(!std::is_constructible_v<Measure, const PrivateMeasure*>);
}
