#include "support/ConnectedFixture.h"

#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"

namespace fus::test {

using namespace gprotocol;

namespace {

constexpr unsigned TIMEOUT = 5000; // [ms], only waited for by a failing test

} // namespace

ConnectedFixture::ConnectedFixture() {
    // A disconnect sends both, and waits for neither.
    peer.allow(CMD_TRAJ_STOP).allow(CMD_CLOSE);
}

ConnectedFixture::~ConnectedFixture() {
    disconnect();
    fus().clearListeners(); // some may be dead
    awaitOlderEvents();     // which the next test's listener would take for its own
    fus().clearListeners();
    EXPECT_TRUE(FUSAccess::waitForListeners(fus(), TIMEOUT));
    fus().setSecureMode(true);
    fus().setDefaultAnswerTimeout(TIMEOUT);
}

void ConnectedFixture::connect(Generation generation) {
    connect(generation, iniOf(generation));
}

void ConnectedFixture::connect(Generation generation, const std::string& ini) {
    greet(peer, generation, ini);
    fus().registerListener(&listener);
    ASSERT_TRUE(fus().connect(ScriptedPeer::HOST, peer.port(), TIMEOUT));
    ASSERT_TRUE(listener.waitForType(FUSEvent::EVENT_CONNECT));
    listener.clear();
}

void ConnectedFixture::awaitOlderEvents() {
    constexpr unsigned MARKER = 0xFFFFFFFF;
    fus().registerListener(&listener);
    FUSAccess::notifyListeners(fus(), new ExecStartEvent(MARKER, 0, 0, EXEC_ELEC_NORMAL,
                                                         EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE));
    EXPECT_TRUE(listener.waitFor([&](const RecordingListener::Events& events) {
        const auto* const last =
            events.empty() ? nullptr : dynamic_cast<const ExecStartEvent*>(events.back().get());
        return last != nullptr && last->execID() == MARKER;
    }));
}

void ConnectedFixture::disconnect() {
    if (fus().isConnected()) {
        fus().disconnect();
    }
    peer.finish();
}

} // namespace fus::test
