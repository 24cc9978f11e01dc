#include "fus/P_TrajectoryUpload.h"

#include "fus/ElectronicTrajectory.h"
#include "support/Faults.h"
#include "support/LogCapture.h"
#include "support/SmallGenerator.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace fus;
using namespace fus::test;
using namespace fus::gprotocol;

namespace {

PhaseShot shotOf(unsigned duration, unsigned delay, unsigned phases = 1, unsigned frequencies = 1,
                 unsigned amplitudes = 1) {
    PhaseShot shot(phases, frequencies, amplitudes);
    shot.setDuration(duration, delay);
    return shot;
}

/// An upload of one shot that nothing is wrong with.
struct Upload {
    explicit Upload(Generation generation) : trajectory(8) {
        describe(config, generation);
        trajectory.addShot(shotOf(200, 100));
        request.buffer = 1;
    }

    /// All steps; gives the packet.
    Bytes run() {
        TrajectoryUpload upload(config, trajectory, request, secure);
        upload.checkRequest();
        upload.takeLimits();
        upload.prepareShots(trajectory);
        request.flags = upload.flags();
        const NetPacket packet = upload.makePacket(trajectory);
        EXPECT_EQ(packet.position(), packet.size());
        return Bytes(packet.data(), packet.data() + packet.size());
    }

    /// "" or the message of ERR_ARGUMENT, other errors with their name.
    std::string refusal() {
        const std::string fault = faultOf([this] { run(); });
        const std::string usual = "ERR_ARGUMENT: ";
        return fault.compare(0, usual.size(), usual) == 0 ? fault.substr(usual.size()) : fault;
    }

    void set(unsigned elec, unsigned trig = 0, unsigned flags = 0, unsigned mech = 0) {
        request.elecMode = static_cast<ElecExecMode>(elec);
        request.trigMode = static_cast<TriggerMode>(trig);
        request.mechMode = static_cast<MechExecMode>(mech);
        request.flags = flags;
    }

    void shots(std::vector<PhaseShot> list) {
        trajectory.clear();
        for (const PhaseShot& shot : list) {
            trajectory.addShot(shot);
        }
    }

    GeneratorConfig config;
    ElectronicTrajectory trajectory;
    UploadRequest request;
    bool secure = true;
};

/// A fault that an upload is refused for, and how it is mended.
struct Fault {
    std::string message;
    std::function<void(Upload&)> mend;
};

void expectInOrder(Upload& upload, const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        EXPECT_EQ(upload.refusal(), fault.message);
        fault.mend(upload);
    }
    EXPECT_EQ(upload.refusal(), "");
}

// Everything is wrong at first; each refusal names the next fault in order.
TEST(TrajectoryUpload, NamesTheFirstOfManyFaultsOfARequest) {
    Upload upload(Generation::V31);
    upload.request.buffer = 2;
    upload.trajectory = ElectronicTrajectory(9);
    upload.set(EXEC_ELEC_COMPOSITE, 300, 8 | 16 | 64, 300);
    upload.config.setTiming(TIME_MAX_SHOOTING, 0);
    expectInOrder(
        upload,
        {{faultOf([] { throw FUSException(ERR_INDEX, nullptr); }),
          [](Upload& u) { u.request.buffer = 1; }},
         {"Empty trajectory",
          [](Upload& u) { u.shots(std::vector<PhaseShot>(5, shotOf(100, 0))); }},
         {"Too many shots in this mode", [](Upload& u) { u.trajectory.removeShot(4); }},
         {"Invalid channel count",
          [](Upload& u) {
              u.trajectory.setChannelCount(8);
              u.trajectory.enableChannel(7, false);
          }},
         {"Trajectory mask not available, please use setChannelsState() instead.",
          [](Upload& u) { u.trajectory.enableAllChannels(true); }},
         {"Invalid execution mode (COMPOSITE no more available, use REPEAT mode instead).",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 300, 8 | 16 | 64, 300); }},
         {"Trigger mode out of range",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 4, 8 | 16 | 64, 300); }},
         {"Invalid trigger mode (unknown)",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 0, 8 | 16 | 64, 300); }},
         {"Mechanical mode out of range",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 0, 8 | 16 | 64, 2); }},
         {"Invalid mechanical mode (unknown)",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 0, 8 | 16 | 64, 1); }},
         {"Invalid trigger flag used without trigger mode.",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 3, 8 | 16 | 64, 1); }},
         {"Invalid flags combination (ADD_BOARD_MEASURES and OMIT_ALL_MEASURES).",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 3, 16 | 64, 1); }},
         {"Invalid modes combination (TRIGGER_ONE_PULSE_PER_SHOT with any MECH_MODE != NONE).",
          [](Upload& u) { u.set(EXEC_ELEC_NORMAL, 3, 16 | 64, 0); }},
         {"This execution mode is not available.",
          [](Upload& u) { u.config.setTiming(TIME_MAX_SHOOTING, 400); }}});
}

