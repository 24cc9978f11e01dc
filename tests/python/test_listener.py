"""The bridge from the library's events to Python's listeners."""

import gc
import threading
import time
import unittest
import weakref

import KORVANE

from support import GeneratorTest, KorvaneTest, library, trajectory, wait_until

NAMES = ["onConnect", "onDisconnect", "onExecStart", "onShotResult", "onExecResult",
         "onMechOrigin", "onMechResult"]


def bridge_lines(lines):
    return [line for line in lines
            if "Listener" in line or "KORVANE event" in line or "exception" in line.lower()]


class Shots(KORVANE.FUSListener):
    """Has one callback alone."""

    def __init__(self):
        super(Shots, self).__init__()
        self.results = []

    def onShotResult(self, execID, shotResult):
        self.results.append((execID, shotResult))


class Failing(KORVANE.FUSListener):
    """Each callback raises, and is counted."""

    calls = 0

    def fail(self, *_):
        self.calls += 1
        raise ValueError("callback %d fails" % self.calls)

    onConnect = onDisconnect = onExecStart = onShotResult = onExecResult = fail


class Listeners(KorvaneTest):

    def test_need_their_base_class_to_be_initialised(self):
        class Forgetful(KORVANE.FUSListener):
            def __init__(self):     # pylint: disable=super-init-not-called
                pass

        self.assertRaises(TypeError, Forgetful)

    def test_must_be_listeners(self):
        fus = library()
        for listener in (object(), "listener", KORVANE.FUSListener):
            self.assertRaises(TypeError, fus.registerListener, listener)
        with self.logged() as lines:
            fus.registerListener(None)
            fus.unregisterListener(None)
            self.assertEqual(["FUS: can not register nullptr listener",
                              "FUS: can not unregister nullptr listener"], lines()[:2])

    def test_are_registered_once_and_removed_once(self):
        fus, listener, other = library(), Shots(), Shots()
        with self.logged() as lines:
            for call, argument in [(fus.registerListener, listener),
                                   (fus.registerListener, listener),
                                   (fus.registerListener, other),
                                   (fus.unregisterListener, listener),
                                   (fus.unregisterListener, listener)]:
                call(listener=argument)
            fus.clearListeners()
            text = [line.strip() for line in lines()[:-1]]
        self.assertEqual(["FUS: register -> 1 listeners", "FUS: register -> 2 listeners",
                          "FUS: unregister 1 items -> 1 listeners",
                          "FUS: unregister 0 items -> 1 listeners",
                          "FUS: clearing all listeners"], text)

    def test_have_callbacks_that_do_nothing_but_log(self):
        arguments = {"onDisconnect": (1,), "onExecStart": (1, 2, 3, 4, 5, 6),
                     "onMechOrigin": (9, "text"), "onMechResult": (1, 2, 3)}
        words = {"onConnect": "connection event", "onDisconnect": "disconnection event",
                 "onExecStart": "execution started event", "onMechOrigin": "find origin result",
                 "onMechResult": "motion result"}
        listener = KORVANE.FUSListener()
        for name, event in words.items():
            with self.subTest(callback=name), self.logged() as lines:
                getattr(listener, name)(*arguments.get(name, ()))
                self.assertEqual("    Listener: %s (ignored, not implemented)" % event,
                                 lines()[0])

    def test_may_call_the_callback_that_they_replace(self):
        class Polite(KORVANE.FUSListener):
            def onDisconnect(self, reason):
                super(Polite, self).onDisconnect(reason)
                self.reason = reason

        listener = Polite()
        listener.onDisconnect(2)
        self.assertEqual(2, listener.reason)

    def test_name_their_construction_and_end_in_the_log(self):
        with self.logged(KORVANE.LogLevel.DEBUG) as lines:
            listener = Shots()
            del listener
            gc.collect()
            text = lines()
        self.assertEqual(["PyFUSListener()", "~PyFUSListener()"], text[:2])


