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

#ifdef SIGHUP
constexpr int HANG_UP = SIGHUP;
#else
constexpr int HANG_UP = SIGTERM; // a system that tells it in no other way
#endif

/// One that shall not matter (as under nohup) stays so.
void (*listenForHangUp())(int) {
    const auto former = std::signal(HANG_UP, &onSignal);
    if (HANG_UP != SIGTERM && former == SIG_IGN) {
        std::signal(HANG_UP, SIG_IGN);
    }
    return former;
}

void restore(int signal, void (*handler)(int)) {
    std::signal(signal, handler == SIG_ERR ? SIG_DFL : handler);
}

} // namespace

Interruption::Interruption()
    : m_formerInterrupt(std::signal(SIGINT, &onSignal)),
      m_formerTerminate(std::signal(SIGTERM, &onSignal)), m_formerHangUp(listenForHangUp()) {
    g_come = false;
}

Interruption::~Interruption() {
    restore(HANG_UP, m_formerHangUp);
    restore(SIGINT, m_formerInterrupt);
    restore(SIGTERM, m_formerTerminate);
}

bool Interruption::hasCome() {
    return g_come;
}

} // namespace fus::tool