TEST(TrajectoryUpload, NamesTheFirstOfManyFaultsInTheOlderProtocol) {
    Upload upload(Generation::V2);
    std::string ini = iniOf(Generation::V2);
    upload.config.load(ini.replace(ini.find("has_ext_trigger = 1"), 19, "has_ext_trigger = 0"));
    upload.config.setCount(NB_MAX_COMPOSITE_SHOTS, 1);
    upload.trajectory.enableChannel(3, false);
    upload.set(EXEC_ELEC_COMPOSITE, 300, 1);
    expectInOrder(upload,
                  {{"Invalid execution mode (COMPOSITE not available in v2)",
                    [](Upload& u) { u.set(EXEC_ELEC_QUICK, 300, 1); }},
                   {"Trigger mode out of range", [](Upload& u) { u.set(EXEC_ELEC_QUICK, 4, 1); }},
                   {"Invalid trigger mode (no trigger available on this generator)",
                    [](Upload& u) { u.set(EXEC_ELEC_QUICK, 0, 1); }},
                   {"Execution flags should be null in protocol v<3.",
                    [](Upload& u) { u.set(EXEC_ELEC_QUICK); }}});
}

TEST(TrajectoryUpload, DropsFlagsThatMeanNothingInTheMode) {
    const std::string quick = "Deprecated execution mode 'QUICK', use NORMAL mode + "
                              "OMIT_ALL_MEASURES flag.";
    const std::string omitAll = "The execution flag OMIT_ALL_MEASURES can only be used in NORMAL "
                                "mode, ignored.";
    const std::string addBoards = "The execution flag ADD_BOARD_MEASURES can only be used in "
                                  "NORMAL mode, ignored.";
    const std::string omitResults = "OMIT_EXEC_RESULTS flag can only be used in NORMAL mode, "
                                    "ignored.";
    const struct {
        ElecExecMode mode;
        unsigned flags;
        unsigned kept;
        std::vector<std::string> warnings;
    } rows[] = {
        {EXEC_ELEC_NORMAL, 2 | 64, 2 | 64, {}},
        {EXEC_ELEC_NORMAL, 8, 8, {}},
        {EXEC_ELEC_QUICK, 2 | 64, 2, {quick, omitAll}},
        {EXEC_ELEC_QUICK, 1 | 8, 1, {quick, addBoards}},
        {EXEC_ELEC_REPEAT, 2 | 4 | 64, 4, {omitAll, omitResults}},
    };
    LogCapture log(Log::ERROR);
    for (const auto& row : rows) {
        log.clear();
        Upload upload(Generation::V31);
        upload.set(row.mode, 0, row.flags);
        EXPECT_EQ(upload.refusal(), "");
        EXPECT_EQ(upload.request.flags, row.kept);
        EXPECT_EQ(log.texts(), row.warnings);
    }
}

TEST(TrajectoryUpload, RefusesAnUnknownModeAlsoWithoutChecks) {
    Upload upload(Generation::V31);
    upload.set(EXEC_ELEC_NONE);
    upload.secure = false;
    EXPECT_EQ(upload.refusal(), FUSException(ERR_ARGUMENT, nullptr).message());
}

/// One upload, what is done to it, and what it is refused for.
struct ShotRow {
    Generation generation;
    std::function<void(Upload&)> prepare;
    std::string refusal;
};

void expectRefusals(const std::vector<ShotRow>& rows) {
    int number = 0;
    for (const ShotRow& row : rows) {
        Upload upload(row.generation);
        row.prepare(upload);
        EXPECT_EQ(upload.refusal(), row.refusal) << "row " << number;
        ++number;
    }
}

