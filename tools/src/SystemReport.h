#pragma once

#include "Arguments.h"
#include "SystemInfo.h"

#include <ostream>

namespace fus::tool {

/// For people. Boards that are alike share a line, unless each is asked for.
void printReport(const SystemInfo& info, const Address& address, bool eachBoard, std::ostream& out);

/// For programs: one JSON object.
void writeJsonReport(const SystemInfo& info, const Address& address, std::ostream& out);

} // namespace fus::tool
