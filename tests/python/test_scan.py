"""examples/scan.py, as a user runs it."""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from support import (description, free_port, HOST, needs_simulator, PATIENCE_S, Simulator,
                     SOURCE_DIR)

EXAMPLES = os.path.join(SOURCE_DIR, "examples")
DEFINITIONS = os.path.join(EXAMPLES, "definitions")
SMALL = ("--points", 3, 2, "--size", 2, 1)
FAST = ("--time-scale", "0.2", "--description")
PARKED = "The axes are parked at x 10.00 mm, y -10.00 mm, angle -0.0873 rad.\n"


class Scan(unittest.TestCase):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)
        with open(os.path.join(DEFINITIONS, "mechanics.ini"), encoding="utf-8") as file:
            self.definition = re.sub(r"(2000|-500)\|300", r"\1|150", file.read()) \
                .replace("-2000|150", "-2000|250")                      # quicker parks
        self.mechanics = self.write("mechanics.ini", self.definition)

    def start(self, protocol, port, *arguments, **options):
        mechanics = options.get("mechanics", self.mechanics)
        return subprocess.Popen(
            [sys.executable, os.path.join(EXAMPLES, "scan.py"),
             os.path.join(DEFINITIONS, "generator-%s.ini" % protocol), mechanics, HOST, str(port)]
            + [str(a) for a in arguments],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, universal_newlines=True)

    def finish(self, process):
        """(exit code, what is left of the output, errors)"""
        output, errors = process.communicate(timeout=PATIENCE_S)
        self.assertNotIn("Traceback", errors)
        return process.returncode, output, errors

    def read_until(self, process, start):
        """The process ends, if only by its own limits: a line that doesn't come is a failure."""
        for line in process.stdout:
            if line.startswith(start):
                return
        self.fail("ended before '%s': %s" % (start, process.communicate()[1]))

    def write(self, name, text):
        path = os.path.join(self.directory, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def board_description(self, protocol, board_protocol):
        """The generator of this protocol, with a mechanical board of that one."""
        with open(description(protocol), encoding="utf-8") as file:
            text = re.sub(r"(?ms)(^\[simulator/mechanics\]\nprotocol = )\d",
                          r"\g<1>%d" % board_protocol, file.read())
        return self.write("generator.ini", text)


@needs_simulator
class WithAGenerator(Scan):

    def test_scans_line_by_line_on_every_generation_of_generator_and_board(self):
        path = os.path.join(self.directory, "scan.svg")
        has_matplotlib = subprocess.call([sys.executable, "-c", "import matplotlib"],
                                         stderr=subprocess.DEVNULL) == 0
        for protocol, board in (("3.1", 1), ("2.5", 2)):
            with self.subTest(protocol=protocol, board=board), \
                    Simulator(*FAST + (self.board_description(protocol, board),)) as sim:
                code, output, errors = self.finish(self.start(
                    protocol, sim.port, *SMALL + ("--hold", "angle=0.1")
                    + (("--plot", path) if has_matplotlib and board == 1 else ())))
                self.assertEqual((0, ""), (code, errors), output)
                self.assertIn("The mechanical board (protocol %d) is configured for 3 axes: "
                              "x [mm], y [mm], angle [rad]." % board, output)
                self.assertIn("Moving to the start: x -1.00 mm, y -0.50 mm, angle 0.1000 rad",
                              output)
                shots = re.findall(r"line +(\d)  point (\d)/6  \( *(\S+) mm, *(\S+) mm\) "
                                   r"+(\S+) W   (\d) left", output)
                self.assertEqual(
                    [("1", "1", "-1.00", "-0.50"), ("1", "2", "0.00", "-0.50"),
                     ("1", "3", "1.00", "-0.50"), ("2", "4", "1.00", "0.50"),
                     ("2", "5", "0.00", "0.50"), ("2", "6", "-1.00", "0.50")],
                    [shot[:4] for shot in shots])
                self.assertEqual("543210", "".join(shot[5] for shot in shots))
                self.assertTrue(all(float(shot[4]) > 1.0 for shot in shots), shots)
                self.assertIn("\n6 points, 60 ms of ultrasound, ", output)
                self.assertIn(PARKED, output.split("Parking;")[1])
        if not has_matplotlib:
            self.skipTest("all but the picture was tested: there is no matplotlib")
        with open(path, encoding="utf-8") as file:
            self.assertIn("<svg", file.read())

    def test_cuts_lines_that_the_board_can_not_hold(self):
        with open(description("3.1"), encoding="utf-8") as file:
            text = file.read().replace("max_moves = 100", "max_moves = 4")
        with Simulator(*FAST + (self.write("few.ini", text),)) as simulator:
            code, output, errors = self.finish(self.start("3.1", simulator.port, *SMALL))
        self.assertEqual((0, ""), (code, errors))
        self.assertIn("Scanning 2 lines of 3 points in 4 executions", output)
        self.assertIn("point 6/6", output)

    def test_an_interrupt_stops_everything_and_parks_or_says_why_not(self):
        stands = r"NOT parked \(%s\); they stand at x "
        parked, interrupted = re.escape(PARKED), stands % "interrupted"
        for lines, times, text in [
                (["   0.5 s "], 1, stands % "their origins aren't known"),
                (["line   2 "], 1, parked), (["line   2 ", "Parking;"], 1, interrupted),
                # signals that come at once may be taken for one
                (["line   2 "], 3, interrupted + "|" + parked)]:
            with self.subTest(lines=lines, times=times), \
                    Simulator(*FAST + (description("3.1"),)) as simulator:
                # far from where it is parked
                process = self.start("3.1", simulator.port, "--points", 30, 3, "--center", -35, 0)
                for line in lines:
                    self.read_until(process, line)
                    for _ in range(times):
                        process.send_signal(signal.SIGINT)
                        time.sleep(0.01 * (times - 1))
                code, output, errors = self.finish(process)
                self.assertEqual(130, code, errors)
                self.assertRegex(output + errors, text)
                # but for the points whose results were on their way
                self.assertLess(output.count("line   2 "), 10)

    def test_tells_what_went_wrong_and_where_the_axes_are(self):
        stands = "The axes are NOT parked (%s); they stand at x "
        for fault, error, end in [
                ("no-reference:axis=2", "The origins weren't found: Mechanical motion error (see "
                 "hardware code for details): No optical reference found (axis angle).",
                 stands % "their origins aren't known"),
                ("axis-block:axis=0,at=1001000", "Mechanical motion error (see hardware code for "
                 "details): ", stands % "their origins aren't known"),
                ("axis-block:axis=0,at=1001500", "The axis x couldn't be parked behind its search "
                 "(hardware code 0x20", stands % "the motion has failed"),
                ("tolerance:axis=0,ms=550", "The motion failed during the execution: Position "
                 "tolerance exceeded during a displacement (axis x).",
                 stands % "the motion has failed"),
                ("stop:reason=amplifier-temp,execution=0,shot=1",
                 "The execution stopped early: EXEC_STOP_AMPLIFIER_TEMP", PARKED),
                ("mech-error:mech=CMD_PARAM_GET",
                 "The mechanical board couldn't be configured; the lines above tell why.", "")]:
            with self.subTest(fault=fault), Simulator("--description", description("3.1"),
                                                      "--fault", fault) as simulator:
                code, output, errors = self.finish(self.start("3.1", simulator.port))
                self.assertEqual(1, code, errors)
                self.assertIn(error, errors)
                self.assertIn(end, output + errors)

    def test_ends_when_the_link_breaks(self):
        with Simulator("--description", description("3.1")) as simulator:
            process = self.start("3.1", simulator.port, "--points", 5, 40)
            self.read_until(process, "line")
            simulator.die()
        code, _, errors = self.finish(process)
        self.assertEqual(1, code)
        self.assertIn("The shooting could not be stopped from here", errors)
        self.assertIn("The axes are NOT parked (", errors)


class WithoutAGenerator(Scan):

    def test_refuses_what_does_not_fit_before_it_connects(self):
        no_axes = self.write("none.ini", "[File]\nversion = 1\n")
        unsearched = self.write("two.ini", self.definition.replace("2|0|1", "2|0"))
        for arguments, options, text in [
                ((), {"mechanics": os.path.join(self.directory, "missing.ini")},
                 "missing.ini can't be used; the lines above tell why."),
                ((), {"mechanics": no_axes}, "A plane needs two axes, and the definition has 0."),
                (("--size", 90.02, 1), {}, "x -45.01 mm is outside of the axis's range, "
                 "x -45.00 mm to x 45.00 mm."),
                (("--hold", "angle=1.6"), {}, "angle 1.6000 rad is outside of the axis's range, "),
                (("--hold", "angle=0", "--hold", "angle=0.1"), {},
                 "--hold is given twice for the axis 'angle'."),
                ((), {"mechanics": unsearched}, "The axis 'y' can't be used: the definition's "
                 "initOrder leaves it out"),
                (("--hold", "x=1"), {}, "There is no axis 'x' beside those of the plane."),
                (("--hold", "angle=nan"), {}, "invalid held_axis value"),
                (("--points", 0, 5), {}, "a line has 1 to 1000 points"),
                (("--size", -1, 5), {}, "the size must be 0 to 10000"),
                (("--amplitude", 256), {}, "the amplitude 1 to 255")]:
            with self.subTest(text=text):
                code, output, errors = self.finish(self.start("3.1", 1670, *arguments, **options))
                self.assertEqual((2, ""), (code, output))
                self.assertIn(text, errors)
        code, _, errors = self.finish(self.start("3.1", free_port()))
        self.assertEqual(1, code)
        self.assertIn("No generator answered; the lines above tell how far it got.", errors)


if __name__ == "__main__":
    unittest.main()