class Events(GeneratorTest):

    def listen(self, listener):
        self.fus.registerListener(listener)
        return listener

    def run_to_the_end(self, **arguments):
        self.shoot(**arguments)
        self.recorder.wait_for_end()

    def test_without_a_callback_are_ignored(self):
        with self.logged() as lines:
            self.connect()
            self.fus.clearListeners()
            shots = self.listen(Shots())
            self.shoot(shots=2)
            for event in ("execution result", "disconnection event"):
                wait_until(lambda: "Listener: " + event in "\n".join(lines()), event)
                self.fus.disconnect()
            text = bridge_lines(lines())
        self.assertEqual([0, 1], [result.shotIndex() for _, result in shots.results])
        for line in ["    Listener: execution started event (ignored, not implemented)",
                     "    Listener: execution result (ignored, not implemented)",
                     "    Listener: disconnection event (ignored, not implemented)"]:
            self.assertIn(line, text)
        self.assertFalse([line for line in text if "exception" in line.lower()])

    def test_are_in_the_log_when_they_are_delivered(self):
        with self.logged(KORVANE.LogLevel.VERBOSE) as lines:
            recorder = self.connect()
            recorder.wait_for("connect")
            execution = self.shoot(shots=1, executions=2)
            recorder.wait_for_end()
            self.shoot(shots=1, executions=1000)
            recorder.wait_for("exec", 3)
            self.gen.stopTrajectory()
            wait_until(lambda: any(e[1].status() == KORVANE.ExecStatus.STOP_BY_USER
                                   for e in recorder.named("exec")), "stop")
            self.fus.disconnect()
            recorder.wait_for("disconnect")
            text = bridge_lines(lines())
        for line in ["  KORVANE event: type=0/EVENT_CONNECT",
                     "    Listener: connection event",
                     "    Listener: execution started (execID=%d, count=2, flags=0)" % execution,
                     "    Listener: shot result (execID=%d, exec=1, shot=0)" % execution,
                     "    Listener: execution done (execID=%d, exec=0, remaining=1)" % execution,
                     "    Listener: execution done (execID=%d, exec=1, remaining=0)" % execution,
                     "    Listener: disconnection event (reason = 0)"]:
            self.assertIn(line, text)
        self.assertRegex("\n".join(text),
                         r"    Listener: execution stopped by user \(execID=\d+, exec=\d+\)")

    def test_of_a_failure_name_its_code_and_text_in_the_log(self):
        with self.logged(KORVANE.LogLevel.INFO) as lines:
            self.connect("--fault", "stop:reason=watchdog")
            self.run_to_the_end()
            text = "\n".join(lines())
        self.assertRegex(text, r"    Listener: execution error \(code=10, message=.*watchdog")

    def test_go_on_after_a_callback_that_raised(self):
        with self.logged(KORVANE.LogLevel.EXCEPTION) as lines:
            self.connect().wait_for("connect")
            failing = self.listen(Failing())
            self.run_to_the_end(shots=2)
            wait_until(lambda: failing.calls >= 4, "events")
            wait_until(lambda: "callback 4 fails" in "\n".join(lines()), "log lines")
            text = "\n".join(lines())
        for event, call in [("2/EVENT_EXEC_START", 1), ("3/EVENT_SHOT_RESULT", 2),
                            ("3/EVENT_SHOT_RESULT", 3), ("4/EVENT_EXEC_RESULT", 4)]:
            self.assertIn("Python exception in listener (event type %s):\n"
                          "ValueError: callback %d fails" % (event, call), text)
        self.assertEqual(2, len(self.recorder.named("shot")))

    def test_go_on_after_exceptions_of_any_kind(self):
        class Unspeakable(Exception):
            def __str__(self):
                raise KeyError("no text")

        class Wrong(KORVANE.FUSListener):
            def onExecStart(self, *_):
                raise Unspeakable

            def onShotResult(self):
                raise AssertionError("is never called")

            def onExecResult(self, _):
                raise SystemExit(4)

        with self.logged(KORVANE.LogLevel.EXCEPTION) as lines:
            self.connect()
            wrong = self.listen(Wrong())
            self.run_to_the_end(shots=1)
            wait_until(lambda: "EVENT_EXEC_RESULT" in "\n".join(lines()), "log lines")
            text = "\n".join(lines())
        self.assertIn("Python exception in listener (event type 3/EVENT_SHOT_RESULT):\nTypeError",
                      text)
        self.assertIn("Python exception in listener (event type 4/EVENT_EXEC_RESULT):\nSystemExit",
                      text)
        self.assertIn("Python exception in listener (event type 2/EVENT_EXEC_START)", text)
        self.assertNotIn("is never called", text)
        self.fus.unregisterListener(wrong)

    def test_find_callbacks_of_the_object_itself(self):
        self.connect()
        listener = KORVANE.FUSListener()
        results = []

        class Late(KORVANE.FUSListener):
            pass

        late = Late()
        late.onShotResult = lambda *event: results.append(event)
        self.listen(listener)
        self.listen(late)
        self.run_to_the_end(shots=2)
        wait_until(lambda: len(results) == 2, "events")

    def test_do_no_harm_when_a_registered_listener_goes_away(self):
        self.connect()
        self.shoot(shots=2, executions=100000)
        for _ in range(20):
            listener = self.listen(Shots())
            wait_until(lambda: listener.results, "event")
            gone = weakref.ref(listener)
            del listener
            gc.collect()
            self.assertIsNone(gone())
        seen = len(self.recorder.named("shot"))
        self.recorder.wait_for("shot", seen + 5)

    def test_may_free_their_own_listener(self):
        self.connect()
        holder = []
        gone = threading.Event()

        class Suicidal(KORVANE.FUSListener):
            def onShotResult(self, execID, shotResult):
                del holder[:]

            def __del__(self):
                gone.set()

        holder.append(Suicidal())
        self.listen(holder[0])
        self.run_to_the_end(shots=4)
        wait_until(gone.is_set, "end of the listener")

    def test_may_unregister_their_listener(self):
        self.connect()
        fus = self.fus

        class Once(Shots):
            def onShotResult(self, execID, shotResult):
                Shots.onShotResult(self, execID, shotResult)
                fus.unregisterListener(self)

        once = self.listen(Once())
        self.run_to_the_end(shots=5)
        self.assertEqual(1, len(once.results))
        self.assertEqual(5, len(self.recorder.named("shot")))

    def test_may_disconnect(self):
        self.connect()
        fus = self.fus

        class Leaving(Shots):
            def onShotResult(self, execID, shotResult):
                Shots.onShotResult(self, execID, shotResult)
                fus.disconnect()

        leaving = self.listen(Leaving())
        self.shoot(shots=2, executions=100000)
        self.assertEqual([("disconnect", 0)], self.recorder.wait_for("disconnect"))
        self.assertFalse(fus.isConnected())
        self.assertGreaterEqual(len(leaving.results), 1)

    def test_may_command_the_generator_and_wait_for_its_answer(self):
        self.connect()
        gen = self.gen
        delay = gen.getMinTrajectoryDelay()

        class Again(KORVANE.FUSListener):
            left = 3

            def onExecResult(self, execResult):
                if execResult.isFinished() and self.left:
                    self.left -= 1
                    gen.sendTrajectory(1, trajectory(1))
                    gen.executeTrajectory(1, 1, delay)

        again = self.listen(Again())
        self.shoot(shots=1)
        self.recorder.wait_for("exec", 4)
        self.assertEqual(0, again.left)

    def test_wait_while_the_main_thread_is_inside_the_module_and_come_afterwards(self):
        self.connect()
        self.shoot(shots=2, executions=20)
        for _ in range(50):
            self.gen.readBoardParam(KORVANE.BoardType.PROCESSOR, 0, 1379)
        self.recorder.wait_for_end()
        self.assertEqual(40, len(self.recorder.named("shot")))

    def test_survive_disconnecting_in_a_flood(self):
        for _ in range(5):
            recorder = self.connect("--time-scale", "0")
            self.shoot(shots=50, executions=100000)
            recorder.wait_for("shot", 100)
            self.fus.disconnect()
            recorder.wait_for("disconnect")
            self.fus.clearListeners()
            self.simulator.stop()


class OtherThreads(GeneratorTest):

    def test_may_use_the_module_while_events_come(self):
        self.connect()
        self.shoot(shots=2, executions=100000)
        done, failures = threading.Event(), []

        def ask():
            while not done.is_set():
                try:
                    if self.gen.getChannelCount() != 256:
                        failures.append("wrong count")
                    listener = Shots()
                    self.fus.registerListener(listener)
                    self.fus.unregisterListener(listener)
                    time.sleep(0)
                except KORVANE.FUSException as error:
                    failures.append(str(error))

        threads = [threading.Thread(target=ask) for _ in range(3)]
        for thread in threads:
            thread.start()
        self.recorder.wait_for("shot", 20)
        done.set()
        for thread in threads:
            thread.join()
        self.assertEqual([], failures)


if __name__ == "__main__":
    unittest.main()
