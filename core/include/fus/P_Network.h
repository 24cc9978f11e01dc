#pragma once

#include <atomic>

namespace fus {

/// The system's socket layer, started once and stopped when the process ends.
class Network {
public:
    static Network& getInstance();

    /// Starts the layer unless it runs already. False if the system refuses; it may be tried again.
    bool init();

    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

private:
    Network() = default;
    ~Network();

    void exit();

    // atomic
    std::atomic<bool> m_initialised{false};
};

} // namespace fus
