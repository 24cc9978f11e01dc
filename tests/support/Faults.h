#pragma once

#include "fus/FUSException.h"
#include "fus/Log.h"

#include <gtest/gtest.h>

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

/// What an action logs at this level or above.
template <class Action>
std::string logOf(Log::Level level, Action action) {
    Log& log = Log::getInstance();
    const Log::Level before = log.getLevel();
    log.setLevel(level);
    testing::internal::CaptureStderr();
    action();
    std::string text = testing::internal::GetCapturedStderr();
    log.setLevel(before);
    return text;
}

} // namespace fus::test
