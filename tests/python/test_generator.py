"""Connection, description, shooting and boards, against a simulated generator."""

import contextlib
import socket
import struct
import threading
import unittest

import KORVANE

from support import (free_port, GeneratorTest, HOST, KorvaneTest, library,
                     needs_simulator, Recorder, shot, Simulator, trajectory, wait_until)

MODE, FLAG, STATUS, BOARD = (KORVANE.ElecExecMode, KORVANE.ExecFlag, KORVANE.ExecStatus,
                             KORVANE.BoardType)
NOT_CONNECTED = int(KORVANE.FUSError.ERR_NOT_CONNECTED)
ARGUMENT = int(KORVANE.FUSError.ERR_ARGUMENT)
PROTOCOL = int(KORVANE.FUSError.ERR_PROTOCOL)
TIMEOUT = int(KORVANE.FUSError.ERR_TIMEOUT)
PACKET = int(KORVANE.FUSError.ERR_PACKET)

CLOCK_FREQUENCY = 1379      # parameters of the processor board
AMPLITUDE_LIMIT = 1386
COMMAND_READ_PARAMETER = 93
COMMAND_SYSTEM_STATE = 1308


class Unconnected(KorvaneTest):

    def test_commands_say_so(self):
        fus, gen, path = library(), library().gen, KORVANE.ElectronicTrajectory(1)
        calls = [
            (fus.getProtocolVersion,), (fus.getFirmwareVersion, BOARD.PROCESSOR),
            (fus.getHardwareVersion, BOARD.PROCESSOR), (fus.getBoardCount, BOARD.PROCESSOR),
            (fus.getDetectedBoardCount, BOARD.PROCESSOR), (fus.getBoard, BOARD.PROCESSOR, 0),
            (fus.getBoardUPB,), (fus.getBoardSNT, 0), (fus.getBoardAMP, 0), (fus.getBoardMOT,),
            (fus.sendRawData, "x"), (fus.sendCommand, 1308, ""),
            (fus.sendBoardCommand, KORVANE.HardwareID.PROCESSOR, 0, 0, 93, ""),
            (fus.checkAnswer, 1, 0), (fus.readAnswer, 1, 0, 100),
            (fus.readBoardAnswer, KORVANE.HardwareID.PROCESSOR, 0, 1, 0),
            (gen.getChannelCount,), (gen.getBufferCount,), (gen.getChannelMeasureCount,),
            (gen.getAmplifierBoardMeasureCount,), (gen.getAmplifierCurrentCount,),
            (gen.getAmplifierTemperatureCount,), (gen.getPowerSupplyCount,),
            (gen.hasMultiplexer,), (gen.hasTriggerInput,), (gen.hasShotRamp,),
            (gen.getMaxTrajectorySize, MODE.NORMAL), (gen.getMinShootingDuration, MODE.NORMAL),
            (gen.getMaxShootingDuration, MODE.NORMAL), (gen.getMinTotalShotDuration, MODE.NORMAL),
            (gen.getMaxTotalShotDuration, MODE.NORMAL), (gen.getMinRepeatShotDelay,),
            (gen.getMinTrajectoryDelay,), (gen.getMaxTrajectoryDelay, MODE.NORMAL),
            (gen.getMaxRampDuration,), (gen.clearBuffer, 0), (gen.sendTrajectory, 0, path),
            (gen.executeTrajectory, 0, 1, 0), (gen.stopTrajectory,),
            (gen.readBoardParam, BOARD.PROCESSOR, 0, 1),
            (gen.writeBoardParam, BOARD.PROCESSOR, 0, 1, 1),
            (gen.readBoardMeasures, BOARD.PROCESSOR, 0, True),
            (gen.readBoardThreshold, BOARD.PROCESSOR, 0, 0, True),
            (gen.setBoardThreshold, BOARD.PROCESSOR, 0, 0, True, 1),
            (gen.refreshBoardsStatus,), (gen.getBoardStatus, BOARD.PROCESSOR, 0),
        ]
        for call in calls:
            with self.subTest(call=call[0].__name__):
                self.assertFUSError(NOT_CONNECTED, *call)

    def test_questions_about_the_link_have_an_answer(self):
        fus = library()
        self.assertEqual((False, 0, 0, KORVANE.GenType.UNKNOWN),
                         (fus.isConnected(), fus.getTotalSent(), fus.getTotalReceived(),
                          fus.simulatorType()))
        fus.disconnect()

    def test_time_out_is_rounded_up_to_steps(self):
        fus = library()
        self.addCleanup(fus.setDefaultAnswerTimeout, fus.getDefaultAnswerTimeout())
        for asked, accepted, result in [(1, True, 200), (200, True, 200), (201, True, 400),
                                        (5000, True, 5000), (0x0FFFFFFE, True, 5000),
                                        (0x0FFFFFFF, False, 5000)]:
            with self.subTest(asked=asked):
                self.assertEqual(accepted, fus.setDefaultAnswerTimeout(timeout_ms=asked))
                self.assertEqual(result, fus.getDefaultAnswerTimeout())
        self.assertRaises(TypeError, fus.setDefaultAnswerTimeout, -1)

    def test_secure_mode_is_on_until_it_is_switched_off(self):
        fus = library()
        self.addCleanup(fus.setSecureMode, True)
        self.assertTrue(fus.isInSecureMode())
        fus.setSecureMode(enabled=False)
        self.assertFalse(fus.isInSecureMode())


