#!/usr/bin/env python3
"""Shoot at a line of focal points with a spherical-cap transducer of 256 elements.

The script connects to a generator (or to fus-simulator), computes the phases that focus each shot
of a trajectory on its point, uploads the trajectory, executes it three times, and prints every
shot result as it comes in. With the definition of the installation it tells the emitted power, too.

    python3 focus.py [HOST [PORT]] [--points FILE.csv] [--definition FILE.ini]

Copy it, and put your own transducer and your own points in.
"""

import argparse
import csv
import math
import os
import sys
import threading
import time
from collections import namedtuple

try:
    import KORVANE
except ImportError as error:
    sys.exit("The module KORVANE can't be imported: %s\n"
             "Build it, and put its directory into PYTHONPATH (./demo shows how)." % error)


# --- the transducer ------------------------------------------------------------------------------

ELEMENTS = 256
CURVATURE_MM = 120.0     # radius of the sphere on which the elements lie
APERTURE_MM = 130.0      # diameter of the rim

MICROSECONDS = 1000      # in a millisecond
BUFFER = 0               # the generator's buffer that is used
RESULT_GRACE_S = 10.0    # how long results may be late before the script gives up

FocalPoint = namedtuple("FocalPoint", "x y z duration_ms amplitude_percent")


def cap_elements():
    """Positions (x, y, z) of the elements in millimetres, the centre of the sphere at 0.

    The elements follow a sunflower spiral (Vogel, Mathematical Biosciences 44, 1979), which covers
    the cap with equal areas and has no axis of symmetry, so that no grating lobe stands out. The
    transducer looks along +z.
    """
    golden_angle = math.pi * (3.0 - math.sqrt(5.0))
    cap_height = CURVATURE_MM - math.sqrt(CURVATURE_MM ** 2 - (APERTURE_MM / 2.0) ** 2)
    elements = []
    for i in range(ELEMENTS):
        z = -CURVATURE_MM + cap_height * (i + 0.5) / ELEMENTS
        ring = math.sqrt(CURVATURE_MM ** 2 - z ** 2)
        angle = i * golden_angle
        elements.append((ring * math.cos(angle), ring * math.sin(angle), z))
    return elements


def focusing_phases(elements, point, frequency_hz, speed_m_s):
    """Phases (0 to 255, one per element) by which all waves meet in phase at the point.

    A wave that has further to go must lead by the number of wavelengths on its way; whole
    wavelengths make no difference.
    """
    wavelength_mm = speed_m_s / frequency_hz * 1000.0
    phases = []
    for x, y, z in elements:
        path_mm = math.sqrt((point.x - x) ** 2 + (point.y - y) ** 2 + (point.z - z) ** 2)
        phases.append(int(round(path_mm / wavelength_mm % 1.0 * 256.0)) % 256)
    return phases


# --- the focal points ----------------------------------------------------------------------------

class BadRow(Exception):
    """A row of the file of focal points can't be used."""


def read_focal_points(path):
    """The focal points of a CSV file; BadRow names the line of the first row that is wrong."""
    points = []
    with open(path, newline="", encoding="utf-8-sig") as file:
        rows = csv.reader(file)
        try:
            for row in rows:
                text = ",".join(row).strip()
                if not text or text.startswith("#"):
                    continue
                if not points and [cell.strip().lower() for cell in row[:3]] == ["x", "y", "z"]:
                    continue
                points.append(focal_point(row, "%s, line %d" % (path, rows.line_num)))
        except csv.Error as error:
            raise BadRow("%s, line %d: %s" % (path, rows.line_num, error))
        except UnicodeDecodeError as error:
            raise BadRow("%s: the file is no UTF-8 text: %s" % (path, error))
    if not points:
        raise BadRow("%s: there is no focal point in it" % path)
    return points


def focal_point(row, place):
    if len(row) != len(FocalPoint._fields):
        raise BadRow("%s: a focal point has %d values (x, y, z, duration, amplitude), and not %d"
                     % (place, len(FocalPoint._fields), len(row)))
    values = []
    for name, cell in zip(("x", "y", "z", "duration", "amplitude"), row):
        try:
            value = float(cell)
        except ValueError:
            raise BadRow("%s: the %s is %r, which is no number" % (place, name, cell.strip()))
        if not math.isfinite(value):
            raise BadRow("%s: the %s is %r, which is not finite" % (place, name, cell.strip()))
        values.append(value)
    point = FocalPoint(*values)
    # 4,294 seconds is what the generator's 32 bits of microseconds hold
    if not 0.001 <= point.duration_ms <= 4294967.0:
        raise BadRow("%s: the duration is %g ms, expected 0.001 to 4294967"
                     % (place, point.duration_ms))
    if not 0.0 <= point.amplitude_percent <= 100.0:
        raise BadRow("%s: the amplitude is %g %%, expected 0 to 100"
                     % (place, point.amplitude_percent))
    return point


