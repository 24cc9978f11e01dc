// The description of the system, held against documents that were written by hand: tests/core/data.

#include "fus/P_Connection.h"

#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "support/ConnectedFixture.h"
#include "support/Faults.h"
#include "support/SourceTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <locale>
#include <regex>
#include <string>
#include <thread>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

std::string dataFile(const std::string& name) {
    std::ifstream file(sourceTree() + "/tests/core/data/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    std::string text{std::istreambuf_iterator<char>(file), {}};
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end()); // of some checkouts
    return std::regex_replace(text, std::regex("@E9@"), "\xE9");
}

/// "2021-12-31 23:59:59" of the local time.
std::string localTime() {
    const std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&now));
    return text;
}

/// Numbers of a country that writes a million as 1.000.000,0, for whoever takes the global locale.
class ForeignNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class ForeignLocale {
public:
    ForeignLocale()
        : m_before(std::locale::global(std::locale(std::locale::classic(), new ForeignNumbers))) {}
    ~ForeignLocale() { std::locale::global(m_before); }
    ForeignLocale(const ForeignLocale&) = delete;
    ForeignLocale& operator=(const ForeignLocale&) = delete;

private:
    std::locale m_before;
};

const Bytes VERSIONS = hex("04024340 01020304");

class JSONExport : public ConnectedFixture {
protected:
    ScriptedPeer& expectBoard(unsigned hwid, unsigned address, unsigned command,
                              const Bytes& request) {
        return peer.expect(CMD_BOARD_CMD, zeroes(16) + u8(hwid) + u8(address) + be16(command) +
                                              be16(static_cast<unsigned>(request.size())) +
                                              request);
    }
    void serve(unsigned hwid, unsigned address, unsigned command, const Bytes& request,
               const Bytes& data) {
        expectBoard(hwid, address, command, request)
            .answer(ANSWER_BOARD, success(hwid, address, command, data));
    }
    static Bytes success(unsigned hwid, unsigned address, unsigned command, const Bytes& data) {
        return zeroes(12) + u8(hwid) + u8(address) + be16(command) + be16(command) +
               be16(static_cast<unsigned>(data.size())) + data;
    }
    void serveInfo(unsigned hwid, unsigned address, const Bytes& crcDate) {
        serve(hwid, address, 70, {}, VERSIONS);
        serve(hwid, address, 73, zeroes(8), crcDate);
    }
    /// What is asked at connect.
    void serveMeasure(unsigned hwid, unsigned index, const Bytes& definition) {
        serve(hwid, 0, 74, u8(index), definition);
    }
    void serveId(unsigned hwid, unsigned address, std::uint64_t id) {
        serve(hwid, address, 93, le16(2905), le64(id));
    }
    void serveBackPanel(unsigned flash, const Bytes& snt, const Bytes& amp) {
        peer.expect(CMD_BACKPANEL_CONFIG, hex("9DC0178D") + be32(flash))
            .answer(ANSWER_BACKPANEL, be32(static_cast<unsigned>(snt.size())) + snt + amp);
    }
    /// Two boards that aren't complete, behind a processor that is.
    void connectTwoBoards() {
        greet(peer, Generation::V31,
              "[UPB00]\nprotocol_version = 3.1\nuid = 1\ncrc = 2\nbd = then\n[BKP]\n"
              "snt_chr = 11-11\n[SNT00]\nuid = 3\n[SNT01]\nuid = 4\n",
              {});
        open();
    }
    void open() { ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), 5000)); }

    std::string exported() {
        const Message message = fus().exportJSONConfig();
        return std::string(message.c_str(), message.size());
    }

    /// The document is, as a whole, the one of this name; time and port have their form.
    void expectDocument(const std::string& name) {
        const std::string before = localTime();
        std::string document = exported();
        const std::string after = localTime();
        static const std::regex TIME("\"timestamp\": \"([^\"]{19})\\.[0-9]{3}\"");
        std::smatch found;
        ASSERT_TRUE(std::regex_search(document, found, TIME)) << document;
        EXPECT_LE(before, found[1]);
        EXPECT_LE(found[1], after);
        document.replace(static_cast<std::size_t>(found.position()),
                         static_cast<std::size_t>(found.length()),
                         "\"timestamp\": \"@TIMESTAMP@\"");
        EXPECT_EQ(document, std::regex_replace(dataFile(name), std::regex("@PORT@"),
                                               std::to_string(peer.port())));
        EXPECT_TRUE(peer.settle());
    }
};

const Bytes NEW_CRC_DATE =
    hex("40420F00 EFBE0000") + text("Mar  1 2021") + u8(0) + text("01:02:03") + zeroes(3) + u8(1);

Bytes oldCrcDate(unsigned crc, const std::string& date, const std::string& time) {
    return le16(crc) + text(date) + zeroes(15 - date.size()) + text(time) +
           zeroes(14 - time.size()) + u8(0);
}

} // namespace

TEST_F(JSONExport, IsAnEmptyObjectWithoutAConnection) {
    EXPECT_EQ(exported(), "{}");
}

TEST_F(JSONExport, WritesTheWholeDocumentOfProtocol31UnderAnyLocale) {
    greet(peer, Generation::V31, dataFile("export-3.1.ini"), {});
    serveMeasure(12, 0,
                 le16(3012) + hex("0200") + le32(100) + le32(60000) + le32(1000) + le32(2) +
                     le32(static_cast<std::uint32_t>(-50000)) + le32(5));
    serveMeasure(12, 1,
                 le16(3011) + hex("0400") + le32(0) + le32(123456789) + le32(7) + le32(2) +
                     le32(0) + le32(1));
    serveId(15, 0, 0xFFFFFFFF);
    open();

    // one flag beyond what the text of a mask in RAM has room for
    const Bytes flags = u8(1) + zeroes(255) + u8(255);
    serveBackPanel(1, flags, zeroes(257));
    serveBackPanel(0, flags, flags);
    serveInfo(11, 0, NEW_CRC_DATE);
    serveInfo(12, 0, oldCrcDate(9, "another", "date")); // what was told at first holds
    serveId(12, 0, 0x100000012);
    expectBoard(15, 0, 70, {})
        .answer(ANSWER_BOARD, zeroes(12) + hex("0F00 0046 004E 0004 00001513"));
    const ForeignLocale foreign;
    expectDocument("export-3.1.txt");
}