class Connecting(KorvaneTest):

    def tearDown(self):
        library().disconnect()
        library().clearListeners()

    def test_fails_without_an_exception_where_no_generator_is(self):
        fus = library()
        for arguments in [(), ("", 1670), (HOST, 0), (HOST, free_port(), 500),
                          ("no.such.host.invalid", 1670, 500), ("1.2.3.4.5.6", 1670, 500)]:
            with self.subTest(arguments=arguments):
                self.assertIs(False, fus.connect(*arguments))
                self.assertFalse(fus.isConnected())

    def test_takes_no_wrong_types(self):
        for arguments in [(None,), (HOST, "1670"), (HOST, -1), (HOST, 65536), (HOST, 1670, -1)]:
            with self.subTest(arguments=arguments):
                self.assertRaises(TypeError, library().connect, *arguments)

    def test_uses_its_default_arguments(self):
        with self.logged() as lines:
            library().connect()
            library().connect(HOST, port=free_port())
            text = "\n".join(lines())
        self.assertIn("Invalid host address or port", text)
        self.assertRegex(text, r"Connecting to \(127\.0\.0\.1 @ \d+\) waiting 4000 ms")

    def test_costs_nothing_but_the_connection_where_something_else_listens(self):
        for greeting in [b"", b"\0", b"\0\0\0\0", b"\xff\xff\xff\xff", b"\0\0\0\x20" + b"x" * 31,
                         b"SSH-2.0-OpenSSH_9.2p1 and so on and on\r\n"]:
            with self.subTest(greeting=greeting), contextlib.closing(socket.socket()) as listener:
                listener.bind((HOST, 0))
                listener.listen(1)
                answering = threading.Thread(target=self.greet, args=(listener, greeting))
                answering.start()
                self.assertFalse(library().connect(HOST, listener.getsockname()[1], 500))
                answering.join()

    @staticmethod
    def greet(listener, greeting):
        connection, _ = listener.accept()
        with contextlib.closing(connection):
            connection.sendall(greeting)

    @needs_simulator
    def test_and_disconnecting_are_events(self):
        recorder = Recorder()
        library().registerListener(recorder)
        with Simulator() as simulator:
            self.assertTrue(library().connect(HOST, simulator.port, timeout_ms=4000))
            self.assertTrue(library().isConnected())
            recorder.wait_for("connect")
            self.assertTrue(library().connect(HOST, simulator.port))
            library().disconnect()
            self.assertFalse(library().isConnected())
            recorder.wait_for("disconnect", 2)
            library().disconnect()
        self.assertEqual([("connect",), ("disconnect", 0)] * 2, recorder.events)

    @needs_simulator
    def test_is_an_error_when_the_generator_refuses_to_describe_itself(self):
        with Simulator("--fault", "board-error:text=Out of order") as simulator:
            with self.assertRaises(KORVANE.FUSException):
                library().connect(HOST, simulator.port)
            self.assertFalse(library().isConnected())

    @needs_simulator
    def test_counts_the_bytes_of_the_link(self):
        with Simulator() as simulator:
            library().connect(HOST, simulator.port)
            sent, received = library().getTotalSent(), library().getTotalReceived()
            library().gen.stopTrajectory()
            self.assertEqual((sent + 10, received),
                             (library().getTotalSent(), library().getTotalReceived()))

    @needs_simulator
    def test_ends_with_an_event_when_the_link_is_lost(self):
        recorder = Recorder()
        library().registerListener(recorder)
        simulator = Simulator()
        self.assertTrue(library().connect(HOST, simulator.port))
        recorder.wait_for("connect")
        simulator.die()
        recorder.wait_for("disconnect")
        self.assertEqual([("connect",), ("disconnect", 1)], recorder.events)
        self.assertFalse(library().isConnected())
        self.assertFUSError(NOT_CONNECTED, library().gen.getChannelCount)

    @needs_simulator
    def test_survives_a_link_that_breaks_at_any_byte(self):
        for byte in (0, 3, 40, 5000, 9000, 9500):
            with self.subTest(byte=byte):
                with Simulator("--fault", "close-at:byte=%d" % byte) as simulator:
                    try:
                        library().connect(HOST, simulator.port, 1000)
                    except KORVANE.FUSException as error:
                        self.assertTrue(error.message())
                    wait_until(lambda: not library().isConnected(), "end of the connection")


