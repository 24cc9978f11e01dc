"""The mechanical system, without a generator and on simulated mechanical boards."""

import os
import re
import unittest

import KORVANE

from support import (GeneratorTest, HOST, KorvaneTest, library, Script, SOURCE_DIR, trajectory,
                     wait_until)

ARGUMENT = int(KORVANE.FUSError.ERR_ARGUMENT)
BUSY = int(KORVANE.FUSError.ERR_MECH_ORIGINS_BUSY)
MECHANICS = int(KORVANE.FUSError.ERR_MECHANICS)
NOT_CONNECTED = int(KORVANE.FUSError.ERR_NOT_CONNECTED)
NO_CONFIG = int(KORVANE.FUSError.ERR_MECH_NO_CONFIG)
NO_ORIGIN = int(KORVANE.FUSError.ERR_MECH_NO_ORIGIN)
OK, USER_STOP = int(KORVANE.MechResult.OK), int(KORVANE.MechResult.USER_STOP)
Param, Move, Displacement = KORVANE.MechParam, KORVANE.Move, KORVANE.MechanicalDisplacement

DEFINITION = os.path.join(SOURCE_DIR, "examples", "definitions", "mechanics.ini")


def definition(parks):
    """The example's."""
    with open(DEFINITION, encoding="utf-8") as file:
        return file.read() if parks else re.sub("(?m)^initPark.*", "", file.read())


def displacement(*lists):
    """From a list of (position, delay) for each axis."""
    result = Displacement(len(lists))
    for axis, moves in enumerate(lists):
        for move in moves:
            result.addMove(axis, Move(*move))
    return result


class Values(KorvaneTest):

    def test_a_move_keeps_its_delay_within_16_bits(self):
        move = Move(position=-5, delay=70000)
        self.assertEqual((-5, 65535), (move.position(), move.delay()))
        move.setDelay(delay=10)
        move.setPosition(position=7)
        self.assertEqual(Move(7, 10), move)
        self.assertFalse(move == Move(7, 11) or move == Move(8, 10) or move == 7)

    def test_a_displacement_holds_copies_of_its_moves(self):
        moves = displacement([(1, 10), (2, 20)], [(3, 25)])
        moves.insertMove(actIndex=0, index=2, move=Move(4, 1))
        moves.getMove(actIndex=0, index=0).setDelay(9999)
        moves.setMove(actIndex=1, index=0, move=Move(5, 25))
        moves.removeMove(actIndex=0, index=1)
        self.assertEqual([(1, 10), (4, 1)], [(moves.getMove(0, i).position(),
                                              moves.getMove(0, i).delay())
                                             for i in range(moves.actuatorMoveCount(actIndex=0))])
        self.assertEqual((2, 25), (moves.actuatorCount(), moves.totalDuration()))
        for call in [(moves.actuatorMoveCount, 2), (moves.addMove, 2, Move(0, 1)),
                     (moves.getMove, 0, 2), (moves.insertMove, 0, 3, Move(0, 1)),
                     (moves.setMove, 1, 1, Move(0, 1)), (moves.removeMove, 1, 1)]:
            self.assertRaises(IndexError, *call)
        moves.clear()
        self.assertEqual((2, 0), (moves.actuatorCount(), moves.totalDuration()))


