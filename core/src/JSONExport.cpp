#include "fus/P_JSONExport.h"

#include "fus/FUSException.h"
#include "fus/P_Connection.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LocalTime.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <locale>
#include <sstream>

namespace fus {

using namespace gprotocol;

namespace {

constexpr std::size_t RAM_MASK_LENGTH = 255; // of the text; there is no such limit in FLASH

std::string tabs(unsigned count) {
    return std::string(count, '\t');
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string quoted(const Version& version) {
    return quoted(version.toString());
}

/// "0x00AB", in quotes.
std::string quotedHex(std::uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, static_cast<unsigned>(value));
    return quoted(text);
}

std::string quoted(const Mask1D& mask, std::size_t longest) {
    std::string text(std::min(mask.size(), longest) + 1, '\0');
    text.resize(mask.toString(text.data(), text.size()));
    return quoted(text);
}

std::string quoted(const Mask1D& mask) {
    return quoted(mask, mask.size());
}

std::string timestamp() {
    LocalTime now;
    now.readClock();
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", now.year, now.month + 1,
                  now.day + 1, now.hour, now.minute, now.second, now.millisecond);
    return text;
}

// --- boards: a row for each key, in their order --------------------------------------------------

/// A board, with what it told only when it was asked.
struct BoardFacts {
    const PrivateBoard& board;
    std::uint32_t uniqueID;
    std::uint32_t crc;
    std::string buildTime;

    bool isComplete() const { return uniqueID != 0 && crc != 0 && !buildTime.empty(); }
};

template <class Record>
struct Row {
    const char* key;
    void (*write)(std::ostream& out, const Record& record);
};

using Out = std::ostream&;

constexpr Row<BoardFacts> BOARD_ROWS[] = {
    {"uid", [](Out out, const BoardFacts& f) { out << f.uniqueID; }},
    {"uid0x", [](Out out, const BoardFacts& f) { out << quotedHex(f.uniqueID, 4); }},
    {"type",
     [](Out out, const BoardFacts& f) {
         out << quoted(BOARD_SHORT_NAMES[hardwareIDToBoardType(f.board.hwid)]);
     }},
    {"hwVersion", [](Out out, const BoardFacts& f) { out << quoted(f.board.hardwareVersion); }},
    {"fwVersion", [](Out out, const BoardFacts& f) { out << quoted(f.board.firmwareVersion); }},
    {"fwCRC", [](Out out, const BoardFacts& f) { out << f.crc; }},
    {"fwCRC0x", [](Out out, const BoardFacts& f) { out << quotedHex(f.crc, 8); }},
    {"fwRepoHash", [](Out out, const BoardFacts& f) { out << quoted(f.board.revisionHash); }},
    {"fwBuildTime", [](Out out, const BoardFacts& f) { out << quoted(f.buildTime); }},
    {"slot", [](Out out, const BoardFacts& f) { out << f.board.address; }},
    {"active", [](Out out, const BoardFacts& f) { out << f.board.active; }},
};

constexpr Row<PrivateBoardUPB> UPB_ROWS[] = {
    {"buffers", [](Out out, const PrivateBoardUPB& b) { out << b.bufferCount; }},
    {"bufferSize", [](Out out, const PrivateBoardUPB& b) { out << b.bufferMaxSize; }},
    {"hasTriggerIn", [](Out out, const PrivateBoardUPB& b) { out << b.hasTriggerInput; }},
    {"hasMultiplexer", [](Out out, const PrivateBoardUPB& b) { out << b.hasMultiplexer; }},
};

constexpr Row<PrivateBoardSNT> SNT_ROWS[] = {
    {"hasHWShotDuration",
     [](Out out, const PrivateBoardSNT& b) { out << b.hasHardwareShotDuration; }},
    {"hasWatchdogErrorDetection",
     [](Out out, const PrivateBoardSNT& b) { out << b.hasWatchdogErrorDetection; }},
    {"channelMask", [](Out out, const PrivateBoardSNT& b) { out << quoted(b.channelMask); }},
};

constexpr Row<PrivateBoardAMP> AMP_ROWS[] = {
    {"hasHWShotDuration",
     [](Out out, const PrivateBoardAMP& b) { out << b.hasHardwareShotDuration; }},
    {"hasPowerSupplyControl",
     [](Out out, const PrivateBoardAMP& b) { out << b.hasPowerSupplyControl; }},
    {"channelMask", [](Out out, const PrivateBoardAMP& b) { out << quoted(b.channelMask); }},
};

float physicalValue(const PrivateMeasure& measure, std::uint32_t adc) {
    return evaluatePolynomial(measure.ADCToUnit, static_cast<float>(adc));
}

constexpr Row<PrivateMeasure> MEASURE_ROWS[] = {
    {"name", [](Out out, const PrivateMeasure& m) { out << quoted(m.name); }},
    {"bytes", [](Out out, const PrivateMeasure& m) { out << m.size; }},
    {"unit", [](Out out, const PrivateMeasure& m) { out << quoted(unitName(m.unit)); }},
    {"minADC", [](Out out, const PrivateMeasure& m) { out << m.lowerThreshold; }},
    {"maxADC", [](Out out, const PrivateMeasure& m) { out << m.upperThreshold; }},
    {"minUnit",
     [](Out out, const PrivateMeasure& m) { out << physicalValue(m, m.lowerThreshold); }},
    {"maxUnit",
     [](Out out, const PrivateMeasure& m) { out << physicalValue(m, m.upperThreshold); }},
};

// --- the document --------------------------------------------------------------------------------

/// Every step takes the description anew from the connection, which throws when the link is lost:
/// what the board reads swallow is told there.
class JSONExport {
public:
    explicit JSONExport(Connection& connection) : m_connection(connection) {
        // whatever the program's locale is: no separators of thousands, no decimal comma
        m_out.imbue(std::locale::classic());
        m_out << std::boolalpha;
    }