class Description(GeneratorTest):

    def test_of_the_generator_is_what_it_sent(self):
        self.connect()
        gen, fus = self.gen, self.fus
        self.assertEqual("3.1.0.0", str(fus.getProtocolVersion()))
        self.assertEqual("3.1.4.0", str(fus.getFirmwareVersion(BOARD.PROCESSOR)))
        self.assertEqual("2013.2.1.0", str(fus.getHardwareVersion(btype=BOARD.SYNTHESIZER)))
        self.assertEqual(KORVANE.GenType.SIMULATOR, fus.simulatorType())
        for call, expected in [
                (gen.getChannelCount, 256), (gen.getBufferCount, 8),
                (gen.getChannelMeasureCount, 4), (gen.getAmplifierBoardMeasureCount, 2),
                (gen.getPowerSupplyCount, 4), (gen.hasMultiplexer, False),
                (gen.hasTriggerInput, True), (gen.hasShotRamp, True),
                (gen.getMaxRampDuration, 100000), (gen.getMinRepeatShotDelay, 2400)]:
            with self.subTest(call=call.__name__):
                self.assertEqual(expected, call())

    def test_has_limits_for_each_mode(self):
        self.connect()
        gen = self.gen
        for call, arguments, expected in [
                (gen.getMaxTrajectorySize, (MODE.NORMAL,), 2048),
                (gen.getMinTotalShotDuration, (MODE.NORMAL,), 10000),
                (gen.getMinTotalShotDuration, (MODE.NORMAL, 0), 10000),
                (gen.getMinTotalShotDuration, (MODE.NORMAL, FLAG.OMIT_ALL_MEASURES), 2000),
                (gen.getMinTotalShotDuration, (MODE.REPEAT, 64), 100),
                (gen.getMaxShootingDuration, (MODE.NORMAL,), 2000000),
                (gen.getMaxTotalShotDuration, (MODE.NORMAL,), 10000000)]:
            with self.subTest(call=call.__name__, arguments=arguments):
                self.assertEqual(expected, call(*arguments))
        for mode in (MODE.NONE, MODE(77)):
            self.assertFUSError(ARGUMENT, gen.getMinShootingDuration, mode)
        self.assertRaises(TypeError, gen.getMinShootingDuration, 0)

    def test_lists_the_boards(self):
        self.connect()
        fus = self.fus
        counts = [(fus.getBoardCount(kind), fus.getDetectedBoardCount(kind))
                  for kind in (BOARD.PROCESSOR, BOARD.SYNTHESIZER, BOARD.AMPLIFIER,
                               BOARD.MECHANICS)]
        self.assertEqual([(1, 1), (16, 16), (16, 16), (1, 1)], counts)
        processor, synthesizer, amplifier = (fus.getBoardUPB(), fus.getBoardSNT(index=15),
                                             fus.getBoardAMP(1))
        self.assertEqual((8, 2048, True, False),
                         (processor.bufferCount(), processor.bufferMaxSize(),
                          processor.hasTriggerInput(), processor.hasMultiplexer()))
        self.assertEqual((15, 4, True, True, 16),
                         (synthesizer.address(), synthesizer.synthesizerCount(),
                          synthesizer.hasHardwareShotDuration(),
                          synthesizer.hasWatchdogErrorDetection(),
                          synthesizer.channelMask().activeCount()))
        self.assertEqual((1, BOARD.AMPLIFIER, True, 16),
                         (amplifier.address(), amplifier.boardType(), amplifier.isActive(),
                          len(amplifier.channelMask())))
        board = fus.getBoard(BOARD.PROCESSOR, 0)
        self.assertEqual(("2013.2.1.0", "3.1.4.0", 0x0A000000, 0x5D1B03E7, "2019-03-12 09:41:07",
                          "7f3c1a9"),
                         (str(board.hardwareVersion()), str(board.firmwareVersion()),
                          board.uniqueID(), board.CRC(), board.buildTime(), board.revisionHash()))
        self.assertIsInstance(processor, KORVANE.Board)

    def test_refuses_boards_and_measures_that_are_not_there(self):
        self.connect()
        fus = self.fus
        for call in [lambda: fus.getBoardSNT(16), lambda: fus.getBoardAMP(16),
                     lambda: fus.getBoard(BOARD.MECHANICS, 1),
                     lambda: fus.getBoard(BOARD.PROCESSOR, 1),
                     lambda: fus.getBoardCount(BOARD(7)), lambda: fus.getFirmwareVersion(BOARD(7)),
                     lambda: fus.getBoardAMP(0).boardMeasure(2),
                     lambda: fus.getBoardAMP(0).channelMeasure(4)]:
            self.assertRaises(IndexError, call)
        for call in [lambda: fus.getBoardSNT(-1), lambda: fus.getBoard(2, 0)]:
            self.assertRaises(TypeError, call)

    def test_tells_what_each_measure_means(self):
        self.connect()
        board = self.fus.getBoardAMP(0)
        names = [board.channelMeasure(i).name() for i in range(board.channelMeasureCount())]
        self.assertEqual(["vrf", "irf", "pvi", "pvr"], names)
        measure = board.boardMeasure(measureIndex=0)
        self.assertEqual(("tem", 2, 0, 65535, 0, 960),
                         (measure.name(), measure.size(), measure.minADCValue(),
                          measure.maxADCValue(), measure.lowerThreshold(),
                          measure.upperThreshold()))
        self.assertEqual((KORVANE.Unit.CELSIUS, True, True),
                         (measure.unit(), bool(measure.unitSymbol()), bool(measure.unitName())))
        self.assertAlmostEqual(20.0, measure.physicalFromADC(adcValue=480))
        self.assertEqual(480, measure.physicalToADC(phyValue=20.0))


