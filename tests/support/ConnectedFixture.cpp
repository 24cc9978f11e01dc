#include "support/ConnectedFixture.h"

#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"

namespace fus::test {

namespace {

constexpr unsigned TIMEOUT = 5000; // [ms], only waited for by a failing test

} // namespace

ConnectedFixture::ConnectedFixture() {
    // A disconnect sends both, and waits for neither.
    peer.allow(gprotocol::CMD_TRAJ_STOP).allow(gprotocol::CMD_CLOSE);
}

ConnectedFixture::~ConnectedFixture() {
    disconnect();
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

void ConnectedFixture::disconnect() {
    if (fus().isConnected()) {
        fus().disconnect();
    }
    peer.finish();
}

} // namespace fus::test