TEST_F(JSONExport, AsksNoInactiveBoardAndNoCompleteOneEvenIfNothingIsChecked) {
    greet(peer, Generation::V31,
          "[UPB00]\nprotocol_version = 3.1\nuid = 1\ncrc = 2\nbd = then\n[BKP]\n"
          "snt_chr = 1111-0000-1111\n[SNT00]\nuid = 3\ncrc = 4\n[SNT01]\nnb_synth = 4\n"
          "[SNT02]\nuid = 5\nbd = then\n",
          {});
    open();
    fus().setSecureMode(false);
    serveBackPanel(1, {}, {});
    serveBackPanel(0, {}, {});
    serveInfo(11, 0, NEW_CRC_DATE);
    serveInfo(11, 2, NEW_CRC_DATE);
    const std::string document = exported();
    EXPECT_TRUE(peer.settle());
    EXPECT_NE(document.find("\"fwCRC\": 4,"), std::string::npos) << document;
    EXPECT_NE(document.find("\"fwBuildTime\": \"Mar  1 2021 01:02:03\""), std::string::npos);
    EXPECT_NE(document.find("\"fwCRC\": 48879,"), std::string::npos);
}

TEST_F(JSONExport, WritesTheWholeDocumentOfProtocol30) {
    greet(peer, Generation::V30, dataFile("export-3.0.ini"), {});
    serveMeasure(10, 0,
                 le16(3010) + hex("0200") + le32(1) + le32(9) + le32(2) + le32(2) + le32(0) +
                     le32(1));
    open();
    serveInfo(10, 0, oldCrcDate(0x1234, "Feb 29 2020", "12:34:56"));
    serveInfo(11, 1, zeroes(31)); // one byte short; the board that comes first is at address 1
    expectDocument("export-3.0.txt");
}

TEST_F(JSONExport, WritesTheWholeDocumentOfProtocol25) {
    peer.sendIni(dataFile("export-2.5.ini"));
    open();
    serveInfo(11, 0, oldCrcDate(0xABCD, "Jan  2 2012", "10:11:12"));
    expectBoard(11, 1, 70, {}).answer(ANSWER_ERROR);
    expectBoard(12, 0, 70, {}).answer(ANSWER_BOARD, zeroes(12));
    serveInfo(15, 0, oldCrcDate(7, "May  6 2013", "07:08:09"));
    expectDocument("export-2.5.txt");
}

TEST_F(JSONExport, GoesOnWhereTheBackPanelOrABoardDoesNotAnswerInTime) {
    connectTwoBoards();
    fus().setDefaultAnswerTimeout(200);
    const auto asked = static_cast<std::size_t>(commandsOfConnect(Generation::V31) - 4);
    peer.expect(CMD_BACKPANEL_CONFIG).expect(CMD_BACKPANEL_CONFIG);
    expectBoard(11, 0, 70, {});
    // the late answer is there before the next board's
    peer.expect(CMD_BOARD_CMD)
        .answerTo(asked + 2, ANSWER_BOARD, success(11, 0, 70, VERSIONS))
        .answer(ANSWER_BOARD, success(11, 1, 70, VERSIONS));
    serve(11, 1, 73, zeroes(8), NEW_CRC_DATE);
    const std::string document = exported();
    EXPECT_NE(document.find("\"ram.AMP\": \"\""), std::string::npos);
    const std::size_t silent = document.find("\"uid\": 3,");
    const std::size_t told = document.find("\"uid\": 4,");
    ASSERT_LT(silent, told);
    EXPECT_LT(document.find("\"fwCRC\": 0,", silent), told);
    EXPECT_NE(document.find("\"fwCRC\": 48879,", told), std::string::npos);
}

TEST_F(JSONExport, TellsALinkThatBreaksInTheMiddle) {
    const std::function<void(ScriptedPeer&)> breaks[] = {
        [](ScriptedPeer& p) { p.expect(CMD_BACKPANEL_CONFIG).cut(); },
        [](ScriptedPeer& p) {
            // the last thing that is asked
            p.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_ERROR);
            p.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_ERROR);
            p.expect(CMD_BOARD_CMD).answer(ANSWER_ERROR);
            p.expect(CMD_BOARD_CMD).cut();
        },
    };
    for (const auto& breakLink : breaks) {
        connectTwoBoards();
        breakLink(peer);
        EXPECT_EQ(faultOf([&] { exported(); }).substr(0, 17), "ERR_NOT_CONNECTED");
        fus().disconnect();
    }
}

TEST_F(JSONExport, EndsWhenAnotherThreadDisconnects) {
    connectTwoBoards();
    const Latch asked;
    peer.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_ERROR);
    peer.expect(CMD_BACKPANEL_CONFIG).answer(ANSWER_ERROR);
    peer.expect(CMD_BOARD_CMD).tell(asked);
    std::string fault;
    std::thread exporter([&] { fault = faultOf([&] { exported(); }); });
    EXPECT_TRUE(asked.wait());
    fus().disconnect();
    exporter.join();
    EXPECT_EQ(fault.substr(0, 17), "ERR_NOT_CONNECTED");
}