class Shooting(GeneratorTest):

    def test_gives_the_results_in_the_order_of_firing(self):
        recorder = self.connect()
        execution = self.shoot(shots=2, executions=3)
        recorder.wait_for_end()
        order = []
        for event in recorder.events[1:]:
            if event[0] == "shot":
                order.append("Shot%d" % event[2].shotIndex())
                self.assertEqual(execution, event[1])
            elif event[0] == "exec":
                order.append("Exec%d" % event[1].index())
        self.assertEqual(["Shot0", "Shot1", "Exec0", "Shot0", "Shot1", "Exec1", "Shot0", "Shot1",
                          "Exec2"], order)
        self.assertEqual([("start", execution, 3, 0, 0, 0, 0)], recorder.named("start"))
        self.assertEqual([0, 0, 1, 1, 2, 2], [e[2].execIndex() for e in recorder.named("shot")])

    def test_gives_results_that_can_be_kept(self):
        recorder = self.connect()
        execution = self.shoot(duration_us=5000, amplitude=200)
        recorder.wait_for_end()
        self.fus.disconnect()
        result = recorder.named("shot")[1][2]
        self.assertEqual((0, 1, 1, 256, 4, 4), (
            result.execIndex(), result.shotIndex(), result.index(), result.channelCount(),
            result.componentCount(), result.channelMeasureCount()))
        self.assertEqual(5000, result.duration())
        self.assertTrue(abs(result.totalGap()) < 1000, result.totalGap())
        raw = [[result.channelRawValue(c, m) for m in range(4)] for c in range(256)]
        self.assertTrue(all(0 <= value <= 255 for row in raw for value in row))
        self.assertGreater(sum(row[0] for row in raw), 0)
        self.assertEqual(raw[9][3], result.component(channel=9, measure=3))
        self.assertEqual((False, -1.0, -1.0, -1.0),
                         (result.containsBoardData(), result.channelPhysicalValue(0, 0),
                          result.value(0, 0), result.power(channel=0)))
        self.assertIsInstance(result.amplifierType(), KORVANE.AmplifierType)
        for call in [lambda: result.channelRawValue(256, 0), lambda: result.channelRawValue(0, 4),
                     lambda: result.power(256), lambda: result.boardRawValue(99, 0)]:
            self.assertRaises((IndexError, KORVANE.FUSException), call)
        self.assertRaises(TypeError, result.channelRawValue, -1, 0)
        end = recorder.named("exec")[0][1]
        self.assertEqual((execution, 0, 0, STATUS.OK_FINISHED, "EXEC_OK_FINISHED", True, False), (
            end.id(), end.index(), end.remaining(), end.status(), end.statusName(),
            end.isFinished(), end.isError()))

    def test_measures_the_boards_on_demand(self):
        recorder = self.connect()
        self.gen.sendTrajectory(buffer=7, trajectory=trajectory(1), elecMode=MODE.NORMAL,
                                trigMode=KORVANE.TriggerMode.IGNORED,
                                mechMode=KORVANE.ElecMechMode.NONE,
                                execFlags=FLAG.ADD_BOARD_MEASURES, canSlice=False)
        self.gen.executeTrajectory(buffer=7, execCount=1, delay_us=0, sendResults=True)
        recorder.wait_for_end()
        result = recorder.named("shot")[0][2]
        self.assertEqual((True, 16, 2), (result.containsBoardData(), result.boardCount(),
                                         result.boardMeasureCount()))
        self.assertGreater(result.boardRawValue(board=15, measure=0), 320)
        self.assertEqual(-1.0, result.boardPhysicalValue(board=15, measure=0))
        self.assertRaises(IndexError, result.boardRawValue, 16, 0)

    def test_goes_without_results_on_demand(self):
        recorder = self.connect()
        self.gen.sendTrajectory(0, trajectory(1))
        self.gen.sendTrajectory(1, trajectory(1))
        self.assertEqual(0, self.gen.executeTrajectory(0, 1, 0, False))
        wait_until(self.may_start, "end of the first execution")
        execution = self.execution
        self.assertEqual(execution, recorder.wait_for_end().id())
        self.assertEqual([execution], [event[1] for event in recorder.named("shot")])

    def may_start(self):
        """Whether the generator takes another start, as it does when nothing runs."""
        try:
            self.execution = self.gen.executeTrajectory(1, 1, 0)
            return True
        except KORVANE.FUSException:
            return False

    def test_refuses_what_the_generator_can_not_do(self):
        self.connect()
        gen, good = self.gen, trajectory(1)
        for call, message in [
                (lambda: gen.sendTrajectory(0, KORVANE.ElectronicTrajectory(256)),
                 "Empty trajectory"),
                (lambda: gen.sendTrajectory(0, trajectory(1, channels=64)),
                 "Invalid channel count"),
                (lambda: gen.sendTrajectory(0, good, MODE(9)), "Bad argument"),
                (lambda: gen.sendTrajectory(0, good, MODE.COMPOSITE),
                 "Invalid execution mode (COMPOSITE no more available, use REPEAT mode instead)."),
                (lambda: gen.sendTrajectory(0, trajectory(1, duration_us=10, delay_us=5)),
                 "Bad shot[0]: too short duration(10)+delay(5) / 10000"),
                (lambda: gen.executeTrajectory(0, 0, 0),
                 "Trajectory execution count must be >= 1")]:
            with self.subTest(message=message):
                self.assertFUSError(ARGUMENT, call, message=message)
        for call in [lambda: gen.sendTrajectory(8, good), lambda: gen.executeTrajectory(8, 1, 0),
                     lambda: gen.clearBuffer(8)]:
            self.assertRaises(IndexError, call)
        for arguments in [(0, None), (0, shot()), (-1, good), (0, good, 0),
                          (0, good, MODE.NORMAL, 1),
                          (0, good, MODE.NORMAL, KORVANE.TriggerMode.IGNORED, 1)]:
            self.assertRaises(TypeError, gen.sendTrajectory, *arguments)

    def test_cuts_a_shot_that_is_too_long_when_it_may_and_leaves_the_callers_one_whole(self):
        recorder = self.connect("--time-scale", "0")
        long = trajectory(1, duration_us=5000000, delay_us=500000)
        with self.assertRaises(KORVANE.FUSException):
            self.gen.sendTrajectory(0, long)
        self.gen.sendTrajectory(0, long, canSlice=True)
        self.gen.executeTrajectory(0, 1, 0)
        recorder.wait_for_end()
        durations = [event[2].duration() for event in recorder.named("shot")]
        self.assertEqual(5000000, sum(durations))
        self.assertGreater(len(durations), 1)
        self.assertEqual((1, 5000000), (len(long), long[0].duration()))
        long.sliceShots(MODE.NORMAL)
        self.assertEqual(len(durations), len(long))

    def test_stops_on_demand(self):
        recorder = self.connect()
        self.shoot(shots=2, executions=100000)
        recorder.wait_for("shot")
        self.gen.stopTrajectory()
        end = recorder.wait_for_end()
        self.assertEqual((STATUS.STOP_BY_USER, True, False),
                         (end.status(), end.isFinished(), end.isError()))

    def test_tells_why_the_generator_stopped(self):
        for reason, status in [("internal", STATUS.STOP_INTERNAL_ERROR),
                               ("amplifier-temp", STATUS.STOP_AMPLIFIER_TEMP),
                               ("amplifier-current", STATUS.STOP_AMPLIFIER_CURRENT),
                               ("mechanical", STATUS.STOP_MECHANICAL_ERROR),
                               ("trigger", STATUS.STOP_TRIGGER_INPUT),
                               ("timing", STATUS.STOP_TIMING), ("watchdog", STATUS.STOP_WATCHDOG),
                               ("heartbeat", STATUS.STOP_HEARTBEAT)]:
            with self.subTest(reason=reason):
                recorder = self.connect("--fault",
                                        "stop:execution=1,shot=1,reason=" + reason)
                self.shoot(shots=3, executions=3)
                end = recorder.wait_for_end()
                self.assertEqual((status, 1, True), (end.status(), end.index(), end.isError()))
                self.assertTrue(end.errorMessage())
                self.assertEqual(4, len(recorder.named("shot")))
                self.fus.disconnect()

    def test_fails_when_the_generator_does_not_answer(self):
        self.connect("--fault", "missing:command=CMD_TRAJ_SEND_V3")
        self.addCleanup(self.fus.setDefaultAnswerTimeout, self.fus.getDefaultAnswerTimeout())
        self.fus.setDefaultAnswerTimeout(200)
        self.assertFUSError(TIMEOUT, self.gen.sendTrajectory, 0, trajectory(1))

    def test_passes_on_the_generators_own_error(self):
        self.connect("--fault",
                     "error:command=CMD_TRAJ_SEND_V3,code=0x13090000,text=Out of memory")
        with self.assertRaises(KORVANE.FUSException) as caught:
            self.gen.sendTrajectory(0, trajectory(1))
        self.assertEqual(0x13090000, caught.exception.hardwareCode())
        self.assertIn("Out of memory", caught.exception.message())

    def test_may_wait_for_a_trigger(self):
        recorder = self.connect("--trigger-every", "30")
        self.gen.sendTrajectory(0, trajectory(2),
                                trigMode=KORVANE.TriggerMode.ONE_PULSE_PER_TRAJECTORY,
                                execFlags=FLAG.IGNORE_UNEXP_TRIGGER)
        self.gen.executeTrajectory(0, 2, 0)
        self.assertEqual(STATUS.OK_FINISHED, recorder.wait_for_end().status())


