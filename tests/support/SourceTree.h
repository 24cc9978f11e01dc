#pragma once

#include <string>

namespace fus::test {

/// The root of the repository that these tests were built from, for the files that they read.
std::string sourceTree();

} // namespace fus::test
