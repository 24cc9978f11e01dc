#!/usr/bin/env python3
"""See the generator's own protections at work, one after the other.

1. Heart-beat: the script sets a time-out, keeps an execution alive for a while, then falls silent,
   as if it had crashed: the generator has to stop by itself.
2. Thresholds: the script sets a temperature of the amplifiers slightly above what it reads, and
   shoots until the load has warmed them up: the generator has to stop by itself.
3. Watchdog: the generator is asked for a shot that is too long, with its checks turned off: its
   watchdog has to cut the shot.

    python3 safety.py [HOST [PORT]] [--definition FILE.ini]

Ultrasound is emitted: the transducer must be in its place, with nobody in front of it. What the
script sets it sets back; a definition's clock and thresholds stay, as after every connection.

Exit code: 0 every protection worked, 1 one did not or couldn't be tried, 2 the script was called
wrongly, 130 it was interrupted.
"""

import argparse
import contextlib
import sys
import threading
import time

try:
    import KORVANE
except ImportError as error:
    sys.exit("The module KORVANE can't be imported: %s\n"
             "Build it, and put its directory into PYTHONPATH (./demo shows how)." % error)


BUFFER = 0                  # the generator's buffer that is used
FREQUENCY_HZ = 1000000
SHOT_US, PAUSE_US = 20000, 30000
HEART_BEAT_US = 300000      # the time-out that is set
BEAT_PAUSE_S = 0.1          # between two heart-beats
ALIVE_S = 1.0               # how long the script keeps on sending them
HIGHEST_LIMIT = 256.0       # degrees, the highest threshold that can be set

Status = KORVANE.ExecStatus
Error = KORVANE.FUSError


class NotThere(Exception):
    """This generator doesn't have the protection; the text says why."""


class Watcher(KORVANE.FUSListener):
    """Tells when and how the execution ends. The callbacks run on the library's own thread."""

    def __init__(self):
        super().__init__()
        self.ended = threading.Event()
        self.result = None
        self.shots = 0

    def onShotResult(self, execID, shotResult):
        self.shots += 1

    def onExecResult(self, execResult):
        if execResult.isFinished():
            self.result = execResult
            self.ended.set()

    def onDisconnect(self, reason):
        self.ended.set()


class Execution:
    """An execution of many shots, and what is told of it."""

    def __init__(self, fus, amplitude, seconds):
        self.gen = fus.gen
        self.watcher = Watcher()
        self.delay_us = self.gen.getMinTrajectoryDelay()
        shortest_us = self.gen.getMinTotalShotDuration(KORVANE.ElecExecMode.NORMAL)
        pause_us = max(PAUSE_US, shortest_us - SHOT_US)
        self.count = int(seconds * 1e6 / (SHOT_US + pause_us + self.delay_us)) + 1
        channels = self.gen.getChannelCount()
        shot = KORVANE.PhaseShot(channels, 1, 1)
        shot.setPhases([0] * channels)
        shot.setFrequencies([FREQUENCY_HZ])
        shot.setAmplitudes([min(amplitude, self.gen.readAmplitudeThreshold())])
        shot.setDuration(SHOT_US, pause_us)
        trajectory = KORVANE.ElectronicTrajectory(channels)
        trajectory.addShot(shot)
        self.gen.sendTrajectory(BUFFER, trajectory)

    def start(self):
        self.began = time.time()
        self.gen.executeTrajectory(BUFFER, self.count, self.delay_us)

    def stop(self):
        if not self.watcher.ended.is_set():
            self.gen.stopTrajectory()
            self.watcher.ended.wait(2.0)

    def seconds(self):
        return time.time() - self.began

    def tell(self, text):
        print("  %5.2f s  %s" % (self.seconds(), text), flush=True)

    def wait(self, seconds):
        """True once it has ended. Callbacks run while Python code waits like this."""
        return self.watcher.ended.wait(seconds)

    def was_stopped_by(self, expected):
        """Whether the generator stopped for the expected reason; tells what it did."""
        result = self.watcher.result
        if result is None:
            self.tell("The connection was lost." if self.watcher.ended.is_set()
                      else "The generator is still shooting.")
            return False
        self.tell("The generator stopped after %d shots: %s%s"
                  % (self.watcher.shots, result.statusName(),
                     " (%s)" % result.errorMessage().strip() if result.errorMessage() else ""))
        return result.status() == expected