    std::string text() {
        m_out << "{\n";
        writeLink();
        writeBackPanel();
        writeBoards();
        writeText();
        m_out << "}\n";
        return m_out.str();
    }

private:
    template <class Value>
    void entry(unsigned level, const std::string& key, const Value& value) {
        m_out << tabs(level) << quoted(key) << ": " << value << ",\n";
    }

    void open(unsigned level, const char* key, char bracket) {
        m_out << tabs(level) << quoted(key) << ": " << bracket << "\n";
    }

    void writeLink();
    void writeBackPanel();
    void writeMasks(const std::string& name, BackPanelStorage source, std::size_t longest);
    void writeBoards();
    void writeBoardsOf(unsigned hwid);
    void writeBoard(const BoardFacts& facts);
    void writeByType(const PrivateBoard& board);
    void writeMeasures(const char* key, const MeasureList& measures);
    void writeText();
    BoardFacts factsOf(const PrivateBoard& board, unsigned index);
    void askBoard(BoardFacts& facts, unsigned address);

    template <class Record, std::size_t N>
    void writeRows(const Row<Record> (&rows)[N], const Record& record) {
        for (const Row<Record>& row : rows) {
            writeKey(row.key);
            row.write(m_out, record);
        }
    }

    // Of a board's object. The comma stands in front, as any key may be the last.
    void writeKey(const char* key) {
        m_out << m_separator << tabs(4) << quoted(key) << ": ";
        m_separator = ",\n";
    }

