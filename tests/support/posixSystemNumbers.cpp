#include "support/SystemNumbers.h"

namespace fus::test {

const SystemNumbers SYSTEM_NUMBERS = {
    2,
    "Linux",
    "Linux( .+)? \\(.+\\) 64bits",
    110, // timedOut
    11,  // wouldBlock
    32,  // shut
    107, // notConnected
    98,  // addressInUse
    111, // refused
    9,   // notASocket
    14,  // badAddress
    115, // busy
    {102, 103, 104, 107, 108, 110, 32},
    false,
};

} // namespace fus::test