class Unconnected(KorvaneTest):

    def setUp(self):
        self.mech = library().mech
        self.addCleanup(self.mech.clearDefinition)
        self.assertTrue(self.mech.loadDefinition(filename=DEFINITION))

    def test_tells_what_the_definition_says(self):
        mech = self.mech
        questions = (mech.getActuatorName, mech.getActuatorAddress, mech.getActuatorMotionType,
                     mech.getActuatorMotionName, mech.getActuatorUnit, mech.getActuatorUnitName,
                     mech.getActuatorZeroTopology, mech.getActuatorZeroCount)
        motion, unit, zero = KORVANE.MotionType, KORVANE.MotionUnit, KORVANE.ZeroTopology
        self.assertEqual(
            [["x", 0, motion.TRANSLATION, "TRANSLATION", unit.MILLIMETER, "mm", zero.L1, 1],
             ["y", 1, motion.TRANSLATION, "TRANSLATION", unit.MILLIMETER, "mm", zero.L2, 2],
             ["angle", 2, motion.ROTATION, "ROTATION", unit.RADIAN, "rad", zero.R1, 1]],
            [[ask(i) for ask in questions] for i in range(mech.getActuatorCount())])
        self.assertEqual((-9000, 9000, 10, 100),
                         (mech.getActuatorLowerBound(1), mech.getActuatorUpperBound(1),
                          mech.getActuatorTargetTolerance(1), mech.getActuatorMovingTolerance(1)))
        self.assertEqual((1125, 250, 500, Move(0, 1125)),
                         (mech.getActuatorMinDelayForRange(0),
                          mech.getActuatorMinDelayForDistance(actuator=0, distance=4000),
                          mech.getActuatorDefaultDelayForDistance(actuator=0, distance=4000),
                          mech.getActuatorCenterMove(0)))
        self.assertEqual(-1500, mech.getActuatorUnitToStep(actuator=0, value=-7.5))
        self.assertAlmostEqual(1.570796, mech.getActuatorStepToUnit(actuator=2, steps=9000), 5)

    def test_every_question_about_an_actuator_that_is_not_there_is_an_index_error(self):
        for name in sorted(name for name in dir(self.mech) if "Actuator" in name):
            if re.match("(getActuator|isActuator)(?!Count)", name):
                arguments = (3, 1) if re.search("ToStep|ToUnit|Position|ForDist", name) else (3,)
                with self.subTest(name=name):
                    self.assertRaises(IndexError, getattr(self.mech, name), *arguments)

    def test_a_failed_load_leaves_nothing_and_says_why(self):
        for text, line in [("[File]\nversion = 1\n[Axis0]\n", "Missing section [Axis0/Board]"),
                           (definition(True).replace("kP = 1.2", "kP = -1"),
                            "Parameter requirement failed: [Axis0] m_kP != BAD_FLOAT. Config "
                            "rejected and cleared."), ("", None), ("[", None)]:
            self.assertTrue(self.mech.loadDefinition(DEFINITION))
            with self.logged(KORVANE.LogLevel.ERROR) as lines:
                self.assertFalse(self.mech.loadDefinitionString(definition=text))
                self.assertTrue(line is None or line in lines(), lines())
            self.assertEqual((False, 0), (self.mech.isDefinitionLoaded(),
                                          self.mech.getActuatorCount()))

    def test_commands_say_what_is_missing(self):
        mech, moves = self.mech, displacement([(0, 100)])
        for code, call in [
                (NOT_CONNECTED, (mech.readStatus,)), (NOT_CONNECTED, (mech.stop,)),
                (NOT_CONNECTED, (mech.clearAllOrigins,)), (NOT_CONNECTED, (mech.isOriginFound, 0)),
                (NOT_CONNECTED, (mech.clearDisplacement,)),
                (NOT_CONNECTED, (mech.readAbsoluteActuatorPosition, 0)),
                (NOT_CONNECTED, (mech.readActuatorPosition, 0)),
                (NOT_CONNECTED, (mech.readIntParameter, 0, Param.INVERTED)),
                (NOT_CONNECTED, (mech.readFloatParameter, 0, Param.KP)),
                (NOT_CONNECTED, (mech.setIntParameter, 0, Param.LOWER_BOUND, -5)),
                (NOT_CONNECTED, (mech.setFloatParameter, 0, Param.KP, 1)),
                (NOT_CONNECTED, (mech.getLastAsyncError, 0)),
                (NOT_CONNECTED, (mech.rawMoveSomeTime, 0, 100, 140)),
                (NOT_CONNECTED, (mech.rawMoveSomeSteps, 0, 100, 140)),
                (ARGUMENT, (mech.readIntParameter, 0, Param.UNDEFINED)),
                (ARGUMENT, (mech.rawMoveSomeTime, 0, 100, 256)),
                (NO_CONFIG, (mech.getMaxActuatorCount,)),
                (NO_CONFIG, (mech.getMaxDisplacementSize,)), (NO_CONFIG, (mech.findAllOrigins,)),
                (NO_CONFIG, (mech.findOrigin, 0, 9000, 119, 80, 4, True)),
                (NO_CONFIG, (mech.sendDisplacement, moves)), (NO_CONFIG, (mech.moveTo, moves)),
                (NO_CONFIG, (mech.executeDisplacement,)),
                (NO_CONFIG, (mech.prepareDisplacement, 1, 0)),
                (NO_CONFIG, (mech.moveActuatorTo, 0, 0, 100)),
                (NO_ORIGIN, (mech.getActuatorRelativePosition, 0, 0)),
                (NO_ORIGIN, (mech.getActuatorAbsolutePosition, 0, 0))]:
            with self.subTest(call=call[0].__name__):
                self.assertFUSError(code, *call)
        self.assertFalse(mech.sendConfig() or mech.isConfigSent() or mech.isAllOriginsFound())
        self.assertEqual(0, mech.getProtocolVersion())

    def test_refuses_arguments_of_other_types(self):
        mech = self.mech
        for call in [(mech.prepareDisplacement,), (mech.prepareDisplacement, 1),
                     (mech.findOrigin, 0, 9000, 256, 80, 4, True), (mech.moveTo, [(0, 1)]),
                     (mech.readIntParameter, 0, 5), (mech.setIntParameter, 0, Param.KP, 1 << 32),
                     (mech.setIntParameter, 0, Param.KP, -(1 << 31) - 1), (mech.isOriginFound, -1),
                     (mech.setIntParameter, 0, Param.KP, 0.5), (mech.loadDefinition, None),
                     (KORVANE.MechanicalStatus,), (KORVANE.Mechanics,), (Move, 1.5, 1)]:
            with self.subTest(call=call):
                self.assertRaises(TypeError, *call)


