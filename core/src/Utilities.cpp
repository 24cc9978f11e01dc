#include "fus/Utilities.h"

#include "fus/P_LocalTime.h"
#include "platform/platform.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <thread>

namespace fus {

namespace {

constexpr int CLASS_NAN = 0;
constexpr int CLASS_INFINITE = 1;
constexpr int CLASS_ZERO = 2;
constexpr int CLASS_OTHER = 4;

/// Bits are the unsigned integer of the float's size, of which the low `mantissaBits` are the
/// mantissa, and the top one is the sign.
template <typename Bits, typename Float>
int classify(Float value, unsigned mantissaBits) {
    static_assert(sizeof(Bits) == sizeof(Float));
    Bits bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    const Bits mantissaMask = (Bits{1} << mantissaBits) - 1;
    const Bits exponentMask = (~Bits{0} >> 1) & ~mantissaMask;
    const bool hasMantissa = (bits & mantissaMask) != 0;
    if ((bits & exponentMask) == exponentMask)
        return hasMantissa ? CLASS_NAN : CLASS_INFINITE;
    return (bits & exponentMask) == 0 && !hasMantissa ? CLASS_ZERO : CLASS_OTHER;
}

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysOfMonth(int year, int month) {
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 1 && isLeapYear(year) ? 29 : DAYS[month];
}

bool isBelow(int value, int limit) {
    return value >= 0 && value < limit;
}

} // namespace

char* copyString(const char* text, std::size_t start, std::size_t maxLength,
                 std::size_t* outLength) {
    const std::size_t textLength = text != nullptr ? std::strlen(text) : 0;
    const std::size_t length =
        start < textLength ? std::min(maxLength, textLength - start) : std::size_t{0};
    if (outLength != nullptr)
        *outLength = length;
    if (length == 0)
        return nullptr;
    char* const copy = new char[length + 1];
    std::memcpy(copy, text + start, length);
    copy[length] = '\0';
    return copy;
}

int fpClass(float value) {
    return classify<std::uint32_t>(value, 23);
}

int fpClass(double value) {
    return classify<std::uint64_t>(value, 52);
}

bool isInfinite(float value) {
    return fpClass(value) == CLASS_INFINITE;
}

bool isInfinite(double value) {
    return fpClass(value) == CLASS_INFINITE;
}

bool isNan(float value) {
    return fpClass(value) == CLASS_NAN;
}

bool isNan(double value) {
    return fpClass(value) == CLASS_NAN;
}

void milliSleep(unsigned ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

int roundedFloat(float x) {
    // two constants on purpose: this is how the generator's own tools have always rounded
    const float shifted = x < 0 ? x - 0.5000010132789612F : x + 0.5F;
    constexpr float LIMIT = 2147483648.0F;
    if (!(shifted >= -LIMIT && shifted < LIMIT))
        return INT_MIN;
    return static_cast<int>(shifted);
}

const char* errnoMessage(int error) {
    return std::strerror(error); // NOLINT(concurrency-mt-unsafe): told in the header
}

const char* winErrorMessage(int error) {
    static char buffer[256];
    std::snprintf(buffer, sizeof(buffer), "%s", platform::systemErrorText(error).c_str());
    std::size_t length = std::strlen(buffer);
    if (length > 0 && buffer[length - 1] == '\n')
        buffer[--length] = '\0';
    if (length > 0 && buffer[length - 1] == '\r')
        buffer[--length] = '\0';
    return length > 0 ? buffer : "?";
}

bool LocalTime::set(const LocalTime& values) {
    if (!isBelow(values.month, 12) ||
        !isBelow(values.day, daysOfMonth(values.year, values.month)) || !isBelow(values.hour, 24) ||
        !isBelow(values.minute, 60) || !isBelow(values.second, 60) ||
        !isBelow(values.millisecond, 1000))
        return false;
    *this = values;
    return true;
}

bool LocalTime::readClock() {
    platform::ClockTime now = {};
    return platform::readLocalTime(now) &&
           set({now.year, now.month, now.day, now.hour, now.minute, now.second, now.millisecond});
}

} // namespace fus
