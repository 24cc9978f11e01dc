#include "fus/FUSException.h"
#include "fus/P_Config.h"

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

using namespace fus;

namespace {

using test::LogLines;

void readInto(Config& config, const std::string& text) {
    std::istringstream stream(text);
    config.read(stream);
}

/// The tree as a text: "name{key=value;...}", with "-" for a null.
std::string dump(const ConfigSection& section) {
    const auto orDash = [](const char* text) { return std::string(text ? text : "-"); };
    std::string result = orDash(section.name()) + "{";
    for (const ConfigParam& param : section.params()) {
        result += orDash(param.name()) + "=" + orDash(param.value()) + ";";
    }
    for (const auto& child : section.sections()) {
        EXPECT_EQ(&section, child->parent());
        result += dump(*child);
    }
    return result + "}";
}

std::string dumpOf(const std::string& text) {
    Config config;
    readInto(config, text);
    return dump(config);
}

TEST(ConfigTest, TurnsLinesIntoATreeInFileOrder) {
    const struct {
        std::string text;
        const char* tree;
    } rows[] = {
        {"", "/{}"},
        {"\n \t\r\n", "/{}"},
        {"a=1", "/{a=1;}"},
        {"a = 1\r\nb: 2\r\n", "/{a=1;b=2;}"},
        {"a=1\na=2\n", "/{a=1;a=2;}"},
        {"key=\nother =   \r\nlast:", "/{key=-;other=-;last=-;}"},
        {"a = b ; c # d = e", "/{a=b ; c # d = e;}"},
        {"a == b", "/{a== b;}"},
        {"= v\n: w", "/{-=v;-=w;}"},
        {"a/b = 1", "/{a/b=1;}"},
        {"a] = 1", "/{a]=1;}"},
        {"# a=1\n ; b=2\nc=3", "/{c=3;}"},
        {"  /* one\nx=1\n\t*/ y=2\nz=3", "/{z=3;}"},
        {"/*\n/*\n*/\nx=1", "/{}"},
        {"/*\n# */\n[a]\nnonsense\n*/\nx=1", "/{x=1;}"},
        {"/* on one line */\nx=1\n*/\ny=2", "/{y=2;}"},
        {"x = 1 /* y", "/{x=1 /* y;}"},
        {"\xA0"
         "a\x80=\xFFv\xE9w\xA0",
         "/{a=v\xE9w;}"},
        {std::string("a\0=\0v\0w", 7), "/{a=v;}"},
        {"[ab] trailing\nx=1\n[cd]\n[ab]\ny=2", "/{ab{x=1;y=2;}cd{}}"},
        {"r=0\n[A/B]\nx=1\n[A/B]\ny=2\n[A/C]", "/{r=0;A{B{x=1;y=2;}C{}}}"},
        {"[ Axis0 / Board ]\nx=1", "/{Axis0 { Board{x=1;}}}"},
        {"[\xA0"
         "ab\xA0]",
         "/{ab{}}"},
        {"[[ab]]", "/{[ab{}}"},
        {"[A/]\nx=1\n[A/]\ny=2", "/{A/{x=1;y=2;}}"},
        {"[A/B/]", "/{A{B/{}}}"},
        {"[/AB]\n[A//B]", "/{AB{}A{}B{}}"},
        {"[A//]\nx=1", "/{x=1;A{}}"},
        {"[//B]\nx=1\n[//B]", "/{-{B{x=1;}}-{B{}}}"},
        {"[///B]\nx=1", "/{-{}B{x=1;}}"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.tree, dumpOf(row.text)) << row.text;
    }
}

TEST(ConfigTest, RefusesLinesThatItCannotReadButKeepsWhatStoodBefore) {
    const char* const rows[] = {
        "*/",  "/*\n*/\n*/", "[",    "[  ",     "[ab",     "[a]", "[ a ]",  "[/]",   "[]",
        "[ ]", "key",        "key ", "key x=1", "key\xA0", "a b", "[ab\n]", "/ * x", "*",
    };
    for (const char* text : rows) {
        test::LogCapture log;
        Config config;
        try {
            readInto(config, std::string("a=1\n") + text + "\nb=2");
            ADD_FAILURE() << text;
        } catch (const FUSException& e) {
            EXPECT_EQ(ERR_CONFIG_PARSE, e.errorCode()) << text;
            EXPECT_STREQ("Parse error in configuration file", e.message()) << text;
            EXPECT_GT(e.line(), 0U);
        }
        EXPECT_EQ(1, config.getInt("a", 0)) << text;
        EXPECT_FALSE(config.hasParam("b")) << text;
        EXPECT_EQ((LogLines{{Log::EXCEPTION, "ERR_CONFIG_PARSE"}}), log.lines()) << text;
    }
}

TEST(ConfigTest, RefusesAStreamThatIsNotGood) {
    for (const auto state : {std::ios::eofbit, std::ios::failbit, std::ios::badbit}) {
        test::LogCapture log;
        std::istringstream stream("a=1");
        stream.setstate(state);
        Config config;
        try {
            config.read(stream);
            ADD_FAILURE();
        } catch (const FUSException& e) {
            EXPECT_EQ(ERR_CONFIG_PARSE, e.errorCode());
            EXPECT_STREQ("Invalid stream/file.", e.message());
        }
        EXPECT_EQ("/{}", dump(config));
        EXPECT_EQ((LogLines{{Log::EXCEPTION, "ERR_CONFIG_PARSE: Invalid stream/file."}}),
                  log.lines());
    }
}

/// Gives its text, then throws.
class BreakingBuffer : public std::streambuf {
public:
    explicit BreakingBuffer(std::string text) : m_text(std::move(text)) {
        setg(m_text.data(), m_text.data(), m_text.data() + m_text.size());
    }

protected:
    int_type underflow() override { throw std::runtime_error("device lost"); }

private:
    std::string m_text;
};

TEST(ConfigTest, TakesAStreamThatBreaksAsEnded) {
    for (const auto exceptions : {std::ios::goodbit, std::ios::badbit | std::ios::failbit}) {
        BreakingBuffer buffer("a=1\nb=2\nc");
        std::istream stream(&buffer);
        stream.exceptions(exceptions);
        Config config;
        EXPECT_NO_THROW(config.read(stream));
        EXPECT_EQ("/{a=1;b=2;}", dump(config));
    }
    std::istringstream throwsAtTheEnd("a=1\nb=2\n");
    throwsAtTheEnd.exceptions(std::ios::failbit | std::ios::eofbit);
    Config config;
    EXPECT_NO_THROW(config.read(throwsAtTheEnd));
    EXPECT_EQ("/{a=1;b=2;}", dump(config));
}

/// Fills its buffer with so many bytes at a time; with none it is unbuffered.
class TricklingBuffer : public std::streambuf {
public:
    TricklingBuffer(std::string text, size_t portion)
        : m_text(std::move(text)), m_portion(portion) {}

protected:
    int_type underflow() override {
        const size_t count = std::min(m_portion, m_text.size() - m_position);
        setg(m_text.data() + m_position, m_text.data() + m_position,
             m_text.data() + m_position + count);
        m_position += count;
        return count == 0 ? peek() : traits_type::to_int_type(*gptr());
    }
    int_type uflow() override {
        if (m_portion != 0) {
            return std::streambuf::uflow();
        }
        const int_type next = peek();
        m_position += next == traits_type::eof() ? 0U : 1U;
        return next;
    }

private:
    int_type peek() const {
        return m_portion == 0 && m_position < m_text.size()
                   ? traits_type::to_int_type(m_text[m_position])
                   : traits_type::eof();
    }