@contextlib.contextmanager
def shooting(fus, amplitude, seconds):
    """Shoots during the block, and stops in its end however that comes."""
    execution = Execution(fus, amplitude, seconds)
    fus.registerListener(execution.watcher)
    try:
        execution.start()
        yield execution
    finally:
        try:
            if fus.isConnected():
                execution.stop()
        finally:
            fus.unregisterListener(execution.watcher)


@contextlib.contextmanager
def changed(what, change, set_back):
    """Something is set for the length of the block, and set back even if the set has failed."""
    try:
        change()
        yield
    finally:
        try:
            set_back()
        except KORVANE.FUSException as error:
            print("  The %s could not be set back: %s" % (what, error.message()), file=sys.stderr)


# --- the protections -----------------------------------------------------------------------------

def show_heart_beat(fus, options):
    print("  The generator expects a heart-beat every %g ms." % (HEART_BEAT_US / 1000.0))
    with changed("heart-beat", lambda: fus.gen.setHeartBeatTimeout(HEART_BEAT_US),
                 lambda: fus.gen.setHeartBeatTimeout(0)), \
            shooting(fus, options.amplitude, ALIVE_S + 5.0) as execution:
        while execution.seconds() < ALIVE_S:
            fus.gen.sendHeartBeat()
            if execution.wait(BEAT_PAUSE_S):
                execution.was_stopped_by(Status.STOP_HEARTBEAT)
                print("  It stopped although heart-beats came.")
                return False
        execution.tell("No more heart-beats.")
        execution.wait(4.0)
        return execution.was_stopped_by(Status.STOP_HEARTBEAT)


def read_temperatures(gen, thresholds):
    try:
        values = gen.readAmplifierTemperatures(thresholds)
    except KORVANE.FUSException as error:
        if error.errorCode() == int(Error.ERR_NOT_AVAILABLE):
            raise NotThere("its amplifiers measure no temperature")
        raise
    if not values or min(values) < 0.0:
        raise NotThere("not every amplifier has a usable temperature (%s)"
                       % ", ".join("%g" % value for value in values))
    return values


def show_thresholds(fus, options):
    gen = fus.gen
    temperatures = read_temperatures(gen, False)
    # the highest raw value of a board can stand for more than can be set: for no limit at all
    before = [min(limit, HIGHEST_LIMIT) for limit in read_temperatures(gen, True)]
    limits = [temperature + options.rise for temperature in temperatures]
    print("  The amplifiers are at %.1f to %.1f degrees; each may become %g degrees warmer."
          % (min(temperatures), max(temperatures), options.rise))
    with changed("temperature thresholds", lambda: gen.setMaxAmplifierTemperatures(limits),
                 lambda: gen.setMaxAmplifierTemperatures(before)), \
            shooting(fus, options.amplitude, options.patience) as execution:
        while not execution.wait(0.5) and execution.seconds() < options.patience:
            temperatures = gen.readAmplifierTemperatures(False)
            execution.tell("%.1f to %.1f degrees" % (min(temperatures), max(temperatures)))
        return execution.was_stopped_by(Status.STOP_AMPLIFIER_TEMP)


def show_watchdog(fus, options):
    print("  A shot of %g s is tried, at amplitude 0 ..."
          % ((fus.gen.getMaxShootingDuration(KORVANE.ElecExecMode.NORMAL) + 500000) / 1e6),
          flush=True)
    # no listener may be registered meanwhile: the check waits for events of its own
    good = fus.gen.checkWatchdog()
    print("  The watchdog %s." % ("cut it" if good else "did NOT cut it"))
    return good