TEST(TrajectoryUpload, RefusesShotsWithUnusableArrays) {
    const auto shots = [](std::vector<PhaseShot> list) {
        return [list](Upload& u) { u.shots(list); };
    };
    const PhaseShot good = shotOf(200, 100);
    expectRefusals({
        {Generation::V2, shots({shotOf(200, 100, 9, 9, 9)}), "Bad shot[0]: too many phases 9 / 8"},
        {Generation::V2, shots({good, shotOf(200, 100, 8, 9, 9)}),
         "Bad shot[1]: too many frequencies 9 / 8"},
        {Generation::V2, shots({shotOf(200, 100, 8, 8, 9)}),
         "Bad shot[0]: too many amplitudes 9 / 8"},
        {Generation::V2,
         [](Upload& u) {
             u.trajectory.enableChannel(0, false);
             u.shots({shotOf(200, 100, 8)});
         },
         "Bad shot[0]: too many phases 8 / 7"},
        {Generation::V2, shots({shotOf(200, 100, 3, 4, 5)}), ""},
        {Generation::V30, shots({shotOf(200, 100, 3, 4, 5)}), ""},
        {Generation::V31, shots({good, shotOf(200, 100, 2, 3, 2)}),
         "Bad shot[1]: bad number of frequencies (3), can only be 0, 1 or 8"},
        {Generation::V31, shots({good, shotOf(200, 100, 2, 8, 7)}),
         "Bad shot[1]: bad number of amplitudes (7), can only be 0, 1 or 8"},
        {Generation::V31, shots({shotOf(200, 100, 2, 0, 0)}),
         "No frequency specified for the first shot"},
        {Generation::V31, shots({shotOf(200, 100, 2, 8, 0)}),
         "No amplitude specified for the first shot"},
        {Generation::V31, shots({shotOf(200, 100, 0, 8, 1)}),
         "No phase specified for the first shot"},
        {Generation::V31, shots({good, shotOf(1, 0, 2, 0, 0)}),
         "Bad shot[1]: bad number of phases (2), can only be 0, 1 or 8"},
        {Generation::V31, shots({good, shotOf(200, 100, 0, 0, 0)}), ""},
    });
}

/// Sets one shot of these timings and the modes of the upload.
std::function<void(Upload&)> timed(unsigned duration, unsigned delay, unsigned elec = 0,
                                   unsigned trig = 0, unsigned flags = 0, bool slice = false) {
    return [=](Upload& u) {
        u.shots({shotOf(duration, delay)});
        u.set(elec, trig, flags);
        u.request.canSlice = slice;
    };
}

TEST(TrajectoryUpload, HoldsShotsToTheLimitsOfTheirMode) {
    expectRefusals({
        {Generation::V2, timed(50, 50), ""},
        {Generation::V2, timed(49, 0), "Bad shot[0]: too short duration 49 / 50"},
        {Generation::V2, timed(60, 39), "Bad shot[0]: too short duration(60)+delay(39) / 100"},
        {Generation::V2, timed(60, 39, 0, 3), ""},
        {Generation::V2, timed(20, 40, 1), ""},
        {Generation::V2, timed(400, 601), "Bad shot[0]: too long duration(400)+delay(601) / 1000"},
        {Generation::V2, timed(100, 0xFFFFFFFF),
         "Bad shot[0]: too long duration(100)+delay(4294967295) / 1000"},
        {Generation::V2, timed(50, 901),
         "Bad shot[0]: too long delay (with min shooting duration) 901) / 1000"},
        {Generation::V2, timed(400, 901, 0, 0, 0, true),
         "Bad shot[0]: too long delay (with min shooting duration) 901) / 1000"},
        {Generation::V31, timed(400, 901, 0, 0, 0, true), ""},
        // A repeated shot is told its limit, any other only that it is too long.
        {Generation::V2, timed(401, 0), "Bad shot[0]: too long duration 401"},
        {Generation::V2, timed(301, 0, 2), "Bad shot[0]: too long duration 301 / 300"},
        {Generation::V2, timed(300, 701, 2),
         "Bad shot[0]: too long duration(300)+delay(701) / 1000"},
        {Generation::V2, timed(300, 700, 2), "Bad shot[0]: too short delay 700us (min=2400us)"},
        {Generation::V2, timed(300, 700, 2, 3), ""},
        {Generation::V31, timed(200, 29, 2), "Bad shot[0]: too short delay 29us (min=30us)"},
        {Generation::V31, timed(200, 30, 2), ""},
        {Generation::V31, timed(401, 30, 2, 0, 0, true),
         "Bad shot[0]: too long duration 401 / 400"},
        // Without measures the total may be shorter.
        {Generation::V31, timed(30, 30, 0, 0, 64), ""},
        {Generation::V31, timed(30, 29, 0, 0, 64),
         "Bad shot[0]: too short duration(30)+delay(29) / 60"},
        // The flag that leaves timings alone doesn't cover shots that the generator can't do.
        {Generation::V31, timed(1, 0, 0, 0, 4), ""},
        {Generation::V31, timed(401, 0, 0, 0, 4), "Bad shot[0]: too long duration 401"},
        // One shot needs no pulse per trajectory, unless a cut made it several.
        {Generation::V31, timed(200, 0, 0, 2),
         "Invalid trigger mode (only one shot), please use ONE_PULSE_PER_SHOT instead."},
        {Generation::V31, timed(500, 0, 0, 2, 0, true), ""},
        {Generation::V31, timed(2800, 0, 0, 0, 0, true), "Too many shots (while slicing)"},
    });
}

