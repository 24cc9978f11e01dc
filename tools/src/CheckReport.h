#pragma once

#include "Console.h"

#include "fus/DefinitionCheck.h"

#include <ostream>
#include <string>
#include <vector>

namespace fus::tool {

/// How the checksum of a definition stands.
enum class ChecksumState { UNKNOWN, NONE, RIGHT, WRONG };

/// What was found in a file, and between it and the connected hardware.
struct CheckReport {
    std::string file;
    DefinitionCheck::Kind kind = DefinitionCheck::KIND_UNKNOWN;
    bool isLoadable = false;
    ChecksumState checksum = ChecksumState::UNKNOWN;
    std::vector<DefinitionCheck::Finding> findings;
    std::string comparedWith; ///< the generator's address; empty: not compared

    std::size_t count(DefinitionCheck::Severity severity) const;
    /// Whether nothing is wrong; `strict` takes warnings for errors.
    bool isGood(bool strict) const;
};

/// "FILE:LINE: error: ..." for each finding, what there is to be noted, and a line that sums up.
void printReport(const CheckReport& report, std::ostream& out);

void writeJsonReports(const std::vector<CheckReport>& reports, bool ok, std::ostream& out);

} // namespace fus::tool
