// The monitor where there is no terminal.

#include "MonitorOutput.h"

#include "JsonWriter.h"
#include "MonitorPicture.h"
#include "Text.h"

#include <algorithm>

namespace fus::tool {

namespace {

constexpr std::size_t TIME_WIDTH = 19; // "2020-01-31T16:38:03"
constexpr std::size_t LEAST_WIDTH = 7;

class LineOutput : public MonitorOutput {
public:
    explicit LineOutput(Console& console) : m_out(console.out) {}

    void show(const Reading& reading) override {
        if (m_widths.empty()) {
            printHead(reading);
        }
        std::vector<std::string> cells;
        for (const BoardReading& board : reading.boards) {
            for (const Value& value : board.values) {
                cells.push_back(
                    value.verdict == Verdict::UNREAD ? "-" : numberText(value.value, value.unit));
            }
        }
        print(reading.time, cells, remark(reading));
    }

private:
    /// Names, and the thresholds of each value.
    void printHead(const Reading& reading) {
        std::vector<std::string> names;
        std::vector<std::string> lower;
        std::vector<std::string> upper;
        for (const BoardReading& board : reading.boards) {
            for (const Value& value : board.values) {
                names.push_back(board.name() + '.' + value.name + '[' + value.unit + ']');
                lower.push_back(value.lower ? numberText(*value.lower, value.unit) : "-");
                upper.push_back(value.upper ? numberText(*value.upper, value.unit) : "-");
            }
        }
        for (const std::string& name : names) {
            m_widths.push_back(std::max(name.size(), LEAST_WIDTH));
        }
        print("# time", names, "remarks");
        print("# lower threshold", lower, "-");
        print("# upper threshold", upper, "-");
    }

    /// "ok", or what a person has to look at, without blanks: "AMP3.tem=HIGH,AMP5=reset".
    static std::string remark(const Reading& reading) {
        std::string text;
        for (std::string trouble : reading.troubles()) {
            std::replace(trouble.begin(), trouble.end(), ' ', '=');
            text += (text.empty() ? "" : ",") + trouble;
        }
        return text.empty() ? "ok" : text;
    }

    void print(const std::string& first, const std::vector<std::string>& cells,
               const std::string& last) {
        std::string line =
            first + std::string(TIME_WIDTH - std::min(first.size(), TIME_WIDTH), ' ');
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::size_t blanks = m_widths[i] - std::min(cells[i].size(), m_widths[i]);
            line += "  " + std::string(blanks, ' ') + cells[i];
        }
        m_out << line << "  " << last << '\n' << std::flush;
    }

    std::ostream& m_out;
    std::vector<std::size_t> m_widths;
};

class JsonOutput : public MonitorOutput {
public:
    explicit JsonOutput(Console& console) : m_out(console.out) {}

    void show(const Reading& reading) override {
        JsonWriter json(m_out);
        json.beginObject().member("time", reading.time).key("boards").beginArray();
        for (const BoardReading& board : reading.boards) {
            write(json, board);
        }
        json.endArray().key("remarks").beginArray();
        for (const std::string& trouble : reading.troubles()) {
            json.value(trouble);
        }
        json.endArray().endObject();
        m_out << '\n' << std::flush;
    }

private:
    static void writeOptional(JsonWriter& json, const char* name,
                              const std::optional<float>& number) {
        json.key(name);
        if (number) {
            json.value(*number);
        } else {
            json.null();
        }
    }

    static void write(JsonWriter& json, const Value& value) {
        const bool read = value.verdict != Verdict::UNREAD;
        json.beginObject().member("name", value.name).member("unit", value.unit);
        writeOptional(json, "value", read ? std::optional<float>(value.value) : std::nullopt);
        writeOptional(json, "lower", value.lower);
        writeOptional(json, "upper", value.upper);
        json.member("verdict", verdictText(value.verdict)).endObject();
    }

    static void write(JsonWriter& json, const BoardReading& board) {
        json.beginObject()
            .member("type", BOARD_NAMES[board.type])
            .member("address", board.address)
            .key("status");
        if (board.status) {
            json.value(*board.status);
        } else {
            json.null();
        }
        json.key("values").beginArray();
        for (const Value& value : board.values) {
            write(json, value);
        }
        json.endArray().endObject();
    }

    std::ostream& m_out;
};

} // namespace

std::unique_ptr<MonitorOutput> makeLineOutput(Console& console) {
    return std::make_unique<LineOutput>(console);
}

std::unique_ptr<MonitorOutput> makeJsonOutput(Console& console) {
    return std::make_unique<JsonOutput>(console);
}

} // namespace fus::tool
