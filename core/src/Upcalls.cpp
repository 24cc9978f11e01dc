#include "fus/P_Upcalls.h"

#include "fus/P_LogMacros.h"

#include <atomic>

namespace fus {

namespace {
std::atomic<Upcalls*> g_facade{nullptr};
}

Upcalls& upcalls() {
    Upcalls* const facade = g_facade;
    if (facade == nullptr) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    return *facade;
}

void installUpcalls(Upcalls* facade) {
    g_facade = facade;
}

} // namespace fus