# what it is called, what shows it, and the protocol that it needs
PROTECTIONS = [("Heart-beat", show_heart_beat, 3),
               ("Temperature thresholds", show_thresholds, 0),
               ("Watchdog", show_watchdog, 3)]


def show_one(fus, options, show, least_protocol):
    """"works", or what else there is to say."""
    try:
        if fus.getProtocolVersion().v1 < least_protocol:
            raise NotThere("it needs protocol %d" % least_protocol)
        return "works" if show(fus, options) else "DOES NOT WORK"
    except NotThere as reason:
        print("  This generator can't show it: %s." % reason)
        return "not there"
    except KORVANE.FUSException as error:
        print("  It failed: %s" % error.message())
        return "COULD NOT BE TRIED"


def show_all(fus, options):
    outcome = []
    for name, show, least_protocol in PROTECTIONS:
        print("\n%s" % name, flush=True)
        outcome.append((name, show_one(fus, options, show, least_protocol)))
    print()
    for name, word in outcome:
        print("%-24s %s" % (name, word))
    return 0 if all(word in ("works", "not there") for _, word in outcome) else 1


def show_without_heart_beat(fus, options):
    """The other protections are shown by an application that sends no heart-beat."""
    if fus.getProtocolVersion().v1 < 3:
        return show_all(fus, options)
    before_us = fus.gen.readHeartBeatTimeout()
    with changed("heart-beat", lambda: fus.gen.setHeartBeatTimeout(0),
                 lambda: fus.gen.setHeartBeatTimeout(before_us)):
        return show_all(fus, options)


# --- the story -----------------------------------------------------------------------------------

def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("host", nargs="?", help="the generator's address (127.0.0.1)")
    parser.add_argument("port", nargs="?", type=int, help="usually 1670")
    parser.add_argument("--definition", metavar="FILE",
                        help="of the installation: its address, thresholds and clock are taken")
    parser.add_argument("--amplitude", type=int, default=255, help="of the shots, 1 to 255 (255)")
    parser.add_argument("--rise", type=float, default=1.0,
                        help="how much warmer the amplifiers may become, degrees (1)")
    parser.add_argument("--patience", type=float, default=60.0,
                        help="how long they may take to become so, seconds (60)")
    options = parser.parse_args()
    if options.port is not None and not 1 <= options.port <= 65535:
        parser.error("the port must be 1 to 65535")
    if not 1 <= options.amplitude <= 255:
        parser.error("the amplitude must be 1 to 255")
    if not 0.2 <= options.rise <= 50.0 or not 1.0 <= options.patience <= 3600.0:
        parser.error("the rise must be 0.2 to 50 degrees, the patience 1 to 3600 seconds")
    return options


def main():
    options = parse_arguments()
    fus = KORVANE.FUS()
    if options.definition and not fus.gen.loadDefinition(options.definition):
        print("The definition can't be used; the lines above tell why.", file=sys.stderr)
        return 2
    host = options.host or fus.getDefinitionHost() or "127.0.0.1"
    port = options.port or fus.getDefinitionPort() or 1670
    print("Connecting to %s, port %d ..." % (host, port), flush=True)
    try:
        if not fus.connect(host, port):
            print("No generator answered; the lines above tell how far it got.", file=sys.stderr)
            return 1
        # every stop is an error to the library, and here it is what is wanted
        fus.setLogLevel(KORVANE.LogLevel.NONE)
        return show_without_heart_beat(fus, options)
    except KORVANE.FUSException as error:
        print("It failed: %s" % error.message(), file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("\nInterrupted.", file=sys.stderr)
        return 130
    finally:
        fus.disconnect()


if __name__ == "__main__":
    sys.exit(main())