class OlderGenerators(GeneratorTest):

    def test_shoot_too(self):
        for self.protocol, channels in [("2.5", 64), ("3.0", 128)]:
            with self.subTest(protocol=self.protocol):
                recorder = self.connect()
                self.assertEqual(self.protocol + ".0.0", str(self.fus.getProtocolVersion()))
                self.assertEqual(channels, self.gen.getChannelCount())
                self.shoot(shots=2, executions=2, duration_us=30000, delay_us=20000)
                self.assertEqual(STATUS.OK_FINISHED, recorder.wait_for_end().status())
                self.assertEqual(4, len(recorder.named("shot")))
                self.fus.disconnect()

    def test_of_protocol_2_have_no_board_commands(self):
        self.protocol = "2.5"
        self.connect()
        gen = self.gen
        for call in [lambda: gen.readBoardParam(BOARD.PROCESSOR, 0, CLOCK_FREQUENCY),
                     lambda: gen.writeBoardParam(BOARD.PROCESSOR, 0, CLOCK_FREQUENCY, 1),
                     lambda: gen.readBoardMeasures(BOARD.PROCESSOR, 0, True),
                     lambda: gen.readBoardThreshold(BOARD.AMPLIFIER, 0, 0, True),
                     lambda: gen.setBoardThreshold(BOARD.AMPLIFIER, 0, 0, True, 1),
                     gen.refreshBoardsStatus, lambda: gen.getBoardStatus(BOARD.PROCESSOR, 0)]:
            self.assertFUSError(PROTOCOL, call)
        self.assertEqual(KORVANE.GenType.UNKNOWN, self.fus.simulatorType())
        self.assertFUSError(ARGUMENT, gen.sendTrajectory, 0, trajectory(1, 64),
                            execFlags=FLAG.ADD_BOARD_MEASURES,
                            message="Execution flags should be null in protocol v<3.")


