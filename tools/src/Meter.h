#pragma once

#include "SystemInfo.h"

#include "fus/FUS.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fus::tool {

enum class Verdict {
    GOOD,
    LOW,   ///< below the lower threshold
    HIGH,  ///< above the upper one
    UNREAD ///< the board gave no value, or marked it as bad
};

/// "ok", "LOW", "HIGH", "unread"
const char* verdictText(Verdict verdict);

/// A value with its thresholds, all in its unit. A threshold that can't be passed, since it lies at
/// the end of the measure's range, is left out.
struct Value {
    std::string name; ///< "tem"; "vdc2" where the board has several of this name
    std::string unit;
    std::optional<float> lower;
    std::optional<float> upper;
    float value = 0; ///< of no meaning if UNREAD
    Verdict verdict = Verdict::UNREAD;

    /// Takes a value and judges it.
    void take(float newValue);

    bool isBeyond() const { return verdict == Verdict::LOW || verdict == Verdict::HIGH; }
};

struct BoardReading {
    gprotocol::BoardType type = gprotocol::BOARD_PROCESSOR;
    unsigned address = 0;
    std::vector<Value> values;
    /// gprotocol::BoardStatus bits; none where the generator doesn't tell (before protocol 3.0).
    std::optional<std::uint32_t> status;

    std::string name() const; ///< "AMP3"
    bool isWell() const { return status.value_or(0) == 0; }
};

/// "ok", "reset", "CRC", "supply" and combinations, "0x..." for other bits, "-" if unknown.
std::string statusText(const std::optional<std::uint32_t>& status);

struct Reading {
    std::string time; ///< local, "2020-01-31T16:38:03"
    std::vector<BoardReading> boards;

    /// What a person has to look at: "AMP3 tem HIGH", "AMP5 reset", "AMP7 idc unread".
    std::vector<std::string> troubles() const;
};

/// Reads all sensors of the connected generator. It writes nothing into it.
///
/// The thresholds are read once: no other client can change them while this one is connected.
class Meter {
public:
    /// Asked between questions to the generator. Once it has said no, it doesn't say yes again.
    using GoOn = std::function<bool()>;

    /// Both throw FUSException when the link breaks or the generator doesn't answer any more; a
    /// board that fails alone in a reading gives UNREAD values.
    Meter(FUS& fus, GoOn goOn);
    /// Nothing if it shall not go on.
    std::optional<Reading> read();

    ~Meter();

    /// Asks one generation of generators.
    class Source;

private:
    std::unique_ptr<Source> m_source;
};

} // namespace fus::tool
