// What crosses the socket: a round trip, shot results up to a listener, a stop under a flood, and
// the upload of a trajectory.

#include "BarePeer.h"
#include "PlainConversion.h"
#include "Ratios.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/FUS.h"
#include "fus/FUSEvent.h"
#include "fus/FUSListener.h"
#include "fus/Generator.h"
#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_TrajectoryUpload.h"
#include "fus/PhaseShot.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace fus::bench {

using namespace gprotocol;

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned TIMEOUT = 5000;    // [ms]
constexpr unsigned SHOT_BATCH = 5000; // shot results in one iteration
constexpr unsigned STOPS = 2000;      // stops in one iteration
constexpr unsigned UPLOAD_SHOTS = 4096;

/// Counts shot results, and waits for a number of them.
class CountingListener : public FUSListener {
public:
    void handleEvent(FUSEvent* event) override {
        if (event->type() != FUSEvent::EVENT_SHOT_RESULT) {
            return;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (++m_count == m_awaited) {
            m_arrived.notify_all();
        }
    }

    void expect(unsigned count) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_count = 0;
        m_awaited = count;
    }

    void wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_arrived.wait(lock, [this] { return m_count >= m_awaited; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    unsigned m_count = 0;
    unsigned m_awaited = 0;
};

ElectronicTrajectory trajectory(unsigned shots) {
    ElectronicTrajectory result(BarePeer::CHANNELS);
    PhaseShot shot(BarePeer::CHANNELS, BarePeer::CHANNELS, BarePeer::CHANNELS);
    shot.setDuration(1000, 1000);
    for (unsigned i = 0; i < shots; ++i) {
        result.addShot(shot);
    }
    return result;
}

/// The library, connected to a bare peer of its own.
class Link {
public:
    Link() : peer(true), fus(FUS::getInstance()) {
        if (!fus.connect("127.0.0.1", peer.port(), TIMEOUT)) {
            std::abort();
        }
        fus.registerListener(&listener);
    }
    ~Link() {
        peer.endFlood();
        fus.setSecureMode(true);
        fus.clearListeners();
        FUSAccess::waitForListeners(fus, TIMEOUT);
        fus.disconnect();
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Uploads one shot and starts it; returns the execution id.
    unsigned start() {
        ElectronicTrajectory one = trajectory(1);
        Generator& generator = fus.getGenerator();
        generator.sendTrajectory(0, one, EXEC_ELEC_NORMAL, EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE, 0,
                                 false, false);
        return generator.executeTrajectory(0, 1, 0, true);
    }

    BarePeer peer;
    FUS& fus;
    CountingListener listener;
};

// --- a board parameter's round trip --------------------------------------------------------------

void bareRoundTrip(benchmark::State& state) {
    BarePeer peer(false);
    BareClient client(peer.port());
    std::vector<unsigned char> answer(BarePeer::parameterAnswerSize());
    const Bytes request = BarePeer::parameterRequest(1);
    for (auto _ : state) {
        client.send(request);
        client.receive(answer.data(), answer.size());
    }
}

void boardParameter(benchmark::State& state) {
    Link link;
    link.fus.setSecureMode(false); // board parameters of a peer of protocol 2
    Generator& generator = link.fus.getGenerator();
    for (auto _ : state) {
        benchmark::DoNotOptimize(generator.readBoardParam(BOARD_PROCESSOR, 0, BPARAM_ALL_UID));
    }
}

// --- shot results --------------------------------------------------------------------------------

/// The least that anybody does with a shot result: find the packet, read its head, use its bytes.
template <class Use>
void bareLoop(benchmark::State& state, Use use) {
    BarePeer peer(false);
    BareClient client(peer.port());
    client.send(BarePeer::parameterRequest(1)); // makes sure that the peer has accepted
    std::vector<unsigned char> first(BarePeer::parameterAnswerSize());
    client.receive(first.data(), first.size());
    std::vector<unsigned char> buffer(65536);
    std::size_t begin = 0;
    std::size_t end = 0;
    const std::size_t packetSize = BarePeer::shotPacket(1).size();
    for (auto _ : state) {
        peer.sendShots(1, SHOT_BATCH);
        for (unsigned shots = 0; shots < SHOT_BATCH;) {
            while (end - begin >= packetSize) {
                NetPacket packet = NetPacket::copyOf(buffer.data() + begin,
                                                     static_cast<std::uint32_t>(packetSize));
                benchmark::DoNotOptimize(packet.read32() + packet.read32() + packet.read16());
                use(packet.data() + packetSize - BarePeer::CHANNELS * BarePeer::MEASURES);
                begin += packetSize;
                ++shots;
            }
            std::memmove(buffer.data(), buffer.data() + begin, end - begin);
            end -= begin;
            begin = 0;
            if (shots < SHOT_BATCH) {
                end += client.receiveSome(buffer.data() + end, buffer.size() - end);
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * SHOT_BATCH);
}

void bareShotResults(benchmark::State& state) {
    bareLoop(state, [](const unsigned char* measures) { benchmark::DoNotOptimize(measures); });
}

void bareShotResultsConverted(benchmark::State& state) {
    bareLoop(state, PlainConversion());
}

void floodOfShots(benchmark::State& state, Link& link) {
    const unsigned id = link.start();
    for (auto _ : state) {
        link.listener.expect(SHOT_BATCH);
        link.peer.sendShots(id, SHOT_BATCH);
        link.listener.wait();
    }
    state.SetItemsProcessed(state.iterations() * SHOT_BATCH);
}

void shotResults(benchmark::State& state) {
    Link link;
    floodOfShots(state, link);
}

void shotResultsConverted(benchmark::State& state) {
    Generator& generator = FUS::getInstance().getGenerator();
    const bool loaded = generator.loadDefinitionString(PlainConversion::DEFINITION);
    Link link;
    if (!loaded || !generator.isShotResultConversionEnabled()) {
        std::abort();
    }
    floodOfShots(state, link);
    generator.clearDefinition();
}

// --- a stop --------------------------------------------------------------------------------------

/// The 99th percentile of the time until the bytes of a stop are with the system.
double stopLatency(Generator& generator) {
    std::vector<double> seconds;
    for (unsigned i = 0; i < STOPS; ++i) {
        const auto begin = Clock::now();
        generator.stopTrajectory();
        seconds.push_back(std::chrono::duration<double>(Clock::now() - begin).count());
    }
    const auto place = seconds.begin() + STOPS * 99 / 100;
    std::nth_element(seconds.begin(), place, seconds.end());
    return *place;
}

void stopWithoutFlood(benchmark::State& state) {
    Link link;
    for (auto _ : state) {
        state.SetIterationTime(stopLatency(link.fus.getGenerator()));
    }
}

void stopInAFlood(benchmark::State& state) {
    Link link;
    const unsigned id = link.start();
    link.listener.expect(SHOT_BATCH);
    link.peer.startFlood(id);
    link.listener.wait();
    for (auto _ : state) {
        state.SetIterationTime(stopLatency(link.fus.getGenerator()));
    }
}

// --- an upload -----------------------------------------------------------------------------------

void copyOfTheLargestUpload(benchmark::State& state) {
    const ElectronicTrajectory largest = trajectory(UPLOAD_SHOTS);
    std::vector<unsigned char> source(largest.totalShotsPacketSize(), 1);
    for (auto _ : state) {
        // into fresh memory, as a packet is made
        const std::unique_ptr<unsigned char[]> target(new unsigned char[source.size()]);
        std::memcpy(target.get(), source.data(), source.size());
        benchmark::DoNotOptimize(target.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

void buildTheLargestUpload(benchmark::State& state) {
    Link link;
    const auto connection = FUSAccess::getConnection(link.fus);
    ElectronicTrajectory largest = trajectory(UPLOAD_SHOTS);
    UploadRequest request;
    TrajectoryUpload upload(connection->config(), largest, request, true);
    upload.checkRequest();
    upload.takeLimits();
    upload.prepareShots(largest);
    for (auto _ : state) {
        benchmark::DoNotOptimize(upload.makePacket(largest).data());
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(largest.totalShotsPacketSize()));
}

/// Checks, encoding, the wire and the acknowledgement.
void sendTheLargestUpload(benchmark::State& state) {
    Link link;
    ElectronicTrajectory largest = trajectory(UPLOAD_SHOTS);
    for (auto _ : state) {
        link.fus.getGenerator().sendTrajectory(0, largest, EXEC_ELEC_NORMAL, EXEC_TRIGGER_IGNORED,
                                               EXEC_MECH_NONE, 0, false, true);
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(largest.totalShotsPacketSize()));
}

} // namespace

BENCHMARK(bareRoundTrip)->UseRealTime();
BENCHMARK(boardParameter)->UseRealTime();
FUS_AT_MOST(boardParameter, bareRoundTrip, 1.15);

BENCHMARK(bareShotResults)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(shotResults)->UseRealTime()->Unit(benchmark::kMillisecond);
FUS_AT_LEAST(shotResults, bareShotResults, 0.15);
BENCHMARK(bareShotResultsConverted)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(shotResultsConverted)->UseRealTime()->Unit(benchmark::kMillisecond);
FUS_AT_LEAST(shotResultsConverted, bareShotResultsConverted, 0.75);

BENCHMARK(stopWithoutFlood)->UseManualTime()->Iterations(5);
BENCHMARK(stopInAFlood)->UseManualTime()->Iterations(5);
FUS_AT_MOST(stopInAFlood, stopWithoutFlood, 3.0);

BENCHMARK(copyOfTheLargestUpload)->Unit(benchmark::kMillisecond);
BENCHMARK(buildTheLargestUpload)->Unit(benchmark::kMillisecond);
BENCHMARK(sendTheLargestUpload)->UseRealTime()->Unit(benchmark::kMillisecond);
FUS_AT_LEAST(buildTheLargestUpload, copyOfTheLargestUpload, 0.15);

} // namespace fus::bench
