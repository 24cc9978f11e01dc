#include "Interruption.h"

#include <atomic>

namespace fus::tool {

namespace {

std::atomic<bool> g_come{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch such a one");

void onSignal(int signal) {
    g_come = true;
    std::signal(signal, &onSignal); // where the system has set it back
}

void restore(int signal, void (*handler)(int)) {
    std::signal(signal, handler == SIG_ERR ? SIG_DFL : handler);
}

} // namespace

Interruption::Interruption()
    : m_formerInterrupt(std::signal(SIGINT, &onSignal)),
      m_formerTerminate(std::signal(SIGTERM, &onSignal)) {
    g_come = false;
}

Interruption::~Interruption() {
    restore(SIGINT, m_formerInterrupt);
    restore(SIGTERM, m_formerTerminate);
}

bool Interruption::hasCome() {
    return g_come;
}

} // namespace fus::tool
