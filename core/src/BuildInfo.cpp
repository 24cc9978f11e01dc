#include "BuildInfo.h"

#include "fus/Utilities.h"

namespace fus {

const char* buildVersion() {
    return FUS_BUILD_VERSION;
}

const char* buildRevision() {
    return FUS_BUILD_REVISION;
}

const char* buildDate() {
    return FUS_BUILD_DATE;
}

const char* buildConfig() {
    return FUS_BUILD_CONFIG;
}

unsigned buildTimestamp() {
    return FUS_BUILD_TIMESTAMP;
}

} // namespace fus
