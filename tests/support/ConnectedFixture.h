#pragma once

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "support/RecordingListener.h"
#include "support/ScriptedPeer.h"
#include "support/SmallGenerator.h"

#include <gtest/gtest.h>

namespace fus::test {

/// The library connected to a scripted peer that plays a small generator. At the end of a test the
/// connection is closed, and what a test may have set is set back.
class ConnectedFixture : public ::testing::Test {
protected:
    ConnectedFixture();
    ~ConnectedFixture() override;

    /// Connects, and forgets the event of it.
    void connect(Generation generation);
    void connect(Generation generation, const std::string& ini);
    /// Closes the connection, and lets the peer tell whether its script was kept to.
    void disconnect();
    /// Waits until the listener has got all events up to now, and a few of this call's own.
    void awaitOlderEvents();

    FUS& fus() { return FUS::getInstance(); }
    Generator& generator() { return fus().getGenerator(); }

    ScriptedPeer peer;
    RecordingListener listener;
};

} // namespace fus::test
