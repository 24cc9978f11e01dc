#pragma once

#include "fus/LowLevelMechanics.h"
#include "support/ConnectedFixture.h"

#include <string>

namespace fus::test {

/// Two axes. Axis0 (index 0): a linear one of -1000..2000 steps of 1/1024 mm, at most 1000 steps/s,
/// searched by the DAC values 100, 90 ... 50. Axis3 (index 1): a rotary one of -50..50 steps of
/// 0.5 rad, searched by 130 ... 160, parked at 10 in 20 ms.
const std::string& twoAxes();

/// The definition with a line put in front of, and so in place of, what a section says.
std::string withLine(const std::string& section, const std::string& line,
                     const std::string& definition = twoAxes());
/// The definition without the first line that begins with this key.
std::string withoutKey(const std::string& section, const std::string& key);

/// The library connected to a scripted generator of the older protocol, which asks nothing at
/// connect, with a mechanical board.
class MechanicsFixture : public ConnectedFixture {
protected:
    static constexpr unsigned ASYNC = 1207;
    static constexpr unsigned SYNC = 1307;

    ~MechanicsFixture() override;

    LowLevelMechanics& mech() { return fus().getLowLevelMechanics(); }

    void connectBoard(const std::string& firmware = "3.1");
    /// Expects a command with these data.
    ScriptedPeer& expectMot(unsigned command, const Bytes& data, unsigned time = 0);
    /// The same, and a success without data.
    ScriptedPeer& serve(unsigned command, const Bytes& data, unsigned time = 0);
    /// The same, and a success with data.
    ScriptedPeer& serveWith(unsigned command, const Bytes& data, const Bytes& answer);
    /// Expects a parameter's read, and answers.
    ScriptedPeer& serveParam(unsigned actuator, unsigned param, const Bytes& value);

    static Bytes success(unsigned command);
    static Bytes successWith(unsigned command, const Bytes& data);
    static Bytes refusal(unsigned command, unsigned code);

    /// What every configuration asks first.
    void serveCapacities(unsigned protocol, unsigned axes = 4, unsigned moves = 10,
                         unsigned logLines = 2);
    /// Loads and sends a definition. One with an `initOrder` names one axis there.
    void configure(unsigned protocol = 2, const std::string& definition = twoAxes());
    /// The same, and the origins are known: 10000 and 20000. With a park the board is told to.
    void makeReady(unsigned protocol = 2);
};

} // namespace fus::test
