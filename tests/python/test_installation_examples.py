"""examples/power_check.py and examples/safety.py, as a user runs them."""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

from support import (description, HOST, needs_simulator, PATIENCE_S, Simulator, SOURCE_DIR)

EXAMPLES = os.path.join(SOURCE_DIR, "examples")
CHANNELS = {"3.1": 256, "3.0": 128, "2.5": 64}


def definition(protocol):
    return os.path.join(EXAMPLES, "definitions", "generator-%s.ini" % protocol)


def has_matplotlib():
    return subprocess.call([sys.executable, "-c", "import matplotlib"],
                           stderr=subprocess.DEVNULL) == 0


@needs_simulator
class Examples(unittest.TestCase):

    def run_example(self, name, *arguments):
        process = subprocess.Popen(
            [sys.executable, os.path.join(EXAMPLES, name)] + [str(a) for a in arguments],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, universal_newlines=True)
        output, errors = process.communicate(timeout=PATIENCE_S)
        self.assertNotIn("Traceback", errors)
        return process.returncode, output, errors

    def power_check(self, protocol, *arguments, **options):
        with Simulator("--description", description(options.get("simulated", protocol)),
                       *options.get("faults", ())) as simulator:
            return self.run_example("power_check.py", definition(protocol), HOST, simulator.port,
                                    *arguments)

    def test_the_power_check_shows_every_channel_of_every_generation(self):
        for protocol, channels in CHANNELS.items():
            with self.subTest(protocol=protocol):
                code, output, errors = self.power_check(protocol, "--steps", 4)
                self.assertEqual((0, ""), (code, errors))
                self.assertRegex(output, r"channel +64 +128 +191 +255\n")
                rows = [line.replace(" -", " 0.00").split() for line in output.splitlines()
                        if line[:7].strip().isdigit()]
                self.assertEqual(list(range(channels)), [int(row[0]) for row in rows])
                for row in rows:
                    powers = [float(power) for power in row[1:]]
                    self.assertEqual(sorted(powers), powers, "power doesn't rise with amplitude")
                    # the square of the voltage: four times the power at twice the amplitude
                    self.assertTrue(3 < powers[3] / powers[1] < 5, row)
                self.assertIn("No channel differs", output)

    def test_the_power_check_tells_what_is_wrong(self):
        code, _, errors = self.power_check("3.1", simulated="3.0")
        self.assertEqual(1, code)
        self.assertIn("This isn't the generator of the definition: Generator configuration "
                      "mismatch: bad channel count.", errors)
        code, output, errors = self.power_check("3.1", "--tolerance", "0.01")
        self.assertEqual(1, code)
        self.assertIn("<-- differs", output)
        self.assertRegex(errors, r"\d+ of 256 channels differ by more than 0.01 % from the median")
        code, _, errors = self.run_example("power_check.py", description("3.1"))
        self.assertEqual(2, code)
        self.assertIn("failed requirement", errors)

    def test_the_power_check_draws_a_picture_where_there_is_matplotlib(self):
        directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, directory)
        path = os.path.join(directory, "power.png")
        code, _, errors = self.power_check("3.0", "--steps", 3, "--plot", path)
        if not has_matplotlib():
            self.assertEqual(2, code)
            self.assertIn("--plot needs matplotlib, which this Python doesn't have", errors)
            return
        self.assertEqual((0, ""), (code, errors))
        with open(path, "rb") as file:
            head = file.read(24)
        self.assertEqual(b"\x89PNG\r\n\x1a\n", head[:8])
        self.assertTrue(all(size > 300 for size in struct.unpack(">II", head[16:24])))

    def test_the_protections_work_on_every_generation_as_far_as_it_has_them(self):
        words = {"3.1": "works", "3.0": "works", "2.5": "not there"}
        for protocol in CHANNELS:
            with self.subTest(protocol=protocol):
                with Simulator("--description", description(protocol)) as simulator:
                    code, output, errors = self.run_example("safety.py", HOST, simulator.port)
                self.assertEqual((0, ""), (code, errors), output)
                self.assertRegex(output, "Heart-beat +%s\n" % words[protocol])
                self.assertRegex(output, "Temperature thresholds +works\n")
                self.assertRegex(output, "Watchdog +%s\n" % words[protocol])


if __name__ == "__main__":
    unittest.main()
