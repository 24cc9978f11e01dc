#include "support/SystemNumbers.h"

namespace fus::test {

const SystemNumbers SYSTEM_NUMBERS = {
    1,
    "Windows",
    "Windows [\\w?.]+( or [\\w ]+)? \\(\\d+\\.\\d+\\.\\d+\\.\\d+\\) 64bits",
    10060, // timedOut
    10035, // wouldBlock
    10058, // shut
    10057, // notConnected
    10048, // addressInUse
    10061, // refused
    10038, // notASocket
    10014, // badAddress
    10036, // busy
    {10052, 10053, 10054, 10057, 10058, 10060},
    true,
};

} // namespace fus::test
