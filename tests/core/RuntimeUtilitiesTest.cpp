#include "fus/P_LocalTime.h"
#include "fus/SysInfos.h"
#include "fus/Utilities.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <memory>
#include <string>

namespace fus {
namespace {

TEST(UtilitiesTest, CopiesThePartOfAStringThatIsThere) {
    struct Case {
        const char* text;
        std::size_t start;
        std::size_t maxLength;
        const char* copy;
    };
    for (const Case& c :
         {Case{"abc", 0, SIZE_MAX, "abc"}, Case{"abc", 1, 1, "b"}, Case{"abc", 2, SIZE_MAX, "c"},
          Case{"abc", 3, 5, nullptr}, Case{"abc", SIZE_MAX, SIZE_MAX, nullptr},
          Case{"abc", 0, 0, nullptr}, Case{"", 0, 5, nullptr}, Case{nullptr, 0, 5, nullptr}}) {
        std::size_t length = 99;
        const std::unique_ptr<char[]> copy(copyString(c.text, c.start, c.maxLength, &length));
        EXPECT_STREQ(copy.get(), c.copy);
        EXPECT_EQ(length, c.copy != nullptr ? std::string(c.copy).size() : 0U);
    }
    EXPECT_EQ(copyString("abc", 3, 1, nullptr), nullptr);
}

TEST(UtilitiesTest, RoundsNegativeHalvesAndWhatIsNearlyOneAwayFromZero) {
    struct Case {
        float value;
        int rounded;
    };
    for (const Case& c :
         {Case{2.5F, 3}, Case{2.4999995F, 2}, Case{-2.5F, -3}, Case{-2.4999993F, -3},
          Case{-2.499F, -2}, Case{0.0F, 0}, Case{-0.4999F, 0}, Case{8388607.0F, 8388607},
          Case{3e9F, INT_MIN}, Case{-3e9F, INT_MIN},
          Case{std::numeric_limits<float>::quiet_NaN(), INT_MIN}})
        EXPECT_EQ(roundedFloat(c.value), c.rounded) << c.value;
}

template <typename Float>
void expectClasses() {
    using Limits = std::numeric_limits<Float>;
    struct Case {
        Float value;
        int kind;
    };
    for (const Case& c : {Case{Limits::quiet_NaN(), 0}, Case{Limits::infinity(), 1},
                          Case{-Limits::infinity(), 1}, Case{Float{0}, 2}, Case{-Float{0}, 2},
                          Case{Limits::denorm_min(), 4}, Case{-Limits::max(), 4}}) {
        EXPECT_EQ(fpClass(c.value), c.kind) << c.value;
        EXPECT_EQ(isNan(c.value), c.kind == 0) << c.value;
        EXPECT_EQ(isInfinite(c.value), c.kind == 1) << c.value;
    }
}

TEST(UtilitiesTest, TellsTheClassesOfFloatingPointValues) {
    expectClasses<float>();
    expectClasses<double>();
}

TEST(UtilitiesTest, HasATextForSystemErrorsAndAQuestionMarkForOthers) {
    const std::string text = winErrorMessage(2);
    EXPECT_GT(text.size(), 1U);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << text;
    EXPECT_STREQ(winErrorMessage(1999999), "?");
    EXPECT_STREQ(winErrorMessage(-5), "?");
}

TEST(LocalTimeTest, LeavesTheRecordAsItWasWhenAValueIsOutOfRange) {
    struct Case {
        LocalTime time;
        bool valid;
    };
    for (const Case& c :
         {Case{{2020, 11, 30, 23, 59, 59, 999}, true}, Case{{2020, 1, 28, 0, 0, 0, 0}, true},
          Case{{2019, 1, 28, 0, 0, 0, 0}, false}, Case{{2000, 1, 28, 0, 0, 0, 0}, true},
          Case{{2100, 1, 28, 0, 0, 0, 0}, false}, Case{{2020, 3, 30, 0, 0, 0, 0}, false},
          Case{{2020, 12, 0, 0, 0, 0, 0}, false}, Case{{2020, -1, 0, 0, 0, 0, 0}, false},
          Case{{2020, 0, 0, 24, 0, 0, 0}, false}, Case{{2020, 0, 0, 0, 60, 0, 0}, false},
          Case{{2020, 0, 0, 0, 0, 60, 0}, false}, Case{{2020, 0, 0, 0, 0, 0, 1000}, false}}) {
        SCOPED_TRACE(std::to_string(c.time.year) + "-" + std::to_string(c.time.month) + "-" +
                     std::to_string(c.time.day));
        LocalTime time = {1999, 1, 2, 3, 4, 5, 6};
        EXPECT_EQ(time.set(c.time), c.valid);
        EXPECT_EQ(time.year, c.valid ? c.time.year : 1999);
        EXPECT_EQ(time.millisecond, c.valid ? c.time.millisecond : 6);
    }
}

TEST(SysInfosTest, DescribesThisComputer) {
    EXPECT_GE(sysinfos::CPUCores(), 1U);
    EXPECT_GT(sysinfos::RAMFree(), 1000000U);
    EXPECT_GT(sysinfos::RAMTotal(), sysinfos::RAMFree());
    const std::string name = sysinfos::OSName();
    EXPECT_EQ(name.compare(0, std::string(sysinfos::OSTypeStr()).size() + 1,
                           std::string(sysinfos::OSTypeStr()) + " "),
              0)
        << name;
    const std::string bits = sysinfos::is64bitsOS() ? " 64bits" : " 32bits";
    ASSERT_GT(name.size(), bits.size());
    EXPECT_EQ(name.substr(name.size() - bits.size()), bits);
}

} // namespace
} // namespace fus
