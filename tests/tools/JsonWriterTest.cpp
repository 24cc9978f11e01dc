#include "JsonWriter.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace fus::tool {
namespace {

TEST(JsonWriterTest, WritesOneLineOrALineForEachElement) {
    const auto written = [](unsigned indent) {
        std::ostringstream out;
        JsonWriter json(out, indent);
        json.beginObject().key("a").beginArray().value(1).beginArray().endArray().endArray();
        json.member("b", true).key("c").beginObject().endObject().key("d").null().endObject();
        return out.str();
    };
    EXPECT_EQ(written(0), R"({"a":[1,[]],"b":true,"c":{},"d":null})");
    EXPECT_EQ(written(2), "{\n  \"a\": [\n    1,\n    []\n  ],\n  \"b\": true,\n  \"c\": {},\n"
                          "  \"d\": null\n}");
}

TEST(JsonWriterTest, WritesNumbersThatReadBackAsTheyWereWhateverTheLocale) {
    const auto written = [](auto number) {
        std::ostringstream out;
        JsonWriter(out).value(number);
        return out.str();
    };
    EXPECT_EQ(written(0.1F), "0.1");
    EXPECT_EQ(written(-1.5e-7F), "-1.5e-07");
    EXPECT_EQ(written(1234567.0F), "1234567");
    EXPECT_EQ(written(std::numeric_limits<float>::quiet_NaN()), "null");
    EXPECT_EQ(written(-std::numeric_limits<float>::infinity()), "null");
    EXPECT_EQ(written(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(written(-7), "-7");
}

TEST(JsonWriterTest, EscapesTextsAndReplacesWhatIsNotUtf8) {
    const struct {
        std::string text, json;
    } cases[] = {
        {"say \"\\\"", R"("say \"\\\"")"},
        {std::string("\t\n\r\x01\x1F\0\x7F", 7), "\"\\t\\n\\r\\u0001\\u001f\\u0000\x7F\""},
        {"\xC2\xB0"
         "C \xE2\x82\xAC \xF0\x9D\x84\x9E",
         "\"\xC2\xB0"
         "C \xE2\x82\xAC \xF0\x9D\x84\x9E\""},
        {"\xB0", "\"\xEF\xBF\xBD\""},                                 // Latin-1
        {"\xC0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                 // longer than it need be
        {"\xE2\x82", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                 // cut
        {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""}, // half of a surrogate pair
        {"\xF4\x90\x80\x80x", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDx\""},
    };
    for (const auto& c : cases) {
        std::ostringstream out;
        JsonWriter(out).value(c.text);
        EXPECT_EQ(out.str(), c.json);
    }
}

} // namespace
} // namespace fus::tool