    std::string m_text;
    size_t m_portion;
    size_t m_position = 0;
};

TEST(ConfigTest, ReadsTheSameWhateverPortionsTheStreamGives) {
    const std::string text = "first = " + std::string(70000, 'x') + "\r\n\n[ab]\nk = 1\n\nlast = 2";
    const std::string tree = "/{first=" + std::string(70000, 'x') + ";ab{k=1;last=2;}}";
    for (const size_t portion : {0U, 1U, 7U, 8192U, 65535U, 65536U, 65537U, 1000000U}) {
        TricklingBuffer buffer(text, portion);
        std::istream stream(&buffer);
        Config config;
        config.read(stream);
        EXPECT_EQ(tree, dump(config)) << portion;
        EXPECT_THROW(config.read(stream), FUSException) << "the stream is exhausted";
    }
}

TEST(ConfigTest, WalksPathsFromTheSectionOrFromTheRoot) {
    Config config;
    readInto(config, "top=0\n[AA]\nx=1\nx=5\n[AA/BB]\nx=2\n[AA/BB/CC]\nx=3\n[BB]\nx=4\n= 9\n");
    ConfigSection* a = config.findSection("AA");
    ConfigSection* c = config.findSection("AA/BB/CC");
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, c);
    EXPECT_TRUE(config.isRoot());
    EXPECT_FALSE(c->isRoot());
    EXPECT_EQ(&config, c->getRoot());
    const struct {
        const ConfigSection* from;
        const char* path;
        int value; // -1: not found
    } rows[] = {
        {&config, "top", 0},
        {&config, "/top", 0},
        {&config, "AA/x", 1},
        {&config, "/AA/x", 1},
        {a, "x", 1},
        {a, "BB/x", 2},
        {a, "/BB/x", 4},
        {c, "/AA/BB/x", 2},
        {&config, "AA//BB/x", 4},
        {c, "//BB/x", -1},
        {&config, "//top", -1},
        {&config, "AA/x/", -1},
        {&config, "AA/", -1},
        {&config, "/", -1},
        {&config, "", -1},
        {&config, nullptr, -1},
        {&config, "aa/x", -1},
        {&config, "AA/CC/x", -1},
        {c, "AA/x", -1},
        {&config, "AA/BB", -1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.value, row.from->getInt(row.path, -1)) << row.path;
        EXPECT_EQ(row.value != -1, row.from->findParam(row.path) != nullptr);
    }
    EXPECT_EQ(config.findSection("BB"), c->findSection("/BB"));
    EXPECT_EQ(config.findSection("BB"), config.findSection("AA//BB"));
    for (const char* path : {"/", "", "AA/", "CC", "BB/CC"}) {
        EXPECT_EQ(nullptr, config.findSection(path)) << path;
    }
    EXPECT_EQ(nullptr, config.findSection(nullptr));
    EXPECT_EQ(&config, c->createSection("/"));
    EXPECT_EQ(nullptr, config.createSection(""));
    EXPECT_EQ(nullptr, config.createSection(static_cast<const char*>(nullptr)));
    EXPECT_EQ(config.findSection("BB"), c->createSection("/BB"));
    EXPECT_TRUE(a->hasParam("x"));
    EXPECT_FALSE(config.hasParam("AA/x"));
    EXPECT_FALSE(config.hasParam(""));
    EXPECT_FALSE(config.hasParam(nullptr));
}

