#pragma once

#include "fus/FUSException.h"

namespace fus::tool {

/// Whether it tells that the link is gone, so that nothing else can be asked either.
bool isLinkLost(const FUSException& error);

/// False if the action fails for a FUSException, unless the link is lost: then that goes on.
template <class Action>
bool attempt(Action action) {
    try {
        action();
        return true;
    } catch (const FUSException& error) {
        if (isLinkLost(error)) {
            throw;
        }
        return false;
    }
}

} // namespace fus::tool
