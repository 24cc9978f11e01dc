#pragma once

#include <string>

namespace fus::bench {

/// Two benchmarks of one run are held against each other: `ratio` is how many times the speed of
/// the reference is reached (or, for a latency, how many times its time is taken).
struct Ratio {
    enum Kind { SPEED, TIME };

    std::string subject;   // name of the benchmark that is measured
    std::string reference; // name of the benchmark that it is held against
    Kind kind;
    double aim; // SPEED: at least; TIME: at most
};

/// To be called before `main` through a static object.
struct RegisterRatio {
    RegisterRatio(const char* subject, const char* reference, Ratio::Kind kind, double aim);
};

} // namespace fus::bench

/// The subject reaches at least `aim` times the speed of the reference.
#define FUS_AT_LEAST(subject, reference, aim)                                      \
    static const ::fus::bench::RegisterRatio ratio_##subject(#subject, #reference, \
                                                             ::fus::bench::Ratio::SPEED, aim)
/// The subject takes at most `aim` times the time of the reference.
#define FUS_AT_MOST(subject, reference, aim)                                       \
    static const ::fus::bench::RegisterRatio ratio_##subject(#subject, #reference, \
                                                             ::fus::bench::Ratio::TIME, aim)
