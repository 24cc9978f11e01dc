// The way to one client. Several threads send through it, one whole block of packets at a time.
#pragma once

#include "Bytes.h"
#include "FaultBook.h"

#include "platform/platform.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace fus {
namespace simulator {

class Outlet {
public:
    // Takes the socket over.
    Outlet(platform::Socket socket, FaultBook& faults);
    ~Outlet();
    Outlet(const Outlet&) = delete;
    Outlet& operator=(const Outlet&) = delete;

    // Sends all of it, in the order in which callers came; blocks while the client doesn't read.
    // False once the link is cut.
    bool send(const Bytes& data);
    // Cuts the link; wakes whoever sends or receives. Any thread, any number of times.
    void cut();
    bool isCut() const { return m_cut; }

    // For the one thread that receives: a number of bytes, 0 for nothing yet, -1 for the end.
    int receive(std::uint8_t* buffer, std::size_t size, unsigned timeoutMs);

private:
    bool sendWhole(const std::uint8_t* data, std::size_t size);
    std::size_t allowedBytes(std::size_t size);

    FaultBook& m_faults;
    const platform::Socket m_socket;
    std::atomic<bool> m_cut{false};

    // Turns are taken in order: a lock alone could starve an answer behind a flood of results.
    std::mutex m_mutex;
    // guarded by m_mutex
    std::condition_variable m_turnChanged;
    std::uint64_t m_nextTurn = 0;
    std::uint64_t m_currentTurn = 0;

    std::uint64_t m_sent = 0; // of the thread whose turn it is
};

} // namespace simulator
} // namespace fus
