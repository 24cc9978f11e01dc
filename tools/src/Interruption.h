#pragma once

#include <csignal>

namespace fus::tool {

/// While it lives, Ctrl-C, a request to terminate and a terminal that goes are noted instead of
/// ending the program. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether one has come since this began.
    static bool hasCome();

private:
    using Handler = void (*)(int);

    const Handler m_formerInterrupt;
    const Handler m_formerTerminate;
    const Handler m_formerHangUp;
};

} // namespace fus::tool
