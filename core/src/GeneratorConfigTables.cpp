#include "fus/P_GeneratorConfigTables.h"

namespace fus {

const char* countName(unsigned index) {
    return index < COUNT_TOTAL ? COUNTS[index].name : "NB_???";
}

const char* timingName(unsigned index) {
    return index < TIMING_TOTAL ? TIMINGS[index].name : "TIME_???";
}

} // namespace fus