TEST(TrajectoryUpload, HoldsSeveralRepeatedShotsToCompositeLimits) {
    const auto repeat = [](unsigned duration, unsigned trig) {
        return [=](Upload& u) {
            u.shots({shotOf(1, 0), shotOf(duration, 0)});
            u.set(EXEC_ELEC_REPEAT, trig);
        };
    };
    expectRefusals({
        {Generation::V31, repeat(2000000, 0), ""},
        {Generation::V31, repeat(2000001, 0), "Bad shot[1]: too long duration 2000001 / 2000000"},
        {Generation::V30, repeat(1, 0), "Too many shots in this mode"},
    });
}

TEST(TrajectoryUpload, RefusesToCutByLimitsThatContradictEachOther) {
    Upload upload(Generation::V31);
    upload.config.setTiming(TIME_MAX_TOTAL_SHOT, 100);
    upload.request.canSlice = true;
    upload.secure = false;
    EXPECT_EQ(upload.refusal(), "Bad min/max shot duration constraints from the generator.");
}

std::vector<std::string> timingsOf(const ElectronicTrajectory& trajectory) {
    std::vector<std::string> timings;
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        timings.push_back(std::to_string(trajectory[i].duration()) + "+" +
                          std::to_string(trajectory[i].delay()));
    }
    return timings;
}

TEST(TrajectoryUpload, CutsTooLongShotsAndLeavesTheOthers) {
    Upload upload(Generation::V31);
    upload.shots({shotOf(400, 600), shotOf(900, 50), shotOf(100, 0)});
    upload.request.canSlice = true;
    EXPECT_EQ(upload.refusal(), "");
    EXPECT_EQ(timingsOf(upload.trajectory),
              (std::vector<std::string>{"400+600", "400+0", "400+0", "100+50", "100+0"}));
    EXPECT_EQ(upload.trajectory[1].phaseCount(), 1U);
    EXPECT_EQ(upload.trajectory[2].phaseCount(), 0U);
}

TEST(TrajectoryUpload, SendsWhatItIsGivenWithoutChecks) {
    Upload upload(Generation::V31);
    upload.secure = false;
    upload.request.buffer = 77;
    upload.set(EXEC_ELEC_NORMAL, 9, 8 | 64, 9);
    upload.shots({shotOf(1, 0, 17, 0, 2), shotOf(5000, 0)});
    EXPECT_EQ(upload.refusal(), "");
    EXPECT_EQ(timingsOf(upload.trajectory), (std::vector<std::string>{"1+0", "5000+0"}));
    upload.shots({shotOf(5000, 0)});
    upload.request.canSlice = true;
    EXPECT_EQ(upload.refusal(), "");
    EXPECT_EQ(upload.trajectory.size(), 13U); // more than a buffer takes
}

/// A shot that makes its phases when it is sent, or fails to.
class ComputedShot : public PhaseShot {
public:
    explicit ComputedShot(unsigned phases) : PhaseShot(shotOf(200, 100, 0)), m_phases(phases) {}
    PhaseShot* clone() const override { return new ComputedShot(*this); }

protected:
    bool prepareData(const ElectronicTrajectory& trajectory) override {
        resizePhases(m_phases, false);
        return m_phases <= trajectory.channels();
    }

private:
    unsigned m_phases;
};