class Boards(GeneratorTest):

    def test_have_parameters(self):
        self.connect()
        gen = self.gen
        self.assertEqual(24000000, gen.readBoardParam(boardType=BOARD.PROCESSOR, boardAddress=0,
                                                      param=CLOCK_FREQUENCY))
        gen.writeBoardParam(BOARD.PROCESSOR, 0, AMPLITUDE_LIMIT, value=100)
        self.assertEqual(100, gen.readBoardParam(BOARD.PROCESSOR, 0, AMPLITUDE_LIMIT))

    def test_refuse_parameters_that_they_do_not_have(self):
        self.connect()
        with self.assertRaises(KORVANE.FUSException) as caught:
            self.gen.readBoardParam(BOARD.PROCESSOR, 0, 60000)
        self.assertNotEqual(0, caught.exception.hardwareCode())
        self.assertIn("hwcode: 0x%08X, " % caught.exception.hardwareCode(), str(caught.exception))

    def test_that_are_not_there_can_not_be_asked(self):
        self.connect()
        gen = self.gen
        for kind, address in [(BOARD.AMPLIFIER, 16), (BOARD.MECHANICS, 1), (BOARD.PROCESSOR, 1),
                              (BOARD.AMPLIFIER, 1 << 20)]:
            for call in [lambda: gen.readBoardParam(kind, address, 1),
                         lambda: gen.writeBoardParam(kind, address, 1, 1),
                         lambda: gen.readBoardMeasures(kind, address, True),
                         lambda: gen.readBoardThreshold(kind, address, 0, True),
                         lambda: gen.setBoardThreshold(kind, address, 0, True, 1),
                         lambda: gen.getBoardStatus(kind, address)]:
                self.assertFUSError(ARGUMENT, call)
        self.assertRaises((IndexError, KORVANE.FUSException), gen.readBoardParam, BOARD(9), 0, 1)
        self.assertRaises(TypeError, BOARD, -1)

    def test_measure_as_raw_or_physical_values(self):
        self.connect()
        raw = self.gen.readBoardMeasures(BOARD.AMPLIFIER, 3, ADConly=True)
        physical = self.gen.readBoardMeasures(BOARD.AMPLIFIER, 3, ADConly=False)
        self.assertEqual([float] * 4, [type(value) for value in raw + physical])
        self.assertTrue(480 <= raw[0] <= 560, raw)
        self.assertTrue(20.0 <= physical[0] <= 30.0, physical)

    def test_have_thresholds(self):
        self.connect()
        gen = self.gen
        self.assertEqual(960, gen.readBoardThreshold(BOARD.AMPLIFIER, 0, 0, True))
        gen.setBoardThreshold(boardType=BOARD.AMPLIFIER, boardAddress=0, measureIndex=0,
                              upper=True, threshold=900)
        self.assertEqual(900, gen.readBoardThreshold(boardType=BOARD.AMPLIFIER, boardAddress=0,
                                                     measureIndex=0, upper=True))
        self.assertEqual(0, gen.readBoardThreshold(BOARD.AMPLIFIER, 0, 0, False))
        self.assertRaises(IndexError, gen.readBoardThreshold, BOARD.AMPLIFIER, 0, 2, True)
        self.assertRaises(IndexError, gen.setBoardThreshold, BOARD.AMPLIFIER, 0, 2, True, 1)

    def test_have_a_status(self):
        self.connect()
        self.assertIs(True, self.gen.refreshBoardsStatus())
        self.assertEqual(0, self.gen.getBoardStatus(boardType=BOARD.AMPLIFIER, boardAddress=0))


