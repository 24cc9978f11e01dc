#include "support/SourceTree.h"

namespace fus::test {

std::string sourceTree() {
    return FUS_TEST_SOURCE_DIR;
}

} // namespace fus::test
