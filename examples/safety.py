#!/usr/bin/env python3
"""See the generator's own protections at work, one after the other.

1. Heart-beat: the script sets a time-out, keeps an execution alive for a while, then falls silent,
   as if it had crashed: the generator has to stop by itself.
2. Thresholds: the script sets a temperature of the amplifiers slightly above what it reads, and
   shoots until the load has warmed them up: the generator has to stop by itself.
3. Watchdog: the generator is asked for a shot that is too long, with its checks turned off: its
   watchdog has to cut the shot.

    python3 safety.py [HOST [PORT]] [--definition FILE.ini]

Ultrasound is emitted: the transducer must be in its place, with nobody in front of it. Everything
that was set is set back in the end. Exit code: 0 every protection worked, 1 one did not.
"""

import argparse
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

Status = KORVANE.ExecStatus


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
    """An execution of many shots, which is stopped when the block is left."""

    def __init__(self, fus, amplitude, seconds):
        self.fus, self.gen = fus, fus.gen
        channels = self.gen.getChannelCount()
        shot = KORVANE.PhaseShot(channels, 1, 1)
        shot.setPhases([0] * channels)
        shot.setFrequencies([FREQUENCY_HZ])
        shot.setAmplitudes([amplitude])
        shot.setDuration(SHOT_US, PAUSE_US)
        trajectory = KORVANE.ElectronicTrajectory(channels)
        trajectory.addShot(shot)
        self.gen.sendTrajectory(BUFFER, trajectory)
        delay_us = self.gen.getMinTrajectoryDelay()
        self.count = int(seconds * 1e6 / (SHOT_US + PAUSE_US + delay_us)) + 1
        self.delay_us = delay_us
        self.watcher = Watcher()

    def __enter__(self):
        self.fus.registerListener(self.watcher)
        self.began = time.time()
        self.gen.executeTrajectory(BUFFER, self.count, self.delay_us)
        return self

    def __exit__(self, *_):
        try:
            if not self.watcher.ended.is_set():
                self.gen.stopTrajectory()
                self.watcher.ended.wait(2.0)
        finally:
            self.fus.unregisterListener(self.watcher)

    def tell(self, text):
        print("  %5.2f s  %s" % (time.time() - self.began, text), flush=True)

    def wait(self, seconds):
        """True once it has ended. Callbacks run while Python code waits like this."""
        return self.watcher.ended.wait(seconds)

    def was_stopped_by(self, expected):
        """Whether the generator stopped for the expected reason; tells what it did."""
        result = self.watcher.result
        if result is None:
            self.tell("The generator is still shooting." if not self.watcher.ended.is_set()
                      else "The connection was lost.")
            return False
        self.tell("The generator stopped after %d shots: %s%s"
                  % (self.watcher.shots, result.statusName(),
                     " (%s)" % result.errorMessage() if result.errorMessage() else ""))
        return result.status() == expected


# --- the protections -----------------------------------------------------------------------------

def show_heart_beat(fus, options):
    before_us = fus.gen.readHeartBeatTimeout()
    fus.gen.setHeartBeatTimeout(HEART_BEAT_US)
    print("  The generator expects a heart-beat every %g ms." % (HEART_BEAT_US / 1000.0))
    try:
        with Execution(fus, options.amplitude, ALIVE_S + 5.0) as execution:
            while time.time() - execution.began < ALIVE_S:
                fus.gen.sendHeartBeat()
                if execution.wait(BEAT_PAUSE_S):
                    execution.was_stopped_by(Status.STOP_HEARTBEAT)
                    print("  It stopped although heart-beats came.")
                    return False
            execution.tell("No more heart-beats.")
            execution.wait(4.0)
            return execution.was_stopped_by(Status.STOP_HEARTBEAT)
    finally:
        fus.gen.setHeartBeatTimeout(before_us)


def show_thresholds(fus, options):
    gen = fus.gen
    before = gen.readAmplifierTemperatures(True)
    temperatures = gen.readAmplifierTemperatures(False)
    limits = [temperature + options.rise for temperature in temperatures]
    print("  The amplifiers are at %.1f to %.1f degrees; each may become %g degrees warmer."
          % (min(temperatures), max(temperatures), options.rise))
    gen.setMaxAmplifierTemperatures(limits)
    try:
        with Execution(fus, options.amplitude, options.patience) as execution:
            while not execution.wait(0.5) and time.time() - execution.began < options.patience:
                temperatures = gen.readAmplifierTemperatures(False)
                execution.tell("%.1f to %.1f degrees" % (min(temperatures), max(temperatures)))
            return execution.was_stopped_by(Status.STOP_AMPLIFIER_TEMP)
    finally:
        gen.setMaxAmplifierTemperatures(before)


def show_watchdog(fus, options):
    print("  A shot of %g s is tried, at amplitude 0 ..."
          % ((fus.gen.getMaxShootingDuration(KORVANE.ElecExecMode.NORMAL) + 500000) / 1e6),
          flush=True)
    good = fus.gen.checkWatchdog()
    print("  The watchdog %s." % ("cut it" if good else "did NOT cut it"))
    return good


# what it is called, what shows it, and the protocol that it needs
PROTECTIONS = [("Heart-beat", show_heart_beat, 3),
               ("Temperature thresholds", show_thresholds, 0),
               ("Watchdog", show_watchdog, 3)]


def show_all(fus, options):
    protocol = fus.getProtocolVersion().v1
    outcome = []
    for name, show, least_protocol in PROTECTIONS:
        print("\n%s" % name, flush=True)
        if protocol < least_protocol:
            print("  It needs protocol %d: this generator can't show it." % least_protocol)
            outcome.append((name, "not there"))
            continue
        outcome.append((name, "works" if show(fus, options) else "DOES NOT WORK"))
    print()
    for name, word in outcome:
        print("%-24s %s" % (name, word))
    return 1 if any(word == "DOES NOT WORK" for _, word in outcome) else 0


# --- the story -----------------------------------------------------------------------------------

def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("host", nargs="?", default="", help="the generator's address (127.0.0.1)")
    parser.add_argument("port", nargs="?", type=int, default=0, help="usually 1670")
    parser.add_argument("--definition", metavar="FILE",
                        help="of the installation: its address, thresholds and clock are taken")
    parser.add_argument("--amplitude", type=int, default=255, help="of the shots, 1 to 255 (255)")
    parser.add_argument("--rise", type=float, default=1.0,
                        help="how much warmer the amplifiers may become, degrees (1)")
    parser.add_argument("--patience", type=float, default=60.0,
                        help="how long they may take to become so, seconds (60)")
    options = parser.parse_args()
    if not 0 <= options.port <= 65535 or not 1 <= options.amplitude <= 255:
        parser.error("the port must be 1 to 65535, the amplitude 1 to 255")
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
        return show_all(fus, options)
    except KORVANE.FUSException as error:
        print("It failed: %s" % error.message(), file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("\nInterrupted: the execution was stopped, what was set is set back.",
              file=sys.stderr)
        return 130
    finally:
        fus.disconnect()


if __name__ == "__main__":
    sys.exit(main())