TEST(ConfigTest, ConvertsScalarsOrFallsBackToTheDefault) {
    const struct {
        const char* value;
        int32_t asInt;
        uint32_t asUnsigned;
        float asFloat;
        bool isNumber, isFloat;
    } rows[] = {
        {"0x10", 16, 16, 16, true, true},
        {"010", 8, 8, 10, true, true},
        {"12abc", 12, 12, 12, true, true},
        {"-1", -1, 4294967295U, -1, true, true},
        {"99999999999", 2147483647, 4294967295U, 99999999999.F, true, true},
        {"-99999999999", INT32_MIN, 4294967295U, -99999999999.F, true, true},
        {"1.5 mm", 1, 1, 1.5F, true, true},
        {"1e999", 1, 1, std::numeric_limits<float>::infinity(), true, true},
        {".5", 77, 77, .5F, false, true},
        {"abc", 77, 77, 77, false, false},
        {"| 3", 77, 77, 77, false, false},
    };
    for (const auto& row : rows) {
        Config config;
        readInto(config, std::string("k = ") + row.value);
        test::LogCapture log;
        EXPECT_EQ(row.asInt, config.getInt("k", 77)) << row.value;
        EXPECT_EQ(row.asUnsigned, config.getUnsigned("k", 77)) << row.value;
        EXPECT_EQ(row.asFloat, config.getFloat("k", 77)) << row.value;
        LogLines expected;
        const std::string refusal = "parameter 'k': can not be converted to ";
        if (!row.isNumber) {
            expected = {{Log::ERROR, refusal + "integer"},
                        {Log::ERROR, refusal + "unsigned integer"}};
        }
        if (!row.isFloat) {
            expected.push_back({Log::ERROR, refusal + "float"});
        }
        EXPECT_EQ(expected, log.lines()) << row.value;
    }
}

TEST(ConfigTest, TellsAMissingParameterFromOneWithoutAValue) {
    Config config;
    readInto(config, "k =\ns =  some text \n");
    test::LogCapture log;
    for (const char* key : {"k", "missing"}) {
        EXPECT_EQ(-5, config.getInt(key, -5));
        EXPECT_EQ(5U, config.getUnsigned(key, 5));
        EXPECT_EQ(.5F, config.getFloat(key, .5F));
        EXPECT_TRUE(config.getBool(key, true));
        std::vector<int32_t> items{1};
        EXPECT_EQ(0U, config.getInts(key, items));
        EXPECT_EQ(1U, items.size());
    }
    EXPECT_TRUE(config.hasParam("k"));
    EXPECT_EQ(nullptr, config.getString("k", "default"));
    EXPECT_STREQ("default", config.getString("missing", "default"));
    EXPECT_STREQ("some text", config.getString("s", nullptr));
    EXPECT_EQ(LogLines{}, log.lines());
}

TEST(ConfigTest, ReadsBooleansByPrefixInAnyCase) {
    const struct {
        const char* value;
        int result; // -1: the default
    } rows[] = {
        {"yes", 1},     {"YES!", 1},  {"truest", 1}, {"True", 1}, {"no", 0},
        {"nothing", 0}, {"FALSE", 0}, {"Y", 1},      {"yup", 1},  {"10", 1},
        {"01", 0},      {"N", 0},     {"nay", 0},    {"T", -1},   {"F", -1},
        {"tru", -1},    {"fals", -1}, {"2", -1},     {"on", -1},  {"-1", -1},
    };
    test::LogCapture log;
    for (const auto& row : rows) {
        const ConfigParam param("k", row.value);
        EXPECT_EQ(row.result != 0, param.toBool(true)) << row.value;
        EXPECT_EQ(row.result == 1, param.toBool(false)) << row.value;
    }
    EXPECT_EQ(LogLines{}, log.lines());
}