class Connected(GeneratorTest):

    def connect(self, parks=False):
        self.mech = library().mech
        self.addCleanup(self.mech.clearDefinition)
        self.assertTrue(self.mech.loadDefinitionString(definition(parks)))
        super().connect()
        self.assertTrue(self.mech.sendConfig())
        return self.recorder

    def find_origins(self):
        self.mech.findAllOrigins()
        self.assertEqual(OK, self.recorder.wait_for("origin")[-1][1])

    def end_of(self, motion):
        """(result, code)"""
        ends = lambda: [event[2:] for event in self.recorder.named("motion") if event[1] == motion]
        self.recorder.wait_until(ends, "the end of motion %d" % motion)
        return ends()[0]

    def positions(self):
        return [self.mech.readActuatorPosition(axis) for axis in range(3)]

    def test_finds_the_origins_and_moves(self):
        recorder, mech = self.connect(parks=True), self.mech
        self.assertEqual((True, 3, 100, 1 if self.protocol == "2.5" else 2),
                         (mech.isConfigSent(), mech.getMaxActuatorCount(),
                          mech.getMaxDisplacementSize(), mech.getProtocolVersion()))
        mech.findAllOrigins(force=True)
        self.assertFUSError(BUSY, mech.findAllOrigins)
        self.assertEqual([("origin", OK, "Displacement (or init) successfully executed")],
                         recorder.wait_for("origin"))
        self.assertTrue(mech.isAllOriginsFound() and mech.isOriginFound(2)
                        and mech.isActuatorOriginFound(2))
        self.assertEqual([2000, -2000, -500], self.positions())
        self.assertEqual(1002000, mech.getActuatorAbsolutePosition(actuator=0, relpos=2000))

        motion = mech.moveActuatorTo(actuator=0, position=1000, duration_ms=100)
        self.assertEqual((OK, 0), self.end_of(motion))
        self.assertIn(("start", motion, 1, 0, 122, 0, 1), recorder.named("start"))
        self.end_of(mech.moveTo(displacement([(500, 60)], [], [(300, 100)])))
        self.assertEqual([500, -2000, 300], self.positions())
        mech.sendDisplacement(displacement([(600, 50), (700, 50)], [], [(0, 60), (200, 30)]))
        self.assertEqual((OK, 0), self.end_of(mech.executeDisplacement()))
        self.assertEqual([700, -2000, 200], self.positions())
        motion = mech.executeDisplacement(execCount=2, execDelay_ms=10, timeout_ms=9000)
        self.assertEqual((OK, 0), self.end_of(motion))
        self.assertFUSError(ARGUMENT, mech.sendDisplacement, displacement([(9001, 50)]),
                            message="Move position above upper bound")
        self.assertFUSError(ARGUMENT, mech.executeDisplacement,
                            message="Can not execute if no Displacement has been sent")
        mech.sendDisplacement(displacement([(600, 50)]))
        mech.clearDisplacement()
        self.assertFUSError(ARGUMENT, mech.prepareDisplacement, 1, 0)
        self.assertRaises(IndexError, mech.sendDisplacement, displacement([], [], [], [(0, 1)]))

    def test_a_stop_ends_what_moves_and_a_second_one_is_no_error(self):
        recorder, mech = self.connect(), self.mech
        self.find_origins()
        motion = mech.moveActuatorTo(0, -9000, 30000)
        mech.stop()
        self.assertEqual(USER_STOP, self.end_of(motion)[0])
        mech.stop()
        status = mech.readStatus()
        self.assertEqual((False, 0x20, 24, 0, "Displacement stopped by the user"),
                         (status.ok(), status.module(), status.errorCode(), status.actuator(),
                          status.message()))
        self.assertEqual(str(status), str(KORVANE.MechanicalStatus(status)))
        with self.logged(KORVANE.LogLevel.INFO) as lines:
            status.log()
            mech.logHistory(actuator=0)
            self.assertIn("  Status[0x20180000]: mod=0x20 err=0x18 act=0 arg=0 msg=Displacement "
                          "stopped by the user", lines())
            self.assertTrue([line for line in lines() if "CMD_MOVE_TO starts" in line], lines())
        mech.findAllOrigins(True)
        mech.stop()
        recorder.wait_for("origin", 2)
        self.assertEqual(USER_STOP, recorder.named("origin")[1][1])

    def test_one_axis_is_searched_while_python_waits(self):
        self.connect()
        mech = self.mech
        self.assertIsNone(mech.findOrigin(actuator=0, timeout_ms=9000, firstDAC=119, maxDAC=80,
                                          stepDAC=4, park=False))
        self.assertTrue(mech.isOriginFound(actuator=0))
        self.assertFUSError(ARGUMENT, mech.findOrigin, 0, 9000, 50, 100, 10, False,
                            message="First DAC must be larger than max when below 127.")
        self.assertFUSError(MECHANICS, mech.findOrigin, 0, 9000, 126, 124, 1, False)
        self.assertFUSError(NO_ORIGIN, mech.moveTo, displacement([(0, 100)]))
        mech.clearAllOrigins()
        self.assertFalse(mech.isOriginFound(0))

    def test_parameters_read_as_they_were_set(self):
        self.connect()
        mech = self.mech
        for param, value in [(Param.INVERTED, True), (Param.TOLERANCE_TARGET, 255),
                             (Param.UPPER_BOUND, 4000), (Param.LOWER_BOUND, -4000)]:
            mech.setIntParameter(actuator=0, param=param, value=value)
            self.assertEqual(value % (1 << 32), mech.readIntParameter(actuator=0, param=param))
        mech.setFloatParameter(actuator=0, param=Param.KI, value=0.25)
        self.assertEqual(0.25, mech.readFloatParameter(actuator=0, param=Param.KI))
        self.assertEqual(0, mech.getLastAsyncError(actuator=0))
        self.assertFUSError(MECHANICS, mech.setIntParameter, 0, Param.R_ORIGIN_POS, 1)
        with self.logged(KORVANE.LogLevel.INFO) as lines:
            self.assertTrue(mech.sendConfig())
            self.assertIn("Soft init failed, trying normal init.", lines())
            written = len(lines())
            self.assertTrue(mech.sendConfig())
            self.assertFalse([line for line in lines()[written:] if "SetMechParam" in line])

    def test_raw_motions_need_no_origin(self):
        self.connect()
        mech = self.mech
        before = mech.readAbsoluteActuatorPosition(actuator=0)
        self.assertEqual((OK, 0), self.end_of(mech.rawMoveSomeSteps(actuator=0, steps=300,
                                                                    DAC=159)))
        self.assertEqual(before + 300, mech.readAbsoluteActuatorPosition(0))
        self.end_of(mech.rawMoveSomeTime(actuator=0, duration_ms=20, DAC=95))
        self.assertEqual(before, mech.readAbsoluteActuatorPosition(0))

    def test_a_trajectory_drives_the_displacement_that_was_prepared(self):
        recorder, mech = self.connect(), self.mech
        self.find_origins()
        mech.sendDisplacement(displacement([(1500, 100), (1000, 100)]))
        mech.prepareDisplacement(execCount=1, execDelay_ms=0)
        self.gen.sendTrajectory(0, trajectory(3, self.gen.getChannelCount(), delay_us=50000),
                                mechMode=KORVANE.ElecMechMode.CONTINUE)
        execution = self.gen.executeTrajectory(0, 1, self.gen.getMinTrajectoryDelay())
        self.assertEqual(KORVANE.ExecStatus.OK_FINISHED, recorder.wait_for_end().status())
        self.assertEqual(3, len(recorder.named("shot")))
        self.assertEqual((OK, 0), self.end_of(execution))
        self.assertEqual(1000, mech.readActuatorPosition(0))

    def test_a_disconnect_ends_a_search_and_the_next_connection_works(self):
        recorder, mech = self.connect(), self.mech
        start = mech.readAbsoluteActuatorPosition(2)
        mech.findAllOrigins()
        wait_until(lambda: mech.readAbsoluteActuatorPosition(2) != start, "motion")
        self.fus.disconnect()
        self.assertEqual(USER_STOP, recorder.wait_for("origin")[0][1])
        self.assertEqual((True, False, False), (mech.isDefinitionLoaded(), mech.isConfigSent(),
                                                mech.isAllOriginsFound()))
        self.assertTrue(self.fus.connect(HOST, self.simulator.port))
        self.assertTrue(mech.sendConfig())
        mech.findAllOrigins()
        self.assertEqual(OK, recorder.wait_for("origin", 2)[1][1])

    def test_a_script_may_end_in_the_middle_of_a_search(self):
        self.connect()
        self.fus.disconnect()
        code, output, errors = Script("""
            import sys, KORVANE
            fus = KORVANE.FUS()
            assert fus.mech.loadDefinition(sys.argv[1]) and fus.connect("%s", int(sys.argv[2]))
            mech = fus.mech
            del fus                 # the mechanical system keeps it
            assert mech.sendConfig()
            mech.findAllOrigins(True)
            print("searching")
            sys.exit(3)
            """ % HOST, DEFINITION, self.simulator.port).wait()
        self.assertEqual((3, "searching\n"), (code, output), errors)


class ConnectedV2(Connected):

    protocol = "2.5"


if __name__ == "__main__":
    unittest.main()
