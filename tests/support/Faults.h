#pragma once

#include "fus/FUSException.h"

#include <string>

namespace fus::test {

/// "ERR_INDEX: Invalid index" for what an action throws, "" when it throws nothing. Other
/// exceptions pass.
template <class Action>
std::string faultOf(Action action) {
    try {
        action();
    } catch (const FUSException& e) {
        return std::string(FUSException::FUSErrorName(e.errorCode())) + ": " + e.message();
    }
    return "";
}

} // namespace fus::test
