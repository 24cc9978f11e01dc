#pragma once

#include <vector>

namespace fus::test {

/// What a system calls itself, and the numbers that it gives to the errors of sockets, written out
/// by hand. The build picks the source of its system.
struct SystemNumbers {
    int type;
    const char* name;
    const char* systemName; ///< a regular expression

    int timedOut;
    int wouldBlock;
    int shut;
    int notConnected;
    int addressInUse;
    int refused;
    int notASocket;
    int badAddress;
    int busy;
    std::vector<int> lost; ///< all that mean the loss of a connection

    /// Whether a peer that closes with bytes unread may seem to end the stream in order: Wine lets
    /// it, as Windows itself doesn't.
    bool resetMayLookLikeAnEnd;
};

extern const SystemNumbers SYSTEM_NUMBERS;

} // namespace fus::test