TEST(TrajectoryUpload, ChecksThePhasesThatADerivedShotMakes) {
    const auto computed = [](unsigned phases) {
        return [=](Upload& u) { u.trajectory.setShot(0, ComputedShot(phases)); };
    };
    expectRefusals({
        {Generation::V31, computed(8), ""},
        {Generation::V31, computed(0), "No phase specified for the first shot"},
        {Generation::V31, computed(3),
         "Bad shot[0]: bad number of phases (3), can only be 0, 1 or 8"},
        {Generation::V31, computed(9), "Shot[0]: error converting phases"},
        {Generation::V31,
         [&](Upload& u) {
             computed(9)(u);
             u.secure = false;
         },
         "Shot[0]: error converting phases"},
    });
}

/// Two shots, the first with a value for each of 2 channels, the second going on with them.
void twoShots(Upload& upload) {
    PhaseShot first = shotOf(200, 300, 8, 1, 1);
    for (unsigned char i = 0; i < 8; ++i) {
        first.setPhase(i, static_cast<unsigned char>(0xF8 + i));
    }
    first.setFrequency(0, 1000000);
    first.setAmplitude(0, 7);
    upload.shots({first, shotOf(400, 0, 0, 0, 0)});
}

const Bytes TWO_RECORDS = hex("0001 000F4240 0008 F8F9FAFBFCFDFEFF 0001 07 000000C8 0000012C"
                              "0000 0000 0000 00000190 00000000");

TEST(TrajectoryUpload, EncodesForEachProtocol) {
    Upload v2(Generation::V2);
    twoShots(v2);
    EXPECT_EQ(toHex(v2.run()), toHex(hex("00000001 00000008 00000008 FF 00000002") + TWO_RECORDS));

    Upload v30(Generation::V30);
    twoShots(v30);
    v30.set(EXEC_ELEC_COMPOSITE, 1, 0, 1);
    EXPECT_EQ(toHex(v30.run()), toHex(hex("00000001 00000008 00000008 FF 00000002") + TWO_RECORDS));

    Upload v31(Generation::V31);
    twoShots(v31);
    v31.set(EXEC_ELEC_QUICK, 2, 2 | 16 | 64, 1);
    EXPECT_EQ(toHex(v31.run()), toHex(hex("00000001 00000012 01 01 02 00 00000002") + TWO_RECORDS));
}

TEST(TrajectoryUpload, SendsTheMaskOfDisabledChannels) {
    Upload upload(Generation::V2);
    upload.config.setCount(NB_CHANNELS, 10);
    upload.trajectory.setChannelCount(10);
    upload.trajectory.enableChannel(0, false);
    upload.trajectory.enableChannel(8, false);
    upload.shots({shotOf(100, 0, 0, 1, 1)});
    upload.secure = false;
    EXPECT_EQ(toHex(upload.run()), toHex(hex("00000001 0000000A 00000008 FE02 00000001"
                                             "0001 00000000 0000 0001 00 00000064 00000000")));
}

TEST(TrajectoryUpload, LogsSixteenValuesOfEachKindOfAShot) {
    Upload upload(Generation::V31);
    upload.config.setCount(NB_CHANNELS, 18);
    upload.trajectory.setChannelCount(18);
    PhaseShot shot = shotOf(200, 300, 18, 18, 1);
    for (unsigned i = 0; i < 18; ++i) {
        shot.setPhase(i, static_cast<unsigned char>(i));
        shot.setFrequency(i, 1000000 + i);
    }
    upload.shots({shot, shotOf(400, 0, 0, 0, 0)});
    LogCapture log(Log::VERBOSE);
    upload.run();
    const LogLines expected = {
        {Log::VERBOSE,
         "- [  0] dur=    200 us, delay=    300 us, "
         "18 phas[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15], "
         "18 freq[1000000, 1000001, 1000002, 1000003, 1000004, 1000005, 1000006, 1000007, "
         "1000008, 1000009, 1000010, 1000011, 1000012, 1000013, 1000014, 1000015], 1 ampl[0]"},
        {Log::VERBOSE, "- [  1] dur=    400 us, delay=      0 us, 0 phas[], 0 freq[], 0 ampl[]"},
        {Log::INFO, "Trajectory of 2 shots, 18 / 18 channels, total duration=900 us"},
    };
    EXPECT_EQ(log.lines(), expected);
}

} // namespace
