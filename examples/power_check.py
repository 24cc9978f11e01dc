#!/usr/bin/env python3
"""Fire a ramp of amplitudes, and show which power each channel emits.

The script loads the definition of an installation, connects to the generator that it names, checks
that what is connected is what the definition expects, and that the power supplies are within their
ranges. Then it fires one short shot per amplitude on all channels, and prints the power of every
channel against the amplitude. A channel that differs too much from the others is marked.

    python3 power_check.py DEFINITION.ini [HOST [PORT]] [--plot FILE.png]

Exit code: 0 all is well, 1 something is wrong with the installation, 2 the script was called
wrongly, 130 it was interrupted.
"""

import argparse
import math
import os
import sys
import threading
import time

try:
    import KORVANE
except ImportError as error:
    sys.exit("The module KORVANE can't be imported: %s\n"
             "Build it, and put its directory into PYTHONPATH (./demo shows how)." % error)


BUFFER = 0               # the generator's buffer that is used
RESULT_GRACE_S = 10.0    # how long results may be late before the script gives up
FULL_AMPLITUDE = 255


class Failure(Exception):
    """Something is wrong with the installation; the text says what."""


# --- the checks ----------------------------------------------------------------------------------

def check_installation(fus):
    """Compares what is connected with the definition."""
    try:
        fus.checkConfiguration()
    except KORVANE.FUSException as error:
        if error.errorCode() != int(KORVANE.FUSError.ERR_CONFIG):
            raise
        raise Failure("This isn't the generator of the definition: %s" % error.message())
    voltages = fus.gen.readPowerSupplies()
    print("Power supplies: %s" % "  ".join("%.2f V" % voltage for voltage in voltages))
    bad = fus.checkVoltages(voltages)
    if bad:
        raise Failure("%d of %d power supplies are out of their range; the lines above tell which"
                      % (bad, len(voltages)))
    if not fus.gen.isShotResultConversionEnabled():
        raise Failure("The definition's amplifiers aren't those that are connected, so that no "
                      "power can be computed")
    print("The configuration is the definition's, and no power supply is outside of the range that "
          "the definition gives it.")


# --- the ramp ------------------------------------------------------------------------------------

def ramp_amplitudes(steps, highest):
    """So many amplitudes with equal distances, the last one the highest."""
    return [int(round(highest * (i + 1) / float(steps))) for i in range(steps)]


def build_ramp(gen, amplitudes, options):
    """One shot per amplitude, all channels in phase."""
    channels = gen.getChannelCount()
    duration_us = int(round(options.duration * 1000.0))
    shortest_us = gen.getMinTotalShotDuration(KORVANE.ElecExecMode.NORMAL)
    trajectory = KORVANE.ElectronicTrajectory(channels)
    for amplitude in amplitudes:
        shot = KORVANE.PhaseShot(channels, 1, 1)
        shot.setPhases([0] * channels)
        shot.setFrequencies([int(round(options.frequency))])
        shot.setAmplitudes([amplitude])
        shot.setDuration(duration_us, max(shortest_us - duration_us, 0))
        trajectory.addShot(shot)
    return trajectory


class PowerRecorder(KORVANE.FUSListener):
    """Keeps the power of every channel in every shot.

    The callbacks run on the library's own thread. `ended` is set when the execution is over, in
    whatever way.
    """

    def __init__(self):
        super().__init__()
        self.powers = {}        # by the index of the shot: a list, by channel [W]
        self.failure = None
        self.ended = threading.Event()

    def onShotResult(self, execID, shotResult):
        # Power is a difference of noisy measures: where it is small it may come out negative, and
        # is told as -1 then, as it is where it can't be computed.
        powers = [shotResult.power(channel) for channel in range(shotResult.channelCount())]
        self.powers[shotResult.shotIndex()] = [power if power >= 0.0 else math.nan
                                               for power in powers]

    def onExecResult(self, execResult):
        if execResult.status() not in (KORVANE.ExecStatus.OK_CONTINUE,
                                       KORVANE.ExecStatus.OK_FINISHED):
            self.failure = "%s (%s)" % (execResult.statusName(),
                                        execResult.errorMessage() or "no message")
        if execResult.isFinished():
            self.ended.set()

    def onDisconnect(self, reason):
        if reason != 0 and not self.ended.is_set():
            self.failure = "the connection was lost"
        self.ended.set()


