#include "support/ConnectedFixture.h"

#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"

#include <algorithm>

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
    fus().registerListener(&listener);
    // what the delivering thread itself is about to post comes behind the first one
    for (const unsigned marker : {0xFFFFFFFEU, 0xFFFFFFFFU}) {
        FUSAccess::notifyListeners(fus(), new ExecStartEvent(marker, 0, 0, EXEC_ELEC_NORMAL,
                                                             EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE));
        EXPECT_TRUE(listener.waitFor([&](const RecordingListener::Events& events) {
            return std::any_of(events.begin(), events.end(), [&](const auto& event) {
                const auto* const start = dynamic_cast<const ExecStartEvent*>(event.get());
                return start != nullptr && start->execID() == marker;
            });
        }));
    }
}

void ConnectedFixture::disconnect() {
    if (fus().isConnected()) {
        fus().disconnect();
    }
    peer.finish();
}

} // namespace fus::test