TEST(ConfigTest, AppendsListItemsUntilOneFails) {
    const struct {
        const char* value;
        std::vector<int32_t> items;
        const char* log;
    } rows[] = {
        {"1|2|3", {1, 2, 3}, nullptr},
        {" 1 | 0x10 |-010", {1, 16, -8}, nullptr},
        {"1|2|", {1, 2}, nullptr},
        {"1 mm|2", {1, 2}, nullptr},
        {"1|2 3", {1, 2, 3}, nullptr},
        {"1|2 x", {1, 2}, "parameter 'k': can not read integer item 2"},
        {"1||2", {1}, "parameter 'k': can not read integer item 1"},
        {"|1", {}, "parameter 'k': can not read integer item 0"},
        {"1|2147483648|3", {1}, "parameter 'k': can not read integer item 1"},
    };
    for (const auto& row : rows) {
        Config config;
        readInto(config, std::string("k = ") + row.value);
        test::LogCapture log;
        std::vector<int32_t> items{-7};
        EXPECT_EQ(row.items.size(), config.getInts("k", items)) << row.value;
        std::vector<int32_t> expected{-7};
        expected.insert(expected.end(), row.items.begin(), row.items.end());
        EXPECT_EQ(expected, items) << row.value;
        EXPECT_EQ((row.log ? LogLines{{Log::ERROR, row.log}} : LogLines{}), log.lines())
            << row.value;
    }
}

TEST(ConfigTest, CountsARangeErrorAsAFailedItemInEveryKindOfList) {
    Config config;
    readInto(config, "u = -1|4294967295|4294967296\nf = 1.5|-2e3|1e39|1e999");
    test::LogCapture log;
    std::vector<uint32_t> unsigneds;
    EXPECT_EQ(2U, config.getUnsigneds("u", unsigneds));
    EXPECT_EQ((std::vector<uint32_t>{4294967295U, 4294967295U}), unsigneds);
    std::vector<float> floats;
    EXPECT_EQ(3U, config.getFloats("f", floats));
    EXPECT_EQ((std::vector<float>{1.5F, -2000, std::numeric_limits<float>::infinity()}), floats);
    EXPECT_EQ((LogLines{{Log::ERROR, "parameter 'u': can not read unsigned integer item 2"},
                        {Log::ERROR, "parameter 'f': can not read float item 3"}}),
              log.lines());
}

TEST(ConfigTest, FindsTheFirstOfManyNamesAmongThousands) {
    std::string text;
    for (const char* value : {"1", "2"}) {
        for (int i = 0; i < 5000; ++i) {
            text += "[S" + std::to_string(i) + "]\nk" + std::to_string(i) + "=" + value + "\n";
        }
    }
    text += "[all]\n";
    for (int i = 0; i < 50000; ++i) {
        text += "k" + std::to_string(i % 25000) + " = " + std::to_string(i) + "\n";
    }
    Config config;
    readInto(config, text);
    EXPECT_EQ(5001U, config.sections().size());
    EXPECT_EQ(1, config.getInt("S4999/k4999", -1));
    const ConfigSection* all = config.findSection("all");
    for (int i = 0; i < 25000; ++i) {
        ASSERT_EQ(i, all->getInt(("k" + std::to_string(i)).c_str(), -1));
    }
    EXPECT_EQ(nullptr, all->findParam("k25000"));
    config.createSection("/late");
    EXPECT_EQ(config.sections().back().get(), config.findSection("late"));
}

TEST(ConfigTest, SurvivesAMillionNestedSections) {
    std::string path = "AB";
    for (int i = 0; i < 1000000; ++i) {
        path += "/s";
    }
    Config config;
    readInto(config,
             "[" + path + "]\nx=1\n[" + path + "]\ny=2\n[" + std::string(1000000, '/') + "]\n");
    EXPECT_EQ(1, config.getInt((path + "/x").c_str(), 0));
    EXPECT_EQ(2, config.findSection(path.c_str())->getInt("/AB/missing", 2));
    EXPECT_EQ(nullptr, config.findSection((path + "/s").c_str()));
}

TEST(ConfigTest, ReadsAListWithoutSeparatorsInOnePass) {
    std::string text = "k =";
    for (int i = 0; i < 500000; ++i) {
        text += " 7";
    }
    Config config;
    readInto(config, text);
    std::vector<int32_t> items;
    EXPECT_EQ(500000U, config.getInts("k", items));
}

} // namespace