class RawAccess(GeneratorTest):

    def test_sends_a_command_and_reads_its_answer(self):
        self.connect()
        sent = self.fus.sendCommand(type=COMMAND_SYSTEM_STATE, data="")
        wait_until(lambda: self.fus.checkAnswer(id=sent, expectedType=COMMAND_SYSTEM_STATE),
                   "answer")
        content = self.fus.readAnswer(id=sent, expectedType=COMMAND_SYSTEM_STATE, timeout_ms=0)
        self.assertEqual(34, struct.unpack(">I", content[:4].encode("latin-1"))[0])
        self.assertEqual(4 + 34 * 8, len(content))
        self.assertFalse(self.fus.checkAnswer(sent, COMMAND_SYSTEM_STATE))

    def test_sends_bytes_as_they_are(self):
        self.connect()
        packet = struct.pack(">IIH", 10, 0x01020304, COMMAND_SYSTEM_STATE).decode("latin-1")
        self.assertEqual(10, self.fus.sendRawData(data=packet))
        self.assertEqual(4 + 34 * 8, len(self.fus.readAnswer(0x01020304, 0, 5000)))

    def test_tells_a_wrong_answer_from_a_missing_one(self):
        self.connect()
        sent = self.fus.sendCommand(COMMAND_SYSTEM_STATE, "")
        wait_until(lambda: self.fus.checkAnswer(sent, 0), "answer")
        with self.logged(KORVANE.LogLevel.EXCEPTION) as lines:
            self.assertFUSError(PACKET, self.fus.readAnswer, sent, 1301, 5000,
                                message="Unexpected packet type found.")
            self.assertFUSError(TIMEOUT, self.fus.readAnswer, sent, 1301, 200,
                                message="Answer not found.")
            self.assertEqual(["ERR_PACKET: Unexpected packet type found.",
                              "ERR_TIMEOUT: Answer not found."], lines()[:2])

    def test_reaches_the_boards(self):
        self.connect()
        processor = KORVANE.HardwareID.PROCESSOR
        sent = self.fus.sendBoardCommand(
            hwtype=processor, hwindex=0, timeout_ms=0, cmd=COMMAND_READ_PARAMETER,
            data=struct.pack("<H", CLOCK_FREQUENCY).decode("latin-1"))
        content = self.fus.readBoardAnswer(hwtype=processor, hwindex=0, id=sent,
                                           expectedType=COMMAND_READ_PARAMETER)
        self.assertEqual(struct.pack("<Q", 24000000), content.encode("latin-1"))

    def test_fails_on_an_answer_that_is_no_text(self):
        self.connect()
        processor = KORVANE.HardwareID.PROCESSOR
        self.gen.writeBoardParam(BOARD.PROCESSOR, 0, AMPLITUDE_LIMIT, 0xFF)
        sent = self.fus.sendBoardCommand(processor, 0, 0, COMMAND_READ_PARAMETER,
                                         struct.pack("<H", AMPLITUDE_LIMIT).decode("latin-1"))
        self.assertRaises(UnicodeDecodeError, self.fus.readBoardAnswer, processor, 0, sent,
                          COMMAND_READ_PARAMETER, 5000)

    def test_takes_no_wrong_types(self):
        self.connect()
        fus = self.fus
        for call in [lambda: fus.sendRawData(None), lambda: fus.sendRawData(u"\ud800"),
                     lambda: fus.sendCommand(65536, ""), lambda: fus.sendCommand(-1, ""),
                     lambda: fus.readAnswer(-1, 0, 0), lambda: fus.readAnswer(1, 0),
                     lambda: fus.sendBoardCommand(10, 0, 0, 93, "")]:
            self.assertRaises(TypeError, call)
        unknown = KORVANE.HardwareID(200)
        self.assertRaises((IndexError, KORVANE.FUSException), fus.sendBoardCommand, unknown, 0, 0,
                          93, "")
        sent = fus.sendCommand(1, "what's that?")
        with self.assertRaises(KORVANE.FUSException):
            fus.readAnswer(sent, 0, 2000)
        self.assertTrue(fus.isConnected())


if __name__ == "__main__":
    unittest.main()