def build_trajectory(gen, points, frequency_hz, speed_m_s, pause_ms):
    """One shot per focal point; the pause behind a shot is as long as the generator needs."""
    elements = cap_elements()
    trajectory = KORVANE.ElectronicTrajectory(ELEMENTS)
    shortest_us = gen.getMinTotalShotDuration(KORVANE.ElecExecMode.NORMAL)
    for point in points:
        duration_us = int(round(point.duration_ms * MICROSECONDS))
        pause_us = max(int(round(pause_ms * MICROSECONDS)), shortest_us - duration_us, 0)
        shot = KORVANE.PhaseShot(ELEMENTS, 1, 1)
        shot.setDuration(duration_us, pause_us)
        shot.setFrequencies([int(round(frequency_hz))])
        shot.setAmplitudes([int(round(point.amplitude_percent / 100.0 * 255.0))])
        shot.setPhases(focusing_phases(elements, point, frequency_hz, speed_m_s))
        trajectory.addShot(shot)
    return trajectory


# --- the results ---------------------------------------------------------------------------------

def padded(number, largest):
    """The number with as many blanks in front as the columns need to stay aligned."""
    return str(number).rjust(len(str(largest)))


class ShotPrinter(KORVANE.FUSListener):
    """Prints one line per shot, and keeps what the summary needs.

    The callbacks run on the library's own thread, one at a time. `ended` is set when the last
    execution is over, when one failed, and when the connection is lost.
    """

    def __init__(self, points, executions, measures, has_power, total_s):
        super().__init__()
        self.points = points
        self.executions = executions
        self.measures = measures        # names, in the order of the shot results
        self.has_power = has_power      # whether a definition tells how to compute it
        self.total_s = total_s
        self.all_shots = len(points) * executions
        self.ended = threading.Event()
        self.failure = None
        self.shots = 0
        self.executed = 0
        self.emitted_us = 0
        self.largest_gap_us = 0
        self.energy_j = 0.0
        self.sums = [0.0] * len(measures)

    def onShotResult(self, execID, shotResult):
        point = self.points[shotResult.shotIndex()]
        channels = shotResult.channelCount()
        means = []
        for m in range(shotResult.channelMeasureCount()):
            total = sum(shotResult.channelRawValue(c, m) for c in range(channels))
            means.append(total / float(channels))
        for m, mean in enumerate(means):
            self.sums[m] += mean
        self.shots += 1
        self.emitted_us += shotResult.duration()
        self.largest_gap_us = max(self.largest_gap_us, abs(shotResult.totalGap()))
        texts = ["%s %5.1f" % pair for pair in zip(self.measures, means)]
        if self.has_power:
            power_w = math.fsum(shotResult.power(c) for c in range(channels))
            self.energy_j += power_w * shotResult.duration() / 1e6
            texts.append("%7.1f W" % power_w)
        left = self.all_shots - self.shots
        print("execution %s/%d  shot %s/%d  (%5.1f, %5.1f, %5.1f) mm  %6.2f ms  %3.0f %%  %s  "
              "%s left, %.1f s"
              % (padded(shotResult.execIndex() + 1, self.executions), self.executions,
                 padded(shotResult.shotIndex() + 1, len(self.points)), len(self.points),
                 point.x, point.y, point.z,
                 shotResult.duration() / 1000.0, point.amplitude_percent,
                 "  ".join(texts),
                 padded(left, self.all_shots), self.total_s * left / self.all_shots), flush=True)

    def onExecResult(self, execResult):
        if execResult.status() in (KORVANE.ExecStatus.OK_CONTINUE, KORVANE.ExecStatus.OK_FINISHED):
            self.executed += 1
        else:
            self.failure = "%s (%s)" % (execResult.statusName(),
                                        execResult.errorMessage() or "no message")
        if execResult.isFinished():
            self.ended.set()

    def onDisconnect(self, reason):
        if reason != 0 and not self.ended.is_set():
            self.failure = "the connection was lost"
        self.ended.set()

    def summary(self):
        print()
        print("%d of %d shots in %d of %d executions, %.1f ms of ultrasound, "
              "largest deviation of a shot %d us"
              % (self.shots, self.all_shots, self.executed, self.executions,
                 self.emitted_us / 1000.0, self.largest_gap_us))
        if self.has_power and self.emitted_us:
            print("%.2f J emitted, %.1f W on the average of the shooting time"
                  % (self.energy_j, self.energy_j / (self.emitted_us / 1e6)))
        if self.shots:
            print("mean raw measures over all shots and channels: "
                  + "  ".join("%s %.1f" % (name, total / self.shots)
                              for name, total in zip(self.measures, self.sums)))


