#pragma once

#include "fus/FUSException.h"

namespace fus::tool {

/// Whether it tells that the link is gone, so that nothing else can be asked either.
bool isLinkLost(const FUSException& error);

/// Whether it tells that an answer hasn't come.
bool isTimeOut(const FUSException& error);

/// False if the generator refuses the action. That the link is lost or no answer comes goes on as
/// the FUSException that it is: whoever asks many boards would wait for each of them.
template <class Action>
bool attempt(Action action) {
    try {
        action();
        return true;
    } catch (const FUSException& error) {
        if (isLinkLost(error) || isTimeOut(error)) {
            throw;
        }
        return false;
    }
}

} // namespace fus::tool
