// fus-tool check: what is wrong in definitions, and what is connected otherwise than they say.

#include "CheckReport.h"
#include "Commands.h"
#include "Errors.h"
#include "Link.h"
#include "Text.h"
#include "WholeFile.h"

#include "fus/Checksum.h"
#include "fus/DefinitionComparison.h"
#include "fus/FUSException.h"
#include "fus/Generator.h"
#include "fus/Mechanics.h"

#include <algorithm>
#include <memory>

namespace fus::tool {

namespace {

using Finding = DefinitionCheck::Finding;

DefinitionCheck::Kind askedKind(const Arguments& arguments) {
    const std::string name = arguments.value("--kind");
    if (!arguments.has("--kind")) {
        return DefinitionCheck::KIND_UNKNOWN;
    }
    if (name == "generator") {
        return DefinitionCheck::KIND_GENERATOR;
    }
    if (name == "mechanics") {
        return DefinitionCheck::KIND_MECHANICS;
    }
    throw UsageError("--kind: '" + printable(name) + "' isn't generator or mechanics");
}

std::string textOf(const Message& message) {
    return message.size() == 0 ? "" : std::string(message.c_str(), message.size());
}

/// Forgets a definition on every way out.
template <class Loader>
class Loaded {
public:
    Loaded(Loader& loader, const std::string& file) : m_loader(loader) {
        if (!loader.loadDefinition(file.c_str())) {
            throw ToolError("the file was changed by somebody else meanwhile");
        }
    }
    ~Loaded() { m_loader.clearDefinition(); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

private:
    Loader& m_loader;
};

// Loaded behind the connect, which would apply it.
std::vector<Finding> differencesOfGenerator(const Link& link, const std::string& file) {
    const Loaded<Generator> loaded(link.generator(), file);
    return DefinitionComparison::ofGenerator(link.fus());
}

std::vector<Finding> differencesOfMechanics(const Link& link, const std::string& file) {
    const Loaded<Mechanics> loaded(link.fus().getMechanics(), file);
    return DefinitionComparison::ofMechanics(link.fus());
}

/// A file and its check, which knows the lines.
class CheckedFile {
public:
    CheckedFile(const std::string& file, DefinitionCheck::Kind kind) {
        m_report.file = file;
        try {
            const std::string bytes = readWholeFile(file, DefinitionCheck::MAX_SIZE);
            m_check.checkText(bytes.data(), bytes.size(), kind);
            m_report.kind = m_check.kind();
            m_report.isLoadable = m_check.isLoadable();
            m_report.findings = m_check.findings();
            if (m_report.kind != DefinitionCheck::KIND_UNKNOWN) {
                checkChecksum(bytes);
            }
        } catch (const ToolError& error) {
            const std::string name = printable(file) + ": ";
            add(DefinitionCheck::SEVERITY_ERROR, "", "",
                std::string(error.what()).substr(name.size()));
        }
    }

    const CheckReport& report() const { return m_report; }

    void compare(const Link& link) {
        if (!m_report.isLoadable) {
            return;
        }
        try {
            take(m_report.kind == DefinitionCheck::KIND_GENERATOR
                     ? differencesOfGenerator(link, m_report.file)
                     : differencesOfMechanics(link, m_report.file));
            m_report.comparedWith = link.address().text();
        } catch (const FUSException& error) {
            breakOff(error.message());
        } catch (const ToolError& error) {
            breakOff(error.what());
        }
    }

private:
    /// Without one there is nothing wrong, but something to be noted.
    void checkChecksum(const std::string& bytes) {
        Checksum checksum;
        checksum.loadData(bytes.data(), bytes.size());
        if (checksum.compute(false) != Checksum::VALIDATION_OK) {
            return; // there is nothing in it
        }
        if (checksum.getFileFormat() == Checksum::FORMAT_NONE) {
            m_report.checksum = ChecksumState::NONE;
        } else if (checksum.isChecksumOk()) {
            m_report.checksum = ChecksumState::RIGHT;
        } else {
            m_report.checksum = ChecksumState::WRONG;
            const bool isHeader = checksum.getFileFormat() == Checksum::FORMAT_HEADER;
            add(DefinitionCheck::SEVERITY_ERROR, isHeader ? "" : "File", "checksum",
                "'" + printable(textOf(checksum.getExtractedChecksum())) +
                    "' is wrong, the content has " + textOf(checksum.getComputedChecksum()) +
                    ": it was changed since");
        }
    }

    void breakOff(const std::string& why) {
        add(DefinitionCheck::SEVERITY_ERROR, "", "", "the comparison broke off: " + why);
    }

    void take(const std::vector<Finding>& differences) {
        for (const Finding& difference : differences) {
            add(difference.severity, difference.section, difference.key, difference.text);
        }
    }

    void add(DefinitionCheck::Severity severity, const std::string& section, const std::string& key,
             const std::string& text) {
        m_report.findings.push_back({severity, m_check.lineOf(section, key), section, key, text});
    }

    DefinitionCheck m_check;
    CheckReport m_report;
};

void compareAll(const Arguments& arguments, std::vector<std::unique_ptr<CheckedFile>>& files) {
    const Link link(arguments, arguments.value("--host"));
    for (const auto& file : files) {
        file->compare(link);
    }
}

/// Whether all are good, and all that was asked for was done.
bool printAll(const Arguments& arguments, const std::vector<std::unique_ptr<CheckedFile>>& files,
              bool isComplete, std::ostream& out) {
    std::vector<CheckReport> reports;
    bool good = isComplete;
    for (const auto& file : files) {
        reports.push_back(file->report());
        good = good && reports.back().isGood(arguments.has("--strict"));
    }
    if (arguments.has("--json")) {
        writeJsonReports(reports, good, out);
    } else {
        std::for_each(reports.begin(), reports.end(),
                      [&](const CheckReport& report) { printReport(report, out); });
    }
    return good;
}

} // namespace

int runCheck(const Arguments& arguments, Console& console) {
    const DefinitionCheck::Kind kind = askedKind(arguments);
    if (arguments.has("--timeout") && !arguments.has("--host")) {
        throw UsageError("--timeout goes with --host");
    }
    std::vector<std::unique_ptr<CheckedFile>> files;
    for (const std::string& file : arguments.operands()) {
        files.push_back(std::make_unique<CheckedFile>(file, kind));
    }
    if (arguments.has("--host")) {
        try {
            compareAll(arguments, files);
        } catch (
            const ToolError&) { // no generator: what is known of the files is told all the same
            printAll(arguments, files, false, console.out);
            throw;
        }
    }
    return printAll(arguments, files, true, console.out) ? EXIT_YES : EXIT_NO;
}

} // namespace fus::tool
