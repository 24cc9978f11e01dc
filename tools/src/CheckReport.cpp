#include "CheckReport.h"

#include "JsonWriter.h"
#include "Text.h"

#include <algorithm>

namespace fus::tool {

namespace {

using Finding = DefinitionCheck::Finding;

struct KindRow {
    DefinitionCheck::Kind kind;
    const char* words;
    const char* name; ///< null in JSON
};
constexpr KindRow KINDS[] = {
    {DefinitionCheck::KIND_UNKNOWN, "no definition", nullptr},
    {DefinitionCheck::KIND_GENERATOR, "definition of a generator", "generator"},
    {DefinitionCheck::KIND_MECHANICS, "definition of a mechanical system", "mechanics"},
};

struct ChecksumRow {
    ChecksumState state;
    const char* words;
    const char* name; ///< null in JSON
};
constexpr ChecksumRow CHECKSUMS[] = {
    {ChecksumState::UNKNOWN, "", nullptr},
    {ChecksumState::NONE, "", "none"}, // which is noted

    {ChecksumState::RIGHT, "; checksum right", "right"},
    {ChecksumState::WRONG, "; checksum wrong", "wrong"},
};

const ChecksumRow& rowOf(ChecksumState state) {
    return CHECKSUMS[static_cast<std::size_t>(state)];
}

const char* nameOf(DefinitionCheck::Severity severity) {
    return severity == DefinitionCheck::SEVERITY_ERROR ? "error" : "warning";
}

/// "[config] port: ", as far as it is known.
std::string placeOf(const Finding& finding) {
    const std::string section = finding.section.empty() ? "" : "[" + finding.section + "]";
    const std::string place =
        section + (section.empty() || finding.key.empty() ? "" : " ") + finding.key;
    return place.empty() ? "" : place + ": ";
}

std::string countsOf(const CheckReport& report) {
    const std::size_t errors = report.count(DefinitionCheck::SEVERITY_ERROR);
    const std::size_t warnings = report.count(DefinitionCheck::SEVERITY_WARNING);
    if (errors + warnings == 0) {
        return "good";
    }
    return counted(errors, "error", "errors") + ", " + counted(warnings, "warning", "warnings");
}

std::string summaryOf(const CheckReport& report) {
    std::string text = std::string(KINDS[report.kind].words) + ": " + countsOf(report);
    if (report.kind != DefinitionCheck::KIND_UNKNOWN) {
        text += report.isLoadable ? "; it loads" : "; it does not load";
    }
    text += rowOf(report.checksum).words;
    return text + (report.comparedWith.empty() ? "" : "; compared with " + report.comparedWith);
}

void writeName(JsonWriter& json, const char* key, const char* name) {
    json.key(key);
    if (name == nullptr) {
        json.null();
    } else {
        json.value(name);
    }
}

void write(JsonWriter& json, const Finding& finding) {
    json.beginObject()
        .member("severity", nameOf(finding.severity))
        .member("line", finding.line)
        .member("section", finding.section)
        .member("key", finding.key)
        .member("text", finding.text)
        .endObject();
}

void write(JsonWriter& json, const CheckReport& report) {
    json.beginObject().member("file", report.file);
    writeName(json, "kind", KINDS[report.kind].name);
    json.member("loads", report.isLoadable);
    writeName(json, "checksum", rowOf(report.checksum).name);
    writeName(json, "comparedWith",
              report.comparedWith.empty() ? nullptr : report.comparedWith.c_str());
    json.key("findings").beginArray();
    for (const Finding& finding : report.findings) {
        write(json, finding);
    }
    json.endArray().endObject();
}

} // namespace

std::size_t CheckReport::count(DefinitionCheck::Severity severity) const {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding& finding) { return finding.severity == severity; }));
}

bool CheckReport::isGood(bool strict) const {
    return strict ? findings.empty() : count(DefinitionCheck::SEVERITY_ERROR) == 0;
}

void printReport(const CheckReport& report, std::ostream& out) {
    const std::string file = printable(report.file);
    for (const Finding& finding : report.findings) {
        out << file << (finding.line == 0 ? "" : ":" + std::to_string(finding.line)) << ": "
            << nameOf(finding.severity) << ": " << placeOf(finding) << printable(finding.text)
            << '\n';
    }
    if (report.checksum == ChecksumState::NONE) {
        out << file << ": note: no checksum (fus-tool checksum update adds one)\n";
    }
    out << file << ": " << summaryOf(report) << '\n';
}

void writeJsonReports(const std::vector<CheckReport>& reports, bool ok, std::ostream& out) {
    JsonWriter json(out, 2);
    json.beginObject().member("ok", ok).key("files").beginArray();
    for (const CheckReport& report : reports) {
        write(json, report);
    }
    json.endArray().endObject();
    out << '\n';
}

} // namespace fus::tool
