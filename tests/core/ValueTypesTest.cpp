#include "fus/FUSException.h"
#include "fus/FloatArray.h"
#include "fus/Mask1D.h"
#include "fus/Message.h"
#include "fus/P_TextCursor.h"
#include "fus/Version.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

using namespace fus;

namespace {

using Existing = Mask1D::ResizeExistingParam;
using Extra = Mask1D::ResizeExtraParam;

constexpr size_t EVERYTHING = std::numeric_limits<size_t>::max();

template <typename Action>
void expectLogged(FUSError error, const std::string& logLine, Action action) {
    test::LogCapture log;
    try {
        action();
        ADD_FAILURE() << "nothing thrown instead of: " << logLine;
    } catch (const FUSException& e) {
        EXPECT_EQ(error, e.errorCode()) << logLine;
    }
    EXPECT_EQ((test::LogLines{{Log::EXCEPTION, logLine}}), log.lines());
}

std::string textOf(const Mask1D& mask) {
    std::vector<char> buffer(mask.size() + 1);
    mask.toString(buffer.data(), buffer.size());
    return buffer.data();
}

Mask1D maskOf(const char* text) {
    return Mask1D(text, 0);
}

TEST(VersionTest, ReadsNumbersBetweenSeparatorsAndBoardNames) {
    const struct {
        const char* text;
        const char* version; // null: refused
    } rows[] = {
        {"3.1", "3.1.0.0"},
        {"1-2_3/4", "1.2.3.4"},
        {"1.2.3.4.5 and more", "1.2.3.4"},
        {"1.2.3.4x", "1.2.3.4"},
        {"7", "7.0.0.0"},
        {"7._-/", "7.0.0.0"},
        {" 1. +2 3", "1.2.3.0"},
        {"-3.-4", "3.4.0.0"},
        {"-2147483648", "2147483648.0.0.0"},
        {"1.2147483647", "1.2147483647.0.0"},
        {"1.2147483648", nullptr},
        {"99999999999999999999", nullptr},
        {"010.0x10", nullptr},
        {"1x", nullptr},
        {"1.x", nullptr},
        {"", nullptr},
        {"x", nullptr},
        {"UPB_1.2.3", "1.2.10.3"},
        {"SNT-1/2_3 trailing", "1.2.11.3"},
        {"AMP_1.2.3.4", "1.2.12.3"},
        {"CALx1.2.3", "1.2.14.3"},
        {"MOT_-1-2.3", "1.2.15.3"},
        {"THM_1.2.3", "1.2.16.3"},
        {"PGA_1.2.3", "1.2.17.3"},
        {"UPB_1.2", nullptr},
        {"UPB_1.2.", nullptr},
        {"UPB_1 2.3", nullptr},
        {"UPB", nullptr},
        {"UPB_", nullptr},
        {"UP", nullptr},
        {"upb_1.2.3", nullptr},
        {"BKP_1.2.3", nullptr},
    };
    for (const auto& row : rows) {
        Version version(9, 8, 7, 6);
        EXPECT_EQ(row.version != nullptr, version.setFromString(row.text)) << row.text;
        EXPECT_EQ(row.version != nullptr ? row.version : "9.8.7.6", version.toString()) << row.text;
    }
    EXPECT_FALSE(Version().setFromString(nullptr));
    EXPECT_EQ(nullVersion, Version("x"));
}

TEST(VersionTest, ComparesFromTheFirstComponentOn) {
    const Version rising[] = {Version(),           Version(0, 0, 0, 1), Version(0, 0, 1, 0),
                              Version(0, 2, 0, 0), Version(1, 1, 9, 9), Version(1, 2, 0, 0)};
    for (size_t i = 0; i < std::size(rising); ++i) {
        for (size_t k = 0; k < std::size(rising); ++k) {
            EXPECT_EQ(i < k, rising[i] < rising[k]);
            EXPECT_EQ(i > k, rising[i] > rising[k]);
            EXPECT_EQ(i <= k, rising[i] <= rising[k]);
            EXPECT_EQ(i >= k, rising[i] >= rising[k]);
            EXPECT_EQ(i == k, rising[i] == rising[k]);
            EXPECT_EQ(i != k, rising[i] != rising[k]);
        }
    }
}

TEST(MessageTest, OwnsItsTextAndIsNullWhenEmpty) {
    char text[] = "threshold";
    const Message cut(text, 6);
    const Message copy(cut);
    text[0] = '!';
    EXPECT_STREQ("thresh", copy.c_str());
    EXPECT_EQ(6U, copy.size());
    EXPECT_NE(cut.c_str(), copy.c_str());
    for (const Message& empty :
         {Message(), Message("", 5), Message(nullptr, 5), Message(text, 0)}) {
        const Message copyOfEmpty(empty);
        EXPECT_EQ(nullptr, copyOfEmpty.c_str());
        EXPECT_EQ(0U, copyOfEmpty.size());
    }
}

TEST(MessageTest, KeepsWhatStandsBehindAZeroWhenItIsGivenAsBytes) {
    std::unique_ptr<char[]> bytes(new char[4]{'\0', 'a', '\0', '\0'});
    const char* const where = bytes.get();
    const Message message = Message::ofBytes(std::move(bytes), 3);
    const Message copy(message);
    EXPECT_EQ(where, message.c_str());
    EXPECT_EQ(std::string("\0a\0", 3), std::string(copy.c_str(), copy.size()));
    EXPECT_EQ('\0', copy.c_str()[3]);
    EXPECT_EQ(nullptr, Message::ofBytes(std::unique_ptr<char[]>(new char[1]{}), 0).c_str());
}

TEST(FloatArrayTest, CopiesAssignsAndResizesItsElements) {
    const float data[] = {1, 2, 3};
    FloatArray array(data, 3);
    FloatArray other(2, 7.5F);
    EXPECT_EQ(7.5F, other.get(1));
    other = array;
    array.set(0, 9);
    array.resize(5, true);
    EXPECT_EQ(9, array[0]);
    EXPECT_EQ(3, array.get(2));
    array.resize(2, true);
    EXPECT_EQ(2U, array.size());
    EXPECT_EQ(2, array[1]);
    EXPECT_EQ(1, other[0]);
    other.resize(0, true);
    EXPECT_EQ(nullptr, other.data());
    EXPECT_EQ(nullptr, FloatArray(other).data());
    EXPECT_EQ(nullptr, FloatArray(data, 0).data());
}

TEST(FloatArrayTest, RefusesIndexesBeyondItsElements) {
    FloatArray array(3, 0);
    FloatArray promised(nullptr, 3);
    EXPECT_EQ(3U, promised.size());
    EXPECT_EQ(3U, FloatArray(promised).size());
    const std::string line = "ERR_INDEX: invalid float array index (3 above max=2)";
    expectLogged(ERR_INDEX, line, [&] { array.get(3); });
    expectLogged(ERR_INDEX, line, [&] { array.set(3, 1); });
    expectLogged(ERR_INDEX, line, [&] { array[3] = 1; });
    expectLogged(ERR_INDEX, "ERR_INDEX: invalid float array index (0 above max=0)",
                 [&] { FloatArray().get(0); });
    EXPECT_THROW(promised.get(0), FUSException);
    promised.resize(4, true);
    EXPECT_NO_THROW(promised.set(3, 1));
}

TEST(FloatArrayTest, KeepsItsContentWhenAnAllocationFails) {
    FloatArray array(2, 1.5F);
    EXPECT_THROW(array.resize(EVERYTHING, true), std::bad_alloc);
    EXPECT_THROW(FloatArray((size_t(1) << 62) + 1, 0), std::bad_alloc);
    EXPECT_EQ(2U, array.size());
    EXPECT_EQ(1.5F, array[1]);
    Mask1D mask("101", 0);
    EXPECT_THROW(mask.resize(EVERYTHING, Existing::COPY, Extra::SET_0), std::bad_alloc);
    EXPECT_EQ("101", textOf(mask));
}

TEST(Mask1DTest, ReadsEntriesFromTextAndSkipsTheRest) {
    const struct {
        const char* text;
        size_t length;
        const char* entries;
    } rows[] = {
        {"1100-1010", 0, "11001010"},
        {"1100-1010", 4, "1100"},
        {"1100-1010", 5, "1100"},
        {"1100-1010", 99, "11001010"},
        {"--101", 3, "1"},
        {"2 x", 0, ""},
        {"", 4, ""},
        {nullptr, 4, ""},
    };
    for (const auto& row : rows) {
        Mask1D mask(3, true);
        mask.setFromString(row.text, row.length);
        EXPECT_EQ(row.entries, textOf(mask));
        EXPECT_EQ(std::string(row.entries).size(), mask.size());
        EXPECT_EQ(mask, Mask1D(row.text, row.length));
    }
}

TEST(Mask1DTest, WritesNoMoreTextThanTheBufferTakes) {
    const Mask1D mask = maskOf("10110");
    char buffer[] = "xxxxxxx";
    EXPECT_EQ(0U, mask.toString(buffer, 0));
    EXPECT_STREQ("xxxxxxx", buffer);
    EXPECT_EQ(3U, mask.toString(buffer, 4));
    EXPECT_STREQ("101", buffer);
    EXPECT_EQ(5U, mask.toString(buffer, sizeof buffer));
    EXPECT_STREQ("10110", buffer);
    EXPECT_EQ(0U, Mask1D().toString(buffer, 4));
    EXPECT_STREQ("", buffer);
}

TEST(Mask1DTest, ComparesCommonRangeAndAllowsOnlyZerosBeyond) {
    const struct {
        const char* a;
        const char* b;
        bool equal, comparable;
    } rows[] = {
        {"110", "110", true, true},   {"110", "11000", false, true}, {"110", "11001", false, false},
        {"110", "100", false, false}, {"", "000", false, true},      {"", "001", false, false},
        {"", "", true, true},         {"110", "11", false, true},
    };
    for (const auto& row : rows) {
        const Mask1D a = maskOf(row.a);
        const Mask1D b = maskOf(row.b);
        EXPECT_EQ(row.equal, a == b) << row.a << ' ' << row.b;
        EXPECT_EQ(!row.equal, a != b);
        EXPECT_EQ(row.comparable, a.isComparable(b)) << row.a << ' ' << row.b;
        EXPECT_EQ(row.comparable, b.isComparable(a)) << row.a << ' ' << row.b;
    }
}

TEST(Mask1DTest, ResizesByTheRuleForOldAndForNewEntries) {
    const struct {
        size_t count;
        Existing existing;
        Extra extra;
        const char* entries;
    } rows[] = {
        {5, Existing::COPY, Extra::SET_1, "10111"}, {5, Existing::COPY, Extra::SET_0, "10100"},
        {2, Existing::COPY, Extra::SET_1, "10"},    {5, Existing::SET_0, Extra::SET_1, "00011"},
        {2, Existing::SET_1, Extra::RANDOM, "11"},  {4, Existing::SET_1, Extra::SET_0, "1110"},
        {0, Existing::COPY, Extra::SET_1, ""},      {3, Existing::LOST, Extra::SET_1, "101"},
        {3, Existing::COPY, Extra::SET_1, "101"},   {3, Existing::SET_0, Extra::SET_1, "000"},
        {3, Existing::SET_1, Extra::SET_0, "111"},
    };
    for (const auto& row : rows) {
        Mask1D mask = maskOf("101");
        mask.resize(row.count, row.existing, row.extra);
        EXPECT_EQ(row.entries, textOf(mask));
    }
    Mask1D grown;
    grown.resize(2, Existing::COPY, Extra::SET_1);
    EXPECT_EQ("11", textOf(grown));
    grown.resize(9, Existing::LOST, Extra::RANDOM);
    EXPECT_EQ(9U, grown.size());
    for (const int existing : {99, 104, -1}) {
        expectLogged(ERR_ARGUMENT, "ERR_ARGUMENT: Invalid value for 'existing' parameter.", [&] {
            grown.resize(9, static_cast<Existing>(existing), static_cast<Extra>(0));
        });
    }
    for (const int extra : {199, 203}) {
        expectLogged(ERR_ARGUMENT, "ERR_ARGUMENT: Invalid value for 'extra' parameter.",
                     [&] { grown.resize(9, Existing::COPY, static_cast<Extra>(extra)); });
    }
}

TEST(Mask1DTest, SetsNothingOfARangeThatLeavesTheMask) {
    Mask1D mask = maskOf("00000");
    mask.setRange(99, 0, true);
    Mask1D().setRange(99, 0, true);
    mask.setRange(1, 3, true);
    EXPECT_EQ("01110", textOf(mask));
    mask.setRange(4, 1, true);
    mask.setRange(1, 2, false);
    EXPECT_EQ("00011", textOf(mask));
    expectLogged(ERR_INDEX, "ERR_INDEX: invalid mask start index (5 above max=4)",
                 [&] { mask.setRange(5, 1, true); });
    expectLogged(ERR_INDEX, "ERR_INDEX: invalid mask end index (5 above max=4)",
                 [&] { mask.setRange(0, 6, true); });
    EXPECT_THROW(mask.setRange(2, EVERYTHING, true), FUSException);
    EXPECT_EQ("00011", textOf(mask));
}

TEST(Mask1DTest, FindsAndCountsEntries) {
    const struct {
        const char* entries;
        size_t active, firstTrue, lastTrue, firstFalse, lastFalse;
    } rows[] = {
        {"0110", 2, 1, 2, 0, 3},
        {"11", 2, 0, 1, EVERYTHING, EVERYTHING},
        {"0", 0, EVERYTHING, EVERYTHING, 0, 0},
        {"", 0, EVERYTHING, EVERYTHING, EVERYTHING, EVERYTHING},
    };
    for (const auto& row : rows) {
        const Mask1D mask = maskOf(row.entries);
        EXPECT_EQ(row.active, mask.activeCount()) << row.entries;
        EXPECT_EQ(row.firstTrue, mask.findFirst(true)) << row.entries;
        EXPECT_EQ(row.lastTrue, mask.findLast(true)) << row.entries;
        EXPECT_EQ(row.firstFalse, mask.findFirst(false)) << row.entries;
        EXPECT_EQ(row.lastFalse, mask.findLast(false)) << row.entries;
    }
    EXPECT_EQ(0xFFFFFFFFU, Mask1D(40, true).asBitmask());
    EXPECT_EQ(0x80000001U, maskOf("10000000000000000000000000000001"
                                  "1")
                               .asBitmask());
    EXPECT_EQ(0x5U, maskOf("101").asBitmask());
    EXPECT_EQ(0U, Mask1D().asBitmask());
}

TEST(Mask1DTest, RaisesAnIndexErrorRightBehindItsEnd) {
    Mask1D mask(2, false);
    mask[1] = true;
    const Mask1D& constant = mask;
    EXPECT_TRUE(constant[1]);
    const std::string line = "ERR_INDEX: invalid mask index (2 above max=1)";
    expectLogged(ERR_INDEX, line, [&] { mask.get(2); });
    expectLogged(ERR_INDEX, line, [&] { mask.set(2, true); });
    expectLogged(ERR_INDEX, line, [&] { mask[2] = true; });
    expectLogged(ERR_INDEX, line, [&] { (void)constant[2]; });
    const Mask1D copy = mask;
    mask.clear();
    EXPECT_EQ(nullptr, mask.data());
    EXPECT_EQ("01", textOf(copy));
    mask = copy;
    EXPECT_EQ(copy, mask);
    EXPECT_THROW(Mask1D().get(0), FUSException);
}

TEST(TextCursorTest, ConvertsAsALongOf32BitsDoes) {
    const struct {
        const char* text;
        int base;
        int32_t signedValue;
        uint32_t unsignedValue;
        bool signedOverflow, unsignedOverflow;
        size_t consumed;
    } rows[] = {
        {"12abc", 0, 12, 12, false, false, 2},
        {"0x10", 0, 16, 16, false, false, 4},
        {"0x10", 10, 0, 0, false, false, 1},
        {"0xg", 0, 0, 0, false, false, 1},
        {"010", 0, 8, 8, false, false, 3},
        {"08", 0, 0, 0, false, false, 1},
        {"0b1", 0, 0, 0, false, false, 1},
        {"010", 10, 10, 10, false, false, 3},
        {"ff", 16, 255, 255, false, false, 2},
        {"\t\n\v\f\r -0X1f,", 0, -31, 4294967265U, false, false, 11},
        {"+7", 0, 7, 7, false, false, 2},
        {"-1", 0, -1, 4294967295U, false, false, 2},
        {"2147483647", 0, 2147483647, 2147483647U, false, false, 10},
        {"2147483648", 0, 2147483647, 2147483648U, true, false, 10},
        {"-2147483648", 0, INT32_MIN, 2147483648U, false, false, 11},
        {"-2147483649", 0, INT32_MIN, 2147483647U, true, false, 11},
        {"4294967295", 0, 2147483647, 4294967295U, true, false, 10},
        {"-4294967295", 0, INT32_MIN, 1, true, false, 11},
        {"4294967296", 0, 2147483647, 4294967295U, true, true, 10},
        {"-4294967296", 0, INT32_MIN, 4294967295U, true, true, 11},
        {"99999999999999999999999", 0, 2147483647, 4294967295U, true, true, 23},
        {"--1", 0, 0, 0, false, false, 0},
        {"- 1", 0, 0, 0, false, false, 0},
        {"\xA0"
         "1",
         0, 0, 0, false, false, 0},
        {" ", 0, 0, 0, false, false, 0},
        {"", 0, 0, 0, false, false, 0},
    };
    for (const auto& row : rows) {
        const auto asInt = text::toInt(row.text, row.base);
        EXPECT_EQ(row.signedValue, asInt.value) << row.text;
        EXPECT_EQ(row.signedOverflow, asInt.outOfRange) << row.text;
        EXPECT_EQ(row.consumed, static_cast<size_t>(asInt.end - row.text)) << row.text;
        const auto asUnsigned = text::toUnsigned(row.text, row.base);
        EXPECT_EQ(row.unsignedValue, asUnsigned.value) << row.text;
        EXPECT_EQ(row.unsignedOverflow, asUnsigned.outOfRange) << row.text;
        EXPECT_EQ(row.consumed, static_cast<size_t>(asUnsigned.end - row.text)) << row.text;
    }
}

TEST(TextCursorTest, StaysWhereItIsWhenANumberFails) {
    TextCursor cursor("5 x,99999999999,0x10,2.5e1;rest");
    int32_t value = -1;
    EXPECT_TRUE(cursor.readInt(nullptr, ','));
    EXPECT_EQ(4U, cursor.position());
    EXPECT_FALSE(cursor.readInt(&value, ','));
    EXPECT_EQ(4U, cursor.position());
    EXPECT_EQ(-1, value);
    EXPECT_TRUE(cursor.skipTo(','));
    uint32_t hex = 0;
    EXPECT_TRUE(cursor.readUnsigned(&hex, ',', 0));
    EXPECT_EQ(16U, hex);
    float decimal = 0;
    EXPECT_TRUE(cursor.readFloat(&decimal, '#'));
    EXPECT_EQ(25.0F, decimal);
    EXPECT_FALSE(cursor.skip(6));
    EXPECT_TRUE(cursor.skip(5));
    EXPECT_TRUE(cursor.atEnd());
    EXPECT_FALSE(cursor.readInt(&value));
    EXPECT_FALSE(cursor.skip(1));
    EXPECT_EQ(0U, cursor.skipAny(";"));
    EXPECT_STREQ("5 x,99999999999,0x10,2.5e1;rest", cursor.text());
}

TEST(TextCursorTest, CutsTokensThatTheBufferCannotTake) {
    TextCursor cursor("abcde,,fgh,");
    char buffer[4];
    const struct {
        size_t count;
        const char* token;
        uint64_t position;
    } rows[] = {
        {3, "abc", 3}, {2, "de", 6}, {0, "", 7}, {3, "fgh", 11}, {0, "", 11},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.count, cursor.readToken(buffer, sizeof buffer, ','));
        EXPECT_STREQ(row.token, buffer);
        EXPECT_EQ(row.position, cursor.position());
    }
    for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
        TextCursor empty(nothing);
        EXPECT_EQ(nullptr, empty.text());
        EXPECT_EQ(0U, empty.readToken(buffer, sizeof buffer, ','));
        EXPECT_FALSE(empty.skipTo(','));
        EXPECT_TRUE(empty.skip(0));
    }
}

TEST(TextCursorTest, FindsADelimiterAgainAfterAnotherOneWasSought) {
    TextCursor cursor("1;2,3;4");
    std::vector<int32_t> values(4);
    EXPECT_TRUE(cursor.readInt(&values[0], ';'));
    EXPECT_TRUE(cursor.readInt(&values[1], ','));
    EXPECT_TRUE(cursor.readInt(&values[2], ';'));
    EXPECT_TRUE(cursor.readInt(&values[3], ';'));
    EXPECT_EQ((std::vector<int32_t>{1, 2, 3, 4}), values);
    EXPECT_TRUE(cursor.atEnd());
}

} // namespace
