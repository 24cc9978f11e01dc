#pragma once

#include "fus/P_GeneratorConfig.h"
#include "support/ScriptedPeer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fus::test {

/// A small generator in each generation of the protocol: 2.9, 3.0 and 3.1.
///
/// All have 8 channels, 2 buffers of 6 shots, a trigger input, a multiplexer (V2 only), one
/// synthesizer that can ramp, and 2 amplifiers of 4 channels with 2 board measures. Channel
/// measures: four of one byte on V2; "vrf1,irf2,pvi4" on V3. Board measures: "tem2" and "idc2" on
/// V2; "tem2,idc4" on V3.
///
/// Durations [us], where V2 differs from V3 in parentheses: shooting 0..400 (50..400), quick
/// shooting 0..400 (20..300), total 100..1000, quick total at least 60, repeat total at least 80,
/// delay between trajectories 0..5000 (10..5000), repeat delay at least 30 (2400), ramp 7.
/// Composite: 4 shots (0).
enum class Generation { V2, V30, V31 };

/// The text with which it greets.
std::string iniOf(Generation generation);

/// Lets the peer greet, and answer what the library asks at connect.
void greet(ScriptedPeer& peer, Generation generation);
/// The same with a text of one's own, which must have the same boards and measures.
void greet(ScriptedPeer& peer, Generation generation, const std::string& ini);
/// The same for other active boards with those two measures than the amplifiers 0 and 1.
struct BoardAddress {
    std::uint32_t hwid;
    std::uint32_t address;
};
void greet(ScriptedPeer& peer, Generation generation, const std::string& ini,
           const std::vector<BoardAddress>& boards);
/// Only the answers, without the text.
void answerConnect(ScriptedPeer& peer, Generation generation,
                   const std::vector<BoardAddress>& boards = {{12, 0}, {12, 1}});

/// The commands that a connect costs. The command after them has an id that is greater by one.
unsigned commandsOfConnect(Generation generation);

/// What the library knows after a connect, without one.
void describe(GeneratorConfig& config, Generation generation);

} // namespace fus::test
