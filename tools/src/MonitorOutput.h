#pragma once

#include "Console.h"
#include "Meter.h"

#include <memory>
#include <string>

namespace fus::tool {

/// What a monitor makes of its readings. It ends with its object.
class MonitorOutput {
public:
    virtual ~MonitorOutput() = default;
    virtual void show(const Reading& reading) = 0;
    /// Called many times a second: draws the last reading once more where the terminal has changed.
    virtual void refresh() {}
};

/// A picture that is redrawn in place. The cursor is hidden, and what stood there before comes back
/// at the end, with the last picture below.
std::unique_ptr<MonitorOutput> makeScreenOutput(Console& console, const std::string& title,
                                                const std::string& pace);
/// A line for each reading, in columns that stay where they are; lines with "#" in front of them
/// tell names and thresholds.
std::unique_ptr<MonitorOutput> makeLineOutput(Console& console);
/// A JSON object for each reading, one to a line.
std::unique_ptr<MonitorOutput> makeJsonOutput(Console& console);

} // namespace fus::tool
