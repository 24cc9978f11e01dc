"""The systems talk to each other: FUS_EMULATOR runs the programs of the other one.

FUS_CLIENT is the client of the other system, FUS_OTHER_SIMULATOR its simulated generator;
FUS_SIMULATOR and the module are of this one.
"""

import os
import subprocess
import unittest
from unittest import mock

import support
from support import EMULATOR, GeneratorTest, HOST, KORVANE, PATIENCE_S, Simulator

STATUS = KORVANE.ExecStatus


class ClientOfTheOtherSystem(unittest.TestCase):

    def start(self, simulator, story):
        process = subprocess.Popen(
            EMULATOR + [os.environ["FUS_CLIENT"], HOST, str(simulator.port), story],
            stdout=subprocess.PIPE, universal_newlines=True)
        self.addCleanup(process.stdout.close)
        return process

    def test_connects_uploads_and_receives_its_results(self):
        with Simulator() as simulator:
            output = self.start(simulator, "shoot").communicate(timeout=PATIENCE_S)[0]
        shots = ["shot %d of 256 channels" % shot for shot in range(3)]
        self.assertEqual(["connected: 256 channels",
                          "refused: Invalid index",
                          "uploaded", "shooting"]
                         + shots + ["execution: status %d" % int(STATUS.OK_CONTINUE)]
                         + shots + ["execution: status %d" % int(STATUS.OK_FINISHED)],
                         [line for line in output.splitlines()
                          if not line.startswith("disconnected")])

    def test_notices_that_the_link_is_lost(self):
        with Simulator() as simulator:
            process = self.start(simulator, "stay")
            line = ""
            while not line.startswith("execution"):
                line = process.stdout.readline()
                self.assertTrue(line, "the client ended")
            simulator.die()
            output = process.communicate(timeout=PATIENCE_S)[0]
        self.assertEqual("disconnected: reason 1", output.splitlines()[-1])
        self.assertEqual(0, process.returncode)


class SimulatorOfTheOtherSystem(GeneratorTest):

    def connect(self, *options):
        program = os.environ["FUS_OTHER_SIMULATOR"]
        with mock.patch.object(support, "SIMULATOR_COMMAND", EMULATOR + [program]):
            return super().connect(*options)

    def test_takes_an_upload_and_sends_results(self):
        recorder = self.connect()
        self.shoot(shots=3, executions=2)
        self.assertEqual(STATUS.OK_FINISHED, recorder.wait_for_end().status())
        self.assertEqual([0, 1, 2] * 2, [shot[2].shotIndex() for shot in recorder.named("shot")])

    def test_leaves_a_lost_link_behind(self):
        recorder = self.connect()
        self.shoot(executions=100000)
        recorder.wait_for("shot", 4)
        self.simulator.die()
        self.assertEqual([("disconnect", 1)], recorder.wait_for("disconnect"))
        self.assertFalse(self.fus.isConnected())


if __name__ == "__main__":
    unittest.main()
