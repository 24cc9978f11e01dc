"""examples/focus.py, as a user runs it."""

import contextlib
import importlib
import io
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

from support import (description, free_port, HOST, needs_simulator, PATIENCE_S, Simulator,
                     SOURCE_DIR)

EXAMPLES = os.path.join(SOURCE_DIR, "examples")
EXAMPLE = os.path.join(EXAMPLES, "focus.py")


class Example(unittest.TestCase):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    @staticmethod
    def start(*arguments):
        return subprocess.Popen([sys.executable, EXAMPLE] + [str(a) for a in arguments],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                universal_newlines=True)

    def run_example(self, *arguments):
        process = self.start(*arguments)
        output, errors = process.communicate(timeout=PATIENCE_S)
        self.assertNotIn("Traceback", errors)
        return process.returncode, output, errors

    def points(self, text, encoding="utf-8"):
        path = os.path.join(tempfile.mkdtemp(dir=self.directory), "points.csv")
        with open(path, "w", encoding=encoding) as file:
            file.write(text)
        return path


@needs_simulator
class WithAGenerator(Example):

    def test_prints_a_line_for_each_shot_and_a_summary(self):
        with Simulator() as simulator:
            code, output, errors = self.run_example(HOST, simulator.port)
        self.assertEqual((0, ""), (code, errors))
        shots = [line for line in output.splitlines() if line.startswith("execution ")]
        self.assertEqual(27, len(shots))
        self.assertRegex(shots[0], r"^execution 1/3  shot 1/9  \( -6\.0,   0\.0,   0\.0\) mm +"
                                   r"10\.00 ms +40 %  vrf .* irf .* pvi .* pvr .* 26 left, ")
        self.assertRegex(shots[26], r"^execution 3/3  shot 9/9 .*  0 left, 0\.0 s$")
        self.assertEqual(1, len(set(map(len, shots))), "the columns are not aligned")
        self.assertIn("27 of 27 shots in 3 of 3 executions, 277.5 ms of ultrasound", output)

    def test_takes_points_and_executions_of_ones_own(self):
        path = self.points("# comment\n\n1,2,3,20,100\n 0 , 0 , 0 , 12.5 , 0\n", "utf-8-sig")
        with Simulator("--time-scale", "0") as simulator:
            code, output, errors = self.run_example(HOST, simulator.port, "--points", path,
                                                    "--executions", 2, "--frequency", 500000)
        self.assertEqual((0, ""), (code, errors))
        self.assertIn("4 of 4 shots in 2 of 2 executions, 65.0 ms of ultrasound", output)

    def test_writes_the_librarys_log_on_demand(self):
        path = os.path.join(self.directory, "log")
        with Simulator("--time-scale", "0") as simulator:
            self.assertEqual(0, self.run_example(HOST, simulator.port, "--log", path)[0])
        with open(path, encoding="utf-8") as file:
            self.assertIn("Connection done", file.read())

    def test_stops_the_trajectory_and_disconnects_on_an_interrupt(self):
        with Simulator() as simulator:
            process = self.start(HOST, simulator.port, "--executions", 10000)
            lines = [process.stdout.readline() for _ in range(8)]
            self.assertTrue(lines[-1].startswith("execution     1/10000 "), lines)
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=PATIENCE_S)
            self.assertEqual(130, process.returncode, errors)
            self.assertNotIn("Traceback", errors)
            self.assertIn("\nStopping.\n", output)
            shots, executions = map(int, re.search(
                r"\n(\d+) of 90000 shots in (\d+) of 10000 executions, ", output).groups())
            # the stopped one does not count, nor one whose result the stop has overtaken
            self.assertIn(shots // 9 - executions, (0, 1))
            # the generator is free for the next one at once
            self.assertEqual(0, self.run_example(HOST, simulator.port)[0])

    def test_tells_what_stopped_the_generator(self):
        for reason, text in [("amplifier-temp", "EXEC_STOP_AMPLIFIER_TEMP .*temperature"),
                             ("user", "EXEC_STOP_BY_USER .*by the user")]:
            fault = "stop:reason=%s,execution=1,shot=4" % reason
            with self.subTest(reason=reason), Simulator("--fault", fault) as simulator:
                code, output, errors = self.run_example(HOST, simulator.port)
                self.assertEqual(1, code)
                self.assertRegex(errors, "It stopped early: " + text)
                self.assertIn("13 of 27 shots in 1 of 3 executions", output)

    def test_tells_when_the_link_breaks(self):
        simulator = Simulator()
        process = self.start(HOST, simulator.port, "--executions", 10000)
        for _ in range(8):
            process.stdout.readline()
        simulator.die()
        _, errors = process.communicate(timeout=PATIENCE_S)
        self.assertEqual(1, process.returncode)
        self.assertIn("It stopped early: the connection was lost", errors)
        self.assertNotIn("Traceback", errors)

    def test_tells_what_the_generator_refuses(self):
        for options, points, text in [
                (("--description", description("2.5")), "0,0,0,10,50",
                 "This transducer has 256 elements, but the generator has 64 channels."),
                ((), "0,0,0,50000,50", "Bad shot[0]: too long"),
                (("--fault", "error:command=CMD_TRAJ_SEND_V3,text=No room"), "0,0,0,10,50",
                 "No room")]:
            with self.subTest(text=text), Simulator(*options) as simulator:
                code, _, errors = self.run_example(HOST, simulator.port, "--points",
                                                   self.points(points))
                self.assertEqual(1, code)
                self.assertIn(text, errors)


class WithoutAGenerator(Example):

    @classmethod
    def setUpClass(cls):
        # where many inputs are tried, they are tried in this process
        with mock.patch.object(sys, "path", [EXAMPLES] + sys.path):
            cls.focus = importlib.import_module("focus")

    def test_says_in_plain_words_that_nobody_answered(self):
        port = free_port()
        code, output, errors = self.run_example(HOST, port)
        self.assertEqual(1, code)
        self.assertIn("Connecting to 127.0.0.1, port %d" % port, output)
        self.assertIn("No generator answered at 127.0.0.1, port %d. Is it switched on" % port,
                      errors)

    def test_names_the_line_of_a_bad_row(self):
        header = "# points\nx,y,z,duration,amplitude\n0,0,0,10,50\n"
        for row, text in [("0,0,0,10", "(x, y, z, duration, amplitude), and not 4"),
                          ("0,0,0,10,50,1", "and not 6"),
                          ("0,0,0,10,half", "the amplitude is 'half', which is no number"),
                          ("0,0,,10,50", "the z is '', which is no number"),
                          ("nan,0,0,10,50", "the x is 'nan', which is not finite"),
                          ("0,0,0,1e999,50", "the duration is '1e999', which is not finite"),
                          ("0,0,0,0,50", "the duration is 0 ms, expected"),
                          ("0,0,0,-1,50", "the duration is -1 ms, expected"),
                          ("0,0,0,10,101", "the amplitude is 101 %, expected 0 to 100"),
                          ("0,0,0,10,-1", "the amplitude is -1 %, expected 0 to 100"),
                          ("x,y,z,duration,amplitude", "the x is 'x', which is no number"),
                          ("\"0,0", "and not 1"), ("1\0,0,0,10,50", "")]:
            with self.subTest(row=row):
                path = self.points(header + row + "\n")
                with self.assertRaises(self.focus.BadRow) as caught:
                    self.focus.read_focal_points(path)
                self.assertIn(path + ", line 4: ", str(caught.exception))
                self.assertIn(text, str(caught.exception))
        code, _, errors = self.run_example(HOST, 1, "--points", path)
        self.assertEqual(2, code, errors)
        self.assertIn("The focal points can't be read: %s, line 4: " % path, errors)

    def test_refuses_a_file_without_points_and_one_that_can_not_be_read(self):
        missing = os.path.join(self.directory, "missing.csv")
        for path, text in [(missing, "missing.csv"), (self.directory, self.directory),
                           (self.points("# nothing\n\n"), "there is no focal point in it"),
                           (self.points(u"0,0,0,10,50\n\u00e4,0,0,10,50\n", "latin-1"),
                            "points.csv: the file is no UTF-8 text")]:
            with self.subTest(path=path):
                with self.assertRaises((OSError, self.focus.BadRow)) as caught:
                    self.focus.read_focal_points(path)
                self.assertIn(text, str(caught.exception))
        code, _, errors = self.run_example("--points", missing)
        self.assertEqual(2, code)
        self.assertIn("The focal points can't be read: ", errors)

    def test_refuses_options_that_make_no_sense(self):
        for arguments in [("host", 0), ("host", 70000), ("host", "port"), ("--frequency", "0"),
                          ("--frequency", "nan"), ("--speed", "-1"), ("--speed", "nan"),
                          ("--speed", "inf"), ("--executions", "0"),
                          ("--executions", "5000000000"), ("--pause", "-1"), ("--pause", "nan"),
                          ("--wrong",)]:
            errors = io.StringIO()
            with self.subTest(arguments=arguments), contextlib.redirect_stderr(errors), \
                    mock.patch.object(sys, "argv", ["focus.py"] + [str(a) for a in arguments]):
                with self.assertRaises(SystemExit) as caught:
                    self.focus.parse_arguments()
                self.assertEqual(2, caught.exception.code)
                self.assertIn("usage: ", errors.getvalue())

    def test_explains_itself(self):
        code, output, errors = self.run_example("--help")
        self.assertEqual((0, ""), (code, errors))
        for word in ("host", "port", "--points", "--executions"):
            self.assertIn(word, output)


if __name__ == "__main__":
    unittest.main()
