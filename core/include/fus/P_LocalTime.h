#pragma once

namespace fus {

/// Local date and time. Month and day are stored one below their calendar value, so whoever prints
/// them adds 1.
struct LocalTime {
    int year = 0;
    int month = 0; ///< from 0
    int day = 0;   ///< from 0
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;

    /// Takes the values over. If one is out of range (a month above 11, a day the month doesn't
    /// have, a leap second...) the record stays as it was and the result is false.
    bool set(const LocalTime& values);

    /// Fills the record from the system's clock, under the same check.
    bool readClock();
};

} // namespace fus
