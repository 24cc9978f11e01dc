"""What the tests of the module share: the simulated generator, scripts, a listener, assertions."""

import contextlib
import os
import re
import shlex
import shutil
import socket
import subprocess
import sys
import tempfile
import textwrap
import threading
import time
import unittest

import KORVANE

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE_DIR = os.environ.get("FUS_SOURCE_DIR", os.path.dirname(os.path.dirname(HERE)))
SIMULATOR = os.environ.get("FUS_SIMULATOR")
# what runs programs of another system, where the tests are of two
EMULATOR = shlex.split(os.environ.get("FUS_EMULATOR", ""))
SIMULATOR_COMMAND = [SIMULATOR]

HOST = "127.0.0.1"
PATIENCE_S = 60.0       # a limit for what must come: only a failure ever waits so long
FREQUENCY = 1000000

needs_simulator = unittest.skipUnless(SIMULATOR, "FUS_SIMULATOR doesn't name a program")

_library = None


def library():
    """The FUS object of this process: a second one would change how the first one ends."""
    global _library
    if _library is None:
        _library = KORVANE.FUS()
        _library.enableLogStderr(False)
    return _library


def description(protocol):
    return os.path.join(SOURCE_DIR, "simulator", "descriptions", "generator-%s.ini" % protocol)


class Simulator(object):
    """A simulated generator in a process of its own."""

    def __init__(self, *options):
        self.process = subprocess.Popen(SIMULATOR_COMMAND + ["--port", "0"] + list(options),
                                        stdout=subprocess.PIPE, universal_newlines=True)
        line = self.process.stdout.readline()
        found = re.match(r"fus-simulator listening on 127\.0\.0\.1:(\d+)$", line.strip())
        if not found:
            self.stop()
            raise RuntimeError("the simulated generator did not start: %r" % line)
        self.port = int(found.group(1))

    def stop(self):
        self.process.terminate()
        self._wait()

    def die(self):
        """Ends it as a power cut would."""
        self.process.kill()
        self._wait()

    def _wait(self):
        self.process.wait(PATIENCE_S)
        self.process.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


class Recorder(KORVANE.FUSListener):
    """Keeps every event as (name, arguments...), and lets a test wait for what it needs."""

    def __init__(self):
        super(Recorder, self).__init__()
        self.events = []
        self.changed = threading.Condition()

    def _add(self, *event):
        with self.changed:
            self.events.append(event)
            self.changed.notify_all()

    def onConnect(self):
        self._add("connect")

    def onDisconnect(self, reason):
        if self.events:     # else the end of an earlier test's connection
            self._add("disconnect", reason)

    def onExecStart(self, execID, execCount, execFlags, elecMode, trigMode, mechMode):
        self._add("start", execID, execCount, execFlags, elecMode, trigMode, mechMode)

    def onShotResult(self, execID, shotResult):
        self._add("shot", execID, shotResult)

    def onExecResult(self, execResult):
        self._add("exec", execResult)

    def onMechOrigin(self, result, message):
        self._add("origin", result, message)

    def onMechResult(self, execID, result, code):
        self._add("motion", execID, result, code)

    def named(self, name):
        with self.changed:
            return [event for event in self.events if event[0] == name]

    def wait_for(self, name, count=1):
        """The first `count` events of this name; a failure if they don't come."""
        return self.wait_until(lambda: len(self.named(name)) >= count,
                               "%d times '%s'" % (count, name)) and self.named(name)[:count]

    def wait_for_end(self):
        """The last result of an execution."""
        self.wait_until(lambda: any(event[1].isFinished() for event in self.named("exec")),
                        "the end of an execution")
        return [event[1] for event in self.named("exec") if event[1].isFinished()][0]

    def wait_until(self, holds, what):
        limit = time.time() + PATIENCE_S
        with self.changed:
            while not holds():
                if time.time() > limit:
                    raise AssertionError("no %s in %r" % (what, self.events))
                self.changed.wait(0.1)
        return True


def wait_until(holds, what):
    """Waits in Python, so that callbacks can run meanwhile."""
    limit = time.time() + PATIENCE_S
    while not holds():
        if time.time() > limit:
            raise AssertionError("no " + what)
        time.sleep(0.01)