def measure_powers(fus, amplitudes, options):
    """Fires the ramp; for each amplitude a list of the channels' powers [W]."""
    gen = fus.gen
    trajectory = build_ramp(gen, amplitudes, options)
    gen.sendTrajectory(BUFFER, trajectory)
    recorder = PowerRecorder()
    fus.registerListener(recorder)
    try:
        gen.executeTrajectory(BUFFER, 1, gen.getMinTrajectoryDelay())
        # a loop in Python: callbacks can only run while this thread is not inside the module
        give_up = time.time() + trajectory.totalDuration() / 1e6 + RESULT_GRACE_S
        while not recorder.ended.wait(0.05):
            if time.time() > give_up:
                raise Failure("No result came for too long")
    except KeyboardInterrupt:
        gen.stopTrajectory()
        raise
    finally:
        fus.unregisterListener(recorder)
    if recorder.failure:
        raise Failure("The ramp stopped early: %s" % recorder.failure)
    missing = [i for i in range(len(amplitudes)) if i not in recorder.powers]
    if missing:
        raise Failure("%d of %d shots have no result" % (len(missing), len(amplitudes)))
    return [recorder.powers[i] for i in range(len(amplitudes))]


# --- what is made of it --------------------------------------------------------------------------

def median(values):
    """Of the values that are known; not a number if there are none."""
    ordered = sorted(known(values)) or [math.nan]
    middle = len(ordered) // 2
    return ordered[middle] if len(ordered) % 2 else (ordered[middle - 1] + ordered[middle]) / 2.0


def differing_channels(powers, tolerance_percent):
    """Channels whose power at the highest amplitude is too far from the median, or has no value."""
    typical = median(powers[-1])
    return [channel for channel, power in enumerate(powers[-1])
            if not abs(power - typical) <= abs(typical) * tolerance_percent / 100.0]


def known(powers):
    """Those of the powers that could be computed."""
    return [power for power in powers if not math.isnan(power)]


def check_emission(powers):
    """Whether there is any power, and whether it could be computed where it is greatest."""
    if len(known(powers[-1])) < len(powers[-1]):
        raise Failure("%d of %d channels have no power at the highest amplitude; the lines above "
                      "tell why" % (len(powers[-1]) - len(known(powers[-1])), len(powers[-1])))
    if median(powers[-1]) == 0.0:
        raise Failure("Most channels emit nothing: are they masked, or is the amplifiers' power "
                      "supply switched off?")


def table(amplitudes, powers, marked):
    """Lines: the power of each channel [W], a column for each amplitude."""
    width = max(8, max([len("%.2f" % power) for row in powers for power in known(row)] + [0]) + 2)

    def line(name, row):
        cells = ["-" if math.isnan(power) else "%.2f" % power for power in row]
        return "%7s" % name + "".join(cell.rjust(width) for cell in cells)

    yield "channel" + "".join(("%d" % amplitude).rjust(width) for amplitude in amplitudes)
    for channel in range(len(powers[0])):
        yield (line(channel, [row[channel] for row in powers])
               + ("  <-- differs" if channel in marked else ""))
    for name, combine in (("least", min), ("median", median), ("most", max)):
        yield line(name, [combine(known(row) or [math.nan]) for row in powers])


def plot(path, amplitudes, powers, marked, tolerance_percent):
    """Two diagrams: power against amplitude, and the channels at the highest amplitude."""
    import matplotlib
    matplotlib.use("Agg")       # a file is all that is wanted: no display is needed
    import matplotlib.pyplot as pyplot

    figure, (ramp, channels) = pyplot.subplots(1, 2, figsize=(12, 5))
    for channel in range(len(powers[0])):
        ramp.plot(amplitudes, [row[channel] for row in powers], linewidth=0.5, alpha=0.35,
                  color="tab:red" if channel in marked else "tab:blue")
    ramp.plot(amplitudes, [median(row) for row in powers], color="black", marker="o",
              markersize=4, label="median of %d channels" % len(powers[0]))
    ramp.set_xlabel("amplitude (of %d)" % FULL_AMPLITUDE)
    ramp.set_ylabel("emitted power [W]")
    ramp.set_title("Power against amplitude, channel by channel")
    ramp.legend(loc="upper left")

    last, typical = powers[-1], median(powers[-1])
    channels.axhspan(typical * (1 - tolerance_percent / 100.0),
                     typical * (1 + tolerance_percent / 100.0), color="tab:green", alpha=0.15,
                     label="median ± %g %%" % tolerance_percent)
    channels.axhline(typical, color="black", linewidth=1)
    channels.scatter(range(len(last)), last, s=9,
                     c=["tab:red" if channel in marked else "tab:blue"
                        for channel in range(len(last))])
    channels.set_ylim(bottom=0)
    channels.set_xlabel("channel")
    channels.set_ylabel("emitted power [W]")
    channels.set_title("Power at amplitude %d" % amplitudes[-1])
    channels.legend(loc="lower right")
    for axes in (ramp, channels):
        axes.grid(True, alpha=0.3)
    figure.tight_layout()
    figure.savefig(path, dpi=110)