    Connection& m_connection;
    std::ostringstream m_out;
    const char* m_separator = "";
};

void JSONExport::writeLink() {
    const GeneratorConfig& config = m_connection.config();
    entry(1, "timestamp", quoted(timestamp()));
    entry(1, "host", quoted(m_connection.peerAddress()));
    entry(1, "port", m_connection.peerPort());
    entry(1, "protocol", quoted(config.protocolVersion()));
    if (config.generatorType() != GEN_UNKNOWN) {
        entry(1, "simulator", config.generatorType() == GEN_SIMULATOR);
    }
}

void JSONExport::writeBackPanel() {
    open(1, "backpanel", '{');
    writeMasks("flash", BKP_FLASH, std::string::npos);
    writeMasks("ram", BKP_RAM, RAM_MASK_LENGTH);
    m_out << "\t},\n";
}

void JSONExport::writeMasks(const std::string& name, BackPanelStorage source, std::size_t longest) {
    Mask1D snt;
    Mask1D amp;
    try {
        m_connection.readBackPanelConfiguration(snt, amp, source);
    } catch (const FUSException&) {
        snt.clear();
        amp.clear();
    }
    entry(2, name + ".SNT", quoted(snt, longest));
    entry(2, name + ".AMP", quoted(amp, longest));
}

void JSONExport::writeBoards() {
    open(1, "boards", '{');
    for (unsigned type = 0; type < BOARD_TYPE_COUNT; ++type) {
        open(2, BOARD_SHORT_NAMES[type], '[');
        writeBoardsOf(boardTypeToHardwareID(type));
        m_out << "\t\t],\n";
    }
    const GeneratorConfig& config = m_connection.config();
    unsigned detected = 0;
    unsigned active = 0;
    for (unsigned type = 0; type < BOARD_TYPE_COUNT; ++type) {
        detected += config.boardCount(boardTypeToHardwareID(type));
        active += config.getCount(BOARDS_IN_USE[type]);
    }
    entry(2, "detected", detected);
    entry(2, "active", active);
    m_out << "\t},\n";
}

void JSONExport::writeBoardsOf(unsigned hwid) {
    const unsigned count = m_connection.config().boardCount(hwid);
    for (unsigned i = 0; i < count; ++i) {
        m_out << "\t\t\t{\n";
        writeBoard(factsOf(m_connection.config().boardAt(hwid, i), i));
        m_out << "\n\t\t\t}" << (i + 1 < count ? "," : "") << "\n";
    }
}

BoardFacts JSONExport::factsOf(const PrivateBoard& board, unsigned index) {
    BoardFacts facts{board, board.uniqueID, board.CRC, board.buildTime};
    if (board.active && !facts.isComplete()) {
        const bool isV3 = m_connection.config().protocolNumber() >= PROTOCOL_V3_PARAMETERS;
        askBoard(facts, isV3 ? board.address : index);
    }
    return facts;
}

void JSONExport::askBoard(BoardFacts& facts, unsigned address) {
    try {
        const BoardType type = hardwareIDToBoardType(facts.board.hwid);
        const BoardInfo info = m_connection.readBoardInfo(type, address);
        if (facts.crc == 0) {
            facts.crc = info.firmwareCRC();
        }
        if (facts.buildTime.empty()) {
            facts.buildTime = info.firmwareDatetime();
        }
        if (facts.uniqueID == 0) {
            facts.uniqueID = static_cast<std::uint32_t>(
                m_connection.readBoardParam(facts.board.hwid, address, BPARAM_ALL_UID));
        }
    } catch (const FUSException&) {
        // what the board doesn't tell stays as it was
    }
}

void JSONExport::writeBoard(const BoardFacts& facts) {
    m_separator = "";
    writeRows(BOARD_ROWS, facts);
    writeMeasures("boardMeasures", facts.board.boardMeasures);
    writeByType(facts.board);
}

void JSONExport::writeByType(const PrivateBoard& board) {
    switch (board.hwid) {
    case HWID_PROCESSOR:
        writeRows(UPB_ROWS, static_cast<const PrivateBoardUPB&>(board));
        break;
    case HWID_SYNTHESIZER:
        writeRows(SNT_ROWS, static_cast<const PrivateBoardSNT&>(board));
        break;
    case HWID_AMPLIFIER: {
        const auto& amplifier = static_cast<const PrivateBoardAMP&>(board);
        writeRows(AMP_ROWS, amplifier);
        writeMeasures("channelMeasures", amplifier.channelMeasures);
        break;
    }
    default: // there is nothing more to tell of a mechanical board
        break;
    }
}

void JSONExport::writeMeasures(const char* key, const MeasureList& measures) {
    if (measures.empty()) {
        return;
    }
    writeKey(key);
    m_out << "[";
    const char* separator = "\n";
    for (const auto& measure : measures) {
        m_out << separator << tabs(5) << "{ ";
        const char* comma = "";
        for (const auto& row : MEASURE_ROWS) {
            m_out << comma << " " << quoted(row.key) << ": ";
            row.write(m_out, *measure);
            comma = ",";
        }
        m_out << " }";
        separator = ",\n";
    }
    m_out << "\n" << tabs(4) << "]";
}

void JSONExport::writeText() {
    open(1, "INI", '[');
    writeTextLines(m_out, m_connection.config().iniText());
    m_out << "\t]\n";
}

} // namespace

std::string exportJSON(Connection& connection) {
    return JSONExport(connection).text();
}

} // namespace fus
