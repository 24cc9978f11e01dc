#include "Outlet.h"

#include <algorithm>

namespace fus {
namespace simulator {

namespace {

// A send wakes up so often to see whether the link was cut.
constexpr unsigned SEND_SLICE_MS = 50;

} // namespace

Outlet::Outlet(platform::Socket socket, FaultBook& faults) : m_faults(faults), m_socket(socket) {
    const int on = 1;
    platform::setSocketOption(m_socket, platform::LEVEL_TCP, platform::OPTION_NO_DELAY, &on,
                              sizeof on);
    platform::setBlocking(m_socket, false);
}

Outlet::~Outlet() {
    platform::closeSocket(m_socket);
}

bool Outlet::send(const Bytes& data) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::uint64_t turn = m_nextTurn++;
    m_turnChanged.wait(lock, [&] { return turn == m_currentTurn; });
    lock.unlock();

    const bool sent = !m_cut && sendWhole(data.data(), allowedBytes(data.size()));
    if (!sent || allowedBytes(1) == 0) {
        cut();
    }
    lock.lock();
    ++m_currentTurn;
    m_turnChanged.notify_all();
    return !m_cut;
}

// As far as a fault lets us.
std::size_t Outlet::allowedBytes(std::size_t size) {
    if (!m_faults.any()) {
        return size;
    }
    const auto limit = m_faults.closeAt();
    if (!limit) {
        return size;
    }
    const std::uint64_t left = *limit > m_sent ? *limit - m_sent : 0;
    return static_cast<std::size_t>(std::min<std::uint64_t>(size, left));
}

bool Outlet::sendWhole(const std::uint8_t* data, std::size_t size) {
    const bool single = m_faults.has(FaultKind::SINGLE_BYTES);
    std::size_t done = 0;
    while (done < size && !m_cut) {
        const int count = platform::send(m_socket, data + done, single ? 1 : size - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count < 0 && platform::isWouldBlock(platform::lastSocketError())) {
            platform::waitSocket(m_socket, platform::WAIT_WRITE, SEND_SLICE_MS);
        } else {
            break;
        }
    }
    m_sent += done;
    return done == size;
}

void Outlet::cut() {
    if (!m_cut.exchange(true)) {
        platform::shutdownWrite(m_socket);
        platform::shutdownRead(m_socket);
    }
}

int Outlet::receive(std::uint8_t* buffer, std::size_t size, unsigned timeoutMs) {
    if (platform::waitReadable(m_socket, timeoutMs) == 0) {
        return m_cut ? -1 : 0;
    }
    const int count = platform::receive(m_socket, buffer, size);
    if (count > 0) {
        return count;
    }
    return count < 0 && !m_cut && platform::isWouldBlock(platform::lastSocketError()) ? 0 : -1;
}

} // namespace simulator
} // namespace fus