# --- the story -----------------------------------------------------------------------------------

def shoot(fus, points, options):
    gen = fus.gen
    if gen.getChannelCount() != ELEMENTS:
        print("This transducer has %d elements, but the generator has %d channels."
              % (ELEMENTS, gen.getChannelCount()), file=sys.stderr)
        return 1
    trajectory = build_trajectory(gen, points, options.frequency, options.speed, options.pause)
    amplifier = fus.getBoardAMP(0)
    measures = [amplifier.channelMeasure(m).name()
                for m in range(amplifier.channelMeasureCount())]
    delay_us = gen.getMinTrajectoryDelay()
    total_s = options.executions * (trajectory.totalDuration() + delay_us) / 1e6

    gen.sendTrajectory(BUFFER, trajectory)
    print("Uploaded %d shots on %d channels; %d executions take about %.1f s.\n"
          % (trajectory.size(), trajectory.activeChannels(), options.executions, total_s))

    printer = ShotPrinter(points, options.executions, measures,
                          gen.isShotResultConversionEnabled(), total_s)
    fus.registerListener(printer)
    try:
        gen.executeTrajectory(BUFFER, options.executions, delay_us)
        wait_for_end(printer, total_s + RESULT_GRACE_S)
    except KeyboardInterrupt:
        return stop(gen, printer)
    finally:
        fus.unregisterListener(printer)
    printer.summary()
    if printer.failure:
        print("It stopped early: %s" % printer.failure, file=sys.stderr)
        return 1
    return 0


def wait_for_end(printer, limit_s):
    # a loop in Python: callbacks can only run while this thread is not inside the module
    give_up = time.time() + limit_s
    while not printer.ended.wait(0.05):
        if time.time() > give_up:
            printer.failure = "no result came for too long"
            return


def stop(gen, printer):
    print("\nStopping.", flush=True)
    gen.stopTrajectory()
    printer.ended.wait(2.0)     # the generator confirms with a last execution result
    printer.summary()
    return 130


def parse_arguments():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("host", nargs="?", help="the generator's address (127.0.0.1)")
    parser.add_argument("port", nargs="?", type=int, help="usually 1670")
    parser.add_argument("--definition", metavar="FILE",
                        help="of the installation (INI file): its address is taken unless given")
    parser.add_argument("--points", default=os.path.join(here, "focal_points.csv"),
                        help="CSV file: x, y, z [mm], duration [ms], amplitude [%%]")
    parser.add_argument("--frequency", type=float, default=1.0e6, help="hertz (1000000)")
    parser.add_argument("--speed", type=float, default=1500.0, help="of sound, m/s (1500)")
    parser.add_argument("--pause", type=float, default=5.0, help="least pause per shot, ms (5)")
    parser.add_argument("--executions", type=int, default=3, help="of the trajectory (3)")
    parser.add_argument("--log", metavar="FILE", help="write the library's log into a file")
    options = parser.parse_args()
    if options.port is not None and not 1 <= options.port <= 65535:
        parser.error("the port must be 1 to 65535")
    if not 1.0 <= options.frequency <= 4.0e9 or not 1.0 <= options.speed <= 1.0e5:
        parser.error("the frequency must be 1 to 4e9 hertz, the speed of sound 1 to 1e5 m/s")
    if not 1 <= options.executions < 1 << 32 or not 0.0 <= options.pause <= 4.0e6:
        parser.error("at least one execution, and a pause of 0 to 4e6 ms")
    return options


def main():
    options = parse_arguments()
    try:
        points = read_focal_points(options.points)
    except (OSError, BadRow) as error:
        print("The focal points can't be read: %s" % error, file=sys.stderr)
        return 2

    fus = KORVANE.FUS()
    if options.log:
        if not fus.setLogFile(options.log, False):
            print("The log file %s can't be written." % options.log, file=sys.stderr)
            return 2
        fus.setLogLevel(KORVANE.LogLevel.INFO)
        fus.enableLogStderr(False)
    if options.definition and not fus.gen.loadDefinition(options.definition):
        print("The definition %s can't be used; the log tells why." % options.definition,
              file=sys.stderr)
        return 2
    host = options.host or fus.getDefinitionHost() or "127.0.0.1"
    port = options.port or fus.getDefinitionPort() or 1670
    try:
        print("Connecting to %s, port %d ..." % (host, port), flush=True)
        if not fus.connect(host, port):
            print("No generator answered at %s, port %d. Is it switched on, is the address right, "
                  "is it free of other clients, and does a firewall let echo requests (ping) and "
                  "the port through?\n"
                  "%s how far it got."
                  % (host, port,
                     options.log + " tells" if options.log else "The lines above tell"),
                  file=sys.stderr)
            return 1
        return shoot(fus, points, options)
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