def shot(duration_us=5000, delay_us=5000, channels=256, phase=0, amplitude=128):
    result = KORVANE.PhaseShot(channels, 1, 1)
    result.setPhases([phase] * channels)
    result.setFrequencies([FREQUENCY])
    result.setAmplitudes([amplitude])
    result.setDuration(duration_us, delay_us)
    return result


def trajectory(shots=2, channels=256, **shot_arguments):
    result = KORVANE.ElectronicTrajectory(channels)
    for i in range(shots):
        result.addShot(shot(channels=channels, phase=i % 256, **shot_arguments))
    return result


class KorvaneTest(unittest.TestCase):
    """Assertions on the module's exception and on the library's log."""

    @classmethod
    def setUpClass(cls):
        library()       # from here on errors are quiet

    def assertFUSError(self, code, call, *arguments, **options):
        """`message`: the error's text; all else goes to the call."""
        message = options.pop("message", None)
        with self.assertRaises(KORVANE.FUSException) as caught:
            call(*arguments, **options)
        self.assertEqual(code, caught.exception.errorCode(), caught.exception.message())
        if message is not None:
            self.assertEqual(message, caught.exception.message())

    @contextlib.contextmanager
    def logged(self, level=KORVANE.LogLevel.VERBOSE):
        """Gives a function that reads the log's lines of the block, without their prefixes."""
        fus = library()
        directory = tempfile.mkdtemp()
        path = os.path.join(directory, "log")
        before = fus.getLogLevel()
        fus.setLogLevel(level)
        self.assertTrue(fus.setLogFile(path, False))
        try:
            yield lambda: read_log(path)
        finally:
            fus.setLogFile("")
            fus.setLogLevel(before)
            shutil.rmtree(directory)


def read_log(path):
    """The lines of a log behind its header, without their prefixes."""
    with open(path, encoding="utf-8", errors="replace", newline="\n") as file:
        text = file.read().split("-" * 80 + "\n", 1)[1]
    return [re.sub(r"^\d\d:\d\d:\d\d\.\d{3} (\w{3}| {3}) T[ 0-9A-F]{4,} \[.{16}@ *\d+\] ", "", line)
            for line in text.split("\n")]


@needs_simulator
class GeneratorTest(KorvaneTest):
    """A test on a connection to a simulated generator, which ends with the test."""

    protocol = "3.1"

    def connect(self, *options):
        """Starts a generator with these options, and connects with a listener registered."""
        self.fus = library()
        self.gen = self.fus.gen
        self.simulator = Simulator("--description", description(self.protocol), *options)
        self.addCleanup(self.simulator.stop)
        self.addCleanup(self.fus.disconnect)
        self.addCleanup(self.fus.clearListeners)
        self.recorder = Recorder()
        self.fus.registerListener(self.recorder)
        self.assertTrue(self.fus.connect(HOST, self.simulator.port))
        return self.recorder

    def shoot(self, shots=2, executions=1, **arguments):
        """Sends and executes a trajectory; the identifier of the execution."""
        self.gen.sendTrajectory(0, trajectory(shots, self.gen.getChannelCount(), **arguments))
        return self.gen.executeTrajectory(0, executions, self.gen.getMinTrajectoryDelay())


class Script(object):
    """A Python process on the module."""

    def __init__(self, text, *arguments):
        self.began = time.time()
        self.process = subprocess.Popen(
            [sys.executable, "-c", textwrap.dedent(text)] + [str(a) for a in arguments],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, universal_newlines=True, cwd=HERE)

    def wait(self):
        """(exit code, standard output, standard error)"""
        try:
            output, errors = self.process.communicate(timeout=PATIENCE_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            output, errors = self.process.communicate()
            raise AssertionError("the script hangs; it wrote:\n%s%s" % (output, errors))
        return self.process.returncode, output, errors


def run_script(text, *arguments):
    return Script(text, *arguments).wait()


def free_port():
    """A port on which nobody listens."""
    with contextlib.closing(socket.socket()) as probe:
        probe.bind((HOST, 0))
        return probe.getsockname()[1]
