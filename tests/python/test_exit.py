"""How a script ends while it is connected, with a listener registered and shots flowing."""

import signal
import sys
import time
import unittest

from support import needs_simulator, Script, Simulator

LIMIT_S = 2.0

STORY = """
    import signal, sys, threading, time
    import KORVANE

    class Listener(KORVANE.FUSListener):
        shots = 0
        def onShotResult(self, execID, shotResult):
            self.shots += 1
            if callback:
                callback()
    callback = None

    def trajectory():
        result = KORVANE.ElectronicTrajectory(256)
        for i in range(2):
            shot = KORVANE.PhaseShot(1, 1, 1)
            shot.setFrequencies([1000000])
            shot.setAmplitudes([100])
            shot.setDuration(5000, 5000)
            result.addShot(shot)
        return result

    fus = KORVANE.FUS()
    fus.enableLogStderr(False)
    listener = Listener()
    fus.registerListener(listener)

    def shoot():
        if not fus.connect("127.0.0.1", int(sys.argv[1])):
            sys.exit("no connection")
        fus.gen.sendTrajectory(0, trajectory())
        fus.gen.executeTrajectory(0, 1000000, fus.gen.getMinTrajectoryDelay())
        while listener.shots < 3:
            time.sleep(0.01)

    def ready():
        print("ready", flush=True)
"""

# what the script does after `shoot()` or around it, and its exit code
ENDS = [
    ("its last line", "shoot(); ready()", 0),
    ("an exception", "shoot(); ready(); raise ValueError('the script failed')", 1),
    ("sys.exit(3)", "shoot(); ready(); sys.exit(3)", 3),
    ("sys.exit with a text", "shoot(); ready(); sys.exit('the script failed')", 1),
    ("sys.exit inside a function that holds everything", """
def main():
    global fus, listener
    shoot()
    ready()
    sys.exit(4)
main()
""", 4),
    ("several FUS objects", "more = [KORVANE.FUS() for _ in range(3)]; shoot(); ready()", 0),
    ("several FUS objects and an exception",
     "more = KORVANE.FUS(); shoot(); ready(); del fus; raise KeyError(1)", 1),
    ("no clean-up by the object", "fus.setSecurityOnDestruction(False); shoot(); ready()", 0),
    ("no clean-up by the object, and sys.exit",
     "fus.setSecurityOnDestruction(False); shoot(); ready(); sys.exit(3)", 3),
    ("all objects deleted", "shoot(); ready(); del fus, listener", 0),
    ("a reference cycle around all", "shoot(); listener.fus = fus; listener.me = listener; ready()",
     0),
    ("a disconnect", "shoot(); ready(); fus.disconnect(); sys.exit(5)", 5),
    ("a function of its own at exit", """
import atexit
atexit.register(lambda: fus.gen.stopTrajectory())
shoot()
ready()
sys.exit(6)
""", 6),
    ("a running thread that uses the module", """
def ask():
    while True:
        fus.gen.getChannelCount()
shoot()
thread = threading.Thread(target=ask)
thread.daemon = True
thread.start()
ready()
sys.exit(3)
""", 3),
]

# what the callback does, again and again, when the script calls sys.exit(3)
CALLBACKS = {
    "prints": "print('shot', flush=True)",
    "raises": "1 / 0",
    "raises SystemExit": "sys.exit(9)",
    "sleeps in a loop": """
while True:
    time.sleep(0.01)
""",
    "sleeps for long": "time.sleep(1000)",
    "works in a loop": """
while True:
    pass
""",
    "will not be interrupted": """
while True:
    try:
        time.sleep(0.01)
    except BaseException:
        pass
""",
    "waits for what never comes": "threading.Event().wait()",
    "waits for a lock": """
lock = threading.Lock()
lock.acquire()
lock.acquire()
""",
}


def indented(text, by):
    return "".join("\n" + " " * by + line for line in text.strip().split("\n"))


@needs_simulator
class Scripts(unittest.TestCase):

    def end(self, body, simulator_options=()):
        """Runs the story with this body; (exit code, standard output, standard error)."""
        with Simulator(*simulator_options) as simulator:
            script = Script(STORY + indented(body, 4), simulator.port)
            self.assertEqual("ready\n", script.process.stdout.readline(),
                             script.process.poll() is not None and script.process.stderr.read())
            ready = time.time()
            result = script.wait()
            took = time.time() - ready
        # a machine that is slow to start the script is as slow to end it
        self.assertLess(took, LIMIT_S + (ready - script.began), result)
        return result

    def test_end_with_the_exit_code_that_they_would_have_had(self):
        for name, body, code in ENDS:
            with self.subTest(end=name):
                result, _, errors = self.end(body)
                self.assertEqual(code, result, errors)
                self.assertEqual("Traceback" in errors, "raise" in body, errors)
                self.assertNotIn("Fatal", errors)

    def test_end_whatever_a_callback_is_doing(self):
        for name, body in CALLBACKS.items():
            with self.subTest(callback=name):
                result, _, errors = self.end("shoot()\ndef callback():\n    if not left:\n"
                                             "        ready()\n    left.append(1)"
                                             + indented(body, 4) +
                                             "\nleft = []\nwhile not left:\n    time.sleep(0.01)\n"
                                             "sys.exit(3)")
                self.assertEqual((3, ""), (result, errors))

    def test_end_in_a_flood_of_results(self):
        result, _, errors = self.end("shoot(); ready(); sys.exit(3)", ["--time-scale", "0"])
        self.assertEqual((3, ""), (result, errors))

    def test_end_when_the_link_is_already_lost(self):
        with Simulator() as simulator:
            script = Script(STORY + indented("shoot(); ready(); time.sleep(0.2); sys.exit(3)", 4),
                            simulator.port)
            script.process.stdout.readline()
            simulator.die()
            self.assertEqual((3, "", ""), script.wait())

    def test_end_as_ever_on_an_interrupt(self):
        with Simulator() as simulator:
            script = Script(STORY + indented("shoot(); ready()\nwhile True:\n    time.sleep(0.01)",
                                             4), simulator.port)
            script.process.stdout.readline()
            script.process.send_signal(signal.SIGINT)
            code, _, errors = script.wait()
        self.assertEqual(1 if sys.version_info < (3, 8) else -signal.SIGINT, code, errors)
        self.assertIn("KeyboardInterrupt", errors)

    def test_leave_the_generator_to_the_next_one(self):
        with Simulator() as simulator:
            for _ in range(3):
                script = Script(STORY + indented("shoot(); ready()", 4), simulator.port)
                self.assertEqual((0, "ready\n", ""), script.wait())


class Imports(unittest.TestCase):

    def test_alone_end_without_a_word(self):
        for body in ("import KORVANE", "import KORVANE; KORVANE.FUS()",
                     "import KORVANE; a = KORVANE.FUS(); b = KORVANE.FUSListener()",
                     "import KORVANE; a = KORVANE.FUSListener(); b = KORVANE.FUS(); "
                     "b.registerListener(a)"):
            with self.subTest(body=body):
                self.assertEqual((0, "", ""), Script(body).wait())


if __name__ == "__main__":
    unittest.main()