def check_power(fus, options):
    check_installation(fus)
    highest = min(options.highest, fus.gen.readAmplitudeThreshold())
    if highest < options.highest:
        print("The generator allows amplitudes up to %d only." % highest)
    if highest < options.steps:
        raise Failure("A ramp of %d steps needs an amplitude of at least %d"
                      % (options.steps, options.steps))
    amplitudes = ramp_amplitudes(options.steps, highest)
    print("Firing %d shots of %g ms on %d channels, amplitudes %d to %d ...\n"
          % (len(amplitudes), options.duration, fus.gen.getChannelCount(), amplitudes[0],
             amplitudes[-1]), flush=True)
    powers = measure_powers(fus, amplitudes, options)
    marked = set(differing_channels(powers, options.tolerance))
    print("Emitted power [W] by channel and amplitude")
    for line in table(amplitudes, powers, marked):
        print(line)
    print("\nAll channels together emit %.1f W at amplitude %d."
          % (math.fsum(known(powers[-1])), amplitudes[-1]))
    missing = sum(len(row) - len(known(row)) for row in powers)
    if missing:
        print("%d powers (-) were too small to be measured." % missing)
    check_emission(powers)
    if options.plot:
        plot(options.plot, amplitudes, powers, marked, options.tolerance)
        print("The picture is in %s." % options.plot)
    if marked:
        raise Failure("%d of %d channels differ by more than %g %% from the median"
                      % (len(marked), len(powers[0]), options.tolerance))
    print("No channel differs by more than %g %% from the median." % options.tolerance)


# --- the story -----------------------------------------------------------------------------------

def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("definition", help="definition of the generator (INI file)")
    parser.add_argument("host", nargs="?", help="instead of the definition's address")
    parser.add_argument("port", nargs="?", type=int, help="instead of the definition's")
    parser.add_argument("--steps", type=int, default=8, help="amplitudes of the ramp (8)")
    parser.add_argument("--highest", type=int, default=FULL_AMPLITUDE,
                        help="amplitude of the last step, up to 255 (255)")
    parser.add_argument("--duration", type=float, default=5.0, help="of each shot, ms (5)")
    parser.add_argument("--frequency", type=float, default=1.0e6, help="hertz (1000000)")
    parser.add_argument("--tolerance", type=float, default=20.0,
                        help="how far a channel may be from the median, per cent (20)")
    parser.add_argument("--plot", metavar="FILE", help="draw a picture (.png, .pdf, .svg)")
    options = parser.parse_args()
    if options.port is not None and not 1 <= options.port <= 65535:
        parser.error("the port must be 1 to 65535")
    if not 1 <= options.highest <= FULL_AMPLITUDE or not 1 <= options.steps <= options.highest:
        parser.error("the highest amplitude must be 1 to 255, and not below the number of steps")
    if not 0.001 <= options.duration <= 4294967.0 or not 1.0 <= options.frequency <= 4.0e9:
        parser.error("the duration must be 0.001 to 4294967 ms, the frequency 1 to 4e9 hertz")
    if not 0.0 <= options.tolerance < float("inf"):
        parser.error("the tolerance must be a percentage of 0 or more")
    if options.plot:
        problem = plot_problem(options.plot)
        if problem:
            parser.error(problem)
    return options


def plot_problem(path):
    """What would keep the picture from being drawn: better known before anything is fired."""
    try:
        import matplotlib
        matplotlib.use("Agg")
        from matplotlib.figure import Figure
        from matplotlib.backends.backend_agg import FigureCanvasAgg
    except ImportError:
        return ("--plot needs matplotlib, which this Python doesn't have (on Debian: "
                "apt-get install python3-matplotlib)")
    kind = os.path.splitext(path)[1].lstrip(".").lower()
    if kind not in FigureCanvasAgg(Figure()).get_supported_filetypes():
        return "--plot can't write a file of the kind '%s'; .png, .pdf and .svg are some" % kind
    directory = os.path.dirname(os.path.abspath(path))
    if os.path.isdir(path) or not os.access(path if os.path.exists(path) else directory, os.W_OK):
        return "the picture can't be written: %s" % path
    return None


def main():
    options = parse_arguments()
    fus = KORVANE.FUS()
    if not fus.gen.loadDefinition(options.definition):
        print("The definition %s can't be used; the lines above tell why."
              % os.path.abspath(options.definition), file=sys.stderr)
        return 2
    host, port = options.host or fus.getDefinitionHost(), options.port or fus.getDefinitionPort()
    print("Connecting to %s, port %d ..." % (host, port), flush=True)
    try:
        if not fus.connect(host, port):
            print("No generator answered; the lines above tell how far it got.", file=sys.stderr)
            return 1
        check_power(fus, options)
        return 0
    except Failure as failure:
        print("%s." % failure, file=sys.stderr)
        return 1
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
