#!/usr/bin/env python3
"""Scan a plane with a transducer that moves, and shoot at every point of the raster.

The script loads the definitions of the generator and of the mechanical system, connects, sends the
configuration to the mechanical board, finds the origins of all axes, and moves to the first point.
Then it goes through the raster line by line, there and back: each line is one mixed execution, in
which the generator drives the motion, and shoots once at each point while the axes stand still. In
the end the axes go back to where the search of the origins has left them, which is parked where the
definition has an initPark.

    python3 scan.py GENERATOR.ini MECHANICS.ini [HOST [PORT]] [--size W H] [--points NX NY]
                    [--plot FILE.png]

The plane is that of the definition's first two axes; --hold says where another one stands.

Something moves, and ultrasound is emitted: nothing may stand in the way. Ctrl-C stops shooting and
motion at once, then parks the axes; a second Ctrl-C leaves them where they are. The last line tells
if they are parked, or where they stand.

Exit code: 0 all points were shot at and the axes are parked, 1 something went wrong, 2 the script
was called wrongly, 130 it was interrupted.
"""

import argparse
import math
import os
import re
import signal
import sys
import time
from collections import namedtuple

try:
    import KORVANE
except ImportError as error:
    sys.exit("The module KORVANE can't be imported: %s\n"
             "Build it, and put its directory into PYTHONPATH (./demo shows how)." % error)


BUFFER = 0                # the generator's buffer that is used
FREQUENCY_HZ = 1000000
SETTLE_MS = 20            # rest of the axes before each shot, and behind it
GRACE_S = 10.0            # how long results may be late before the script gives up
REST_S = 3.0              # how long axes may take to come to rest after a stop
PROGRESS_S = 0.5          # between two lines while the origins are searched
SAMPLE_S = 0.05           # between two readings of the position, for the picture

NORMAL = KORVANE.ElecExecMode.NORMAL
OK = int(KORVANE.MechResult.OK)
Status = KORVANE.ExecStatus
Point = namedtuple("Point", "line x y")           # x, y in the unit of their axes
Shot = namedtuple("Shot", "point power")          # power [W] of all channels together
WrongCall = type("WrongCall", (Exception,), {})         # arguments don't fit the definition
Failure = type("Failure", (Exception,), {})             # the scan can't go on
MotionFailure = type("MotionFailure", (Failure,), {})   # nor should the axes be moved again
UNREAD = []               # streams whose readers have gone
EXPECTED = (Failure, KORVANE.FUSException, IndexError)


def say(text, stream=None):
    """Prints; the reader may be gone (scan.py | head), which mustn't keep the axes from parking."""
    stream = stream or sys.stdout
    encoding = stream.encoding or "ascii"
    try:
        print(text.encode(encoding, "backslashreplace").decode(encoding), file=stream, flush=True)
    except OSError:
        UNREAD.append(stream)
        os.dup2(os.open(os.devnull, os.O_WRONLY), stream.fileno())


class Interrupts:
    """Ctrl-C. The first one raises KeyboardInterrupt, unless they are held; others only count."""

    def __init__(self):
        self.count, self.are_held = 0, False
        signal.signal(signal.SIGINT, self._note)

    def _note(self, *_):
        self.count += 1
        if not self.are_held:
            self.are_held = True    # from here on all is stopped, which nothing may interrupt
            raise KeyboardInterrupt


class Axis:
    """An actuator of the definition. Positions are in its own unit, relative to its origin."""

    def __init__(self, mech, index):
        self.mech, self.index = mech, index
        self.name = mech.getActuatorName(index)
        self.unit = mech.getActuatorUnitName(index)
        self.digits = min(max(round(-math.log10(self.value(1))), 0), 6)     # about a step's

    def steps(self, value):
        return self.mech.getActuatorUnitToStep(self.index, value)

    def value(self, steps):
        return self.mech.getActuatorStepToUnit(self.index, steps)

    def number(self, value):
        return "%.*f %s" % (self.digits, value, self.unit)

    def text(self, value):
        return "%s %s" % (self.name, self.number(value))

    def is_near(self, value):
        far = abs(self.mech.readActuatorPosition(self.index) - self.steps(value))
        return far <= max(self.mech.getActuatorMovingTolerance(self.index),
                          self.mech.getActuatorTargetTolerance(self.index))

    def read(self):
        return self.value(self.mech.readActuatorPosition(self.index))

    def where(self):
        """A text: where it stands, as far as that is known."""
        if self.mech.isActuatorOriginFound(self.index):
            return self.text(self.read())
        counter = self.mech.readAbsoluteActuatorPosition(self.index)
        return "%s unknown (counter %d)" % (self.name, counter)

    def check(self, value):
        low = self.mech.getActuatorLowerBound(self.index)
        high = self.mech.getActuatorUpperBound(self.index)
        if not low <= self.steps(value) <= high:
            raise WrongCall("%s is outside of the axis's range, %s to %s"
                            % (self.text(value), self.text(self.value(low)),
                               self.text(self.value(high))))

    def travel_ms(self, from_value, to_value):
        """From rest to rest; 0 where there is no way to go."""
        steps = abs(self.steps(to_value) - self.steps(from_value))
        if steps == 0:
            return 0
        ramp_ms = self.mech.readIntParameter(self.index, KORVANE.MechParam.ACCEL_DURATION)
        return self.mech.getActuatorDefaultDelayForDistance(self.index, steps) + ramp_ms + 1


def move_within(steps, delay_ms):
    if delay_ms > 65535:
        raise Failure("A way takes longer than the 65 s of a move")
    return KORVANE.Move(steps, delay_ms)


def raster(options):
    """Lists of points, one for each line; every second line goes back."""
    columns, rows = [
        [center - size / 2.0 + size * i / (count - 1.0) for i in range(count)] if count > 1
        else [center] for center, size, count in zip(options.center, options.size, options.points)]
    return [[Point(line, x, y) for x in (columns[::-1] if line % 2 else columns)]
            for line, y in enumerate(rows)]


class Stretch:
    """One mixed execution: motion and shooting start together, then each goes by its own clock.

    So at each point the axes stand still for a while before the shot, and as long behind it.
    """

    def __init__(self, rig, points, options):
        self.points = points
        self.trajectory = KORVANE.ElectronicTrajectory(rig.gen.getChannelCount())
        self.displacement = KORVANE.MechanicalDisplacement(len(rig.axes))
        shortest_ms = math.ceil(rig.gen.getMinTotalShotDuration(NORMAL) / 1000.0)
        shortest_pause_ms = max(shortest_ms - options.duration, 2 * SETTLE_MS + 1)
        self._move(rig.plane, points[0], options.duration + SETTLE_MS)
        for here, there in zip(points, points[1:]):
            pause_ms = max(rig.travel_ms(here, there) + 2 * SETTLE_MS, shortest_pause_ms)
            self._shoot(options, pause_ms)
            self._move(rig.plane, there, pause_ms - 2 * SETTLE_MS)
            self._move(rig.plane, there, options.duration + 2 * SETTLE_MS)
        self._shoot(options, shortest_pause_ms)     # longer than the motion lasts

    def seconds(self):
        return self.trajectory.totalDuration() / 1e6

    def _move(self, plane, point, delay_ms):
        for axis, value in zip(plane, (point.x, point.y)):
            self.displacement.addMove(axis.index, move_within(axis.steps(value), delay_ms))

    def _shoot(self, options, pause_ms):
        channels = self.trajectory.channels()
        shot = KORVANE.PhaseShot(channels, 1, 1)
        shot.setPhases([0] * channels)
        shot.setFrequencies([FREQUENCY_HZ])
        shot.setAmplitudes([options.amplitude])
        shot.setDuration(options.duration * 1000, pause_ms * 1000)
        self.trajectory.addShot(shot)


class Watcher(KORVANE.FUSListener):
    """Keeps what happens. The callbacks run on the library's own thread, one at a time."""

    def __init__(self):
        super().__init__()
        self.origin = None      # how the search has ended: result, message
        self.started = []       # identifiers of what has been started
        self.motions = {}       # how motions have ended: result and hardware code, by identifier
        self.plane = []         # axes
        self.stretch = None     # that is executed
        self.result = None      # its last execution result
        self.shots = []         # of all stretches
        self.all_points = 0
        self.seconds = 0.0      # that all stretches take
        self.lost = False       # the connection

    def onMechOrigin(self, result, message):
        self.origin = (result, message)

    def onExecStart(self, execID, execCount, execFlags, elecMode, trigMode, mechMode):
        self.started.append(execID)

    def onMechResult(self, execID, result, code):
        self.motions[execID] = (result, code)

    def onShotResult(self, execID, shotResult):
        point = self.stretch.points[shotResult.shotIndex()]
        power = math.fsum(shotResult.power(c) for c in range(shotResult.channelCount()))
        self.shots.append(Shot(point, power))
        width = len(str(self.all_points))
        left = self.all_points - len(self.shots)
        x, y = [axis.number(value) for axis, value in zip(self.plane, (point.x, point.y))]
        say("line %3d  point %s/%d  (%10s, %10s)  %8.1f W   %s left, %5.1f s"
            % (point.line + 1, str(len(self.shots)).rjust(width), self.all_points, x, y, power,
               str(left).rjust(width), self.seconds * left / self.all_points))

    def onExecResult(self, execResult):
        if execResult.isFinished():
            self.result = execResult

    def onDisconnect(self, reason):
        self.lost = reason != 0


class Rig:
    """The generator, and the axes that move its transducer."""

    def __init__(self, fus, options, interrupts):
        self.fus, self.gen, self.mech = fus, fus.gen, fus.mech
        self.interrupts, self.allowed = interrupts, 0   # how many a park bears
        self.watcher = Watcher()
        self.axes = [Axis(fus.mech, i) for i in range(fus.mech.getActuatorCount())]
        if len(self.axes) < 2:
            raise WrongCall("A plane needs two axes, and the definition has %d" % len(self.axes))
        self.plane = self.watcher.plane = self.axes[:2]
        self.has_one_unit = self.plane[0].unit == self.plane[1].unit
        others = {axis.name: axis for axis in self.axes[2:]}
        for name, _ in options.hold:
            if name not in others:
                raise WrongCall("There is no axis '%s' beside those of the plane" % name)
            if [other for other, _ in options.hold].count(name) > 1:
                raise WrongCall("--hold is given twice for the axis '%s'" % name)
        self.held = [(others[name], value) for name, value in options.hold]
        self.lines = raster(options)
        for axis, value in self.held + [pair for line in self.lines for point in line
                                        for pair in zip(self.plane, (point.x, point.y))]:
            axis.check(value)
        order = search_order(options.mechanics, len(self.axes))
        for axis in self.plane + [axis for axis, _ in self.held]:
            if axis.index not in order:
                raise WrongCall("The axis '%s' can't be used: the definition's initOrder leaves it "
                                "out, so that its origin isn't searched" % axis.name)
        self.searched = [axis for axis in self.axes if axis.index in order]
        self.home = None        # where the search has left the axes: (axis, value)
        self.place = "back"     # or parked: what they are there
        self.track = [] if options.plot else None   # where the encoders saw the transducer

    def where(self):
        return ", ".join(axis.where() for axis in self.axes)

    def travel_ms(self, here, there):
        return max(axis.travel_ms(*values) for axis, values
                   in zip(self.plane, ((here.x, there.x), (here.y, there.y))))

    def check(self):
        """Raises what ends all waiting; that is in Python, so that callbacks and Ctrl-C get in."""
        if self.watcher.lost:
            raise Failure("The connection was lost")
        if self.interrupts.are_held:            # this is the park
            if self.interrupts.count > self.allowed:
                raise KeyboardInterrupt
        elif UNREAD:
            raise Failure("Nobody reads the output any more")

    def wait(self, is_over, seconds, what):
        give_up, sample = time.monotonic() + seconds, 0.0
        while not is_over():
            self.check()
            if time.monotonic() > give_up:
                raise MotionFailure("There is no end of %s" % what)
            if self.track is not None and time.monotonic() >= sample:
                sample = time.monotonic() + SAMPLE_S
                try:
                    self.track.append([axis.read() for axis in self.plane])
                except EXPECTED:
                    pass                        # the picture does without it
            time.sleep(0.01)

    def wait_for_rest(self):
        """Until all encoders say the same twice."""
        before, give_up = None, time.monotonic() + REST_S
        while True:
            now = [self.mech.readAbsoluteActuatorPosition(axis.index) for axis in self.axes]
            if now == before:
                return
            if time.monotonic() > give_up:
                raise MotionFailure("the axes don't come to rest")
            before = now
            time.sleep(0.05)

    def configure(self):
        self.fus.checkConfiguration()
        if not self.gen.isShotResultConversionEnabled():
            raise Failure("No power can be computed: the definition has other amplifiers")
        if not self.mech.sendConfig():
            raise Failure("The mechanical board couldn't be configured; the lines above tell why")
        say("The mechanical board (protocol %d) is configured for %d axes: %s."
            % (self.mech.getProtocolVersion(), len(self.searched),
               ", ".join("%s [%s]" % (axis.name, axis.unit) for axis in self.searched)))

    def plan(self, options):
        """The lines, cut where the board or the generator can't hold a whole one."""
        longest = min((self.mech.getMaxDisplacementSize() + 1) // 2,
                      self.gen.getMaxTrajectorySize(NORMAL))
        stretches = [Stretch(self, line[i:i + longest], options)
                     for line in self.lines for i in range(0, len(line), longest)]
        self.watcher.all_points = sum(len(stretch.points) for stretch in stretches)
        self.watcher.seconds = sum(stretch.seconds() for stretch in stretches)
        self.send_shots(stretches[0])       # what the generator refuses it refuses now
        return stretches

    def find_origins(self, seconds):
        """Anew, even if the board knows them: it would park within the call, deaf to a Ctrl-C."""
        say("Searching the origins ...")
        began = due = time.monotonic()
        self.mech.findAllOrigins(True)
        while self.watcher.origin is None:
            self.check()
            if time.monotonic() - began > seconds:
                raise MotionFailure("The origins weren't found within %g s" % seconds)
            if time.monotonic() >= due:
                due += PROGRESS_S
                say("  %4.1f s  %s" % (time.monotonic() - began, self.where()))
            time.sleep(0.02)
        result, message = self.watcher.origin
        if result != OK:
            raise MotionFailure("The origins weren't found: %s%s" % (message, self.cause()))
        self.check_parks()
        self.home = [(axis, axis.read()) for axis in self.searched]
        say("All origins are found after %.1f s; the axes %s at %s."
            % (time.monotonic() - began, "are parked" if self.place == "parked" else "stand",
               self.where()))

    def check_parks(self):
        """A search that was parked badly is a good search to the library: only the motions tell."""
        parks = list(self.watcher.started)
        self.wait(lambda: all(park in self.watcher.motions for park in parks), GRACE_S, "a park")
        for result, code in [self.watcher.motions[park] for park in parks]:
            if result != OK:
                at = [axis.name for axis in self.axes if axis.index == code >> 8 & 0xFF]
                raise MotionFailure("The axis %s couldn't be parked behind its search (hardware "
                                    "code 0x%08X)" % (at[0] if at else "?", code & 0xFFFFFFFF))
        if len(parks) == len(self.searched):
            self.place = "parked"

    def move(self, targets):
        """Moves axes to positions, (axis, value), all at once."""
        delay_ms = max(axis.travel_ms(axis.read(), value) for axis, value in targets) or 1
        displacement = KORVANE.MechanicalDisplacement(len(self.axes))
        for axis, value in targets:
            displacement.addMove(axis.index, move_within(axis.steps(value), delay_ms))
        motion = self.demand(self.mech.moveTo, displacement)
        self.wait(lambda: motion in self.watcher.motions, delay_ms / 1000.0 + GRACE_S, "a motion")
        if self.watcher.motions[motion][0] != OK:
            raise MotionFailure("A motion failed%s" % self.cause())
        for axis, value in targets:
            if not axis.is_near(value):
                raise MotionFailure("A motion ended far from %s" % axis.text(value))

    @staticmethod
    def demand(command, *arguments):
        try:
            return command(*arguments)
        except KORVANE.FUSException as error:
            raise MotionFailure("A motion was refused: %s" % error.message())

    def move_to(self, point, held=()):
        self.move(list(zip(self.plane, (point.x, point.y))) + list(held))

    def cause(self):
        """What the board says about its last motion, as the end of a sentence."""
        try:
            status = self.mech.readStatus()
        except KORVANE.FUSException:
            return ""
        at = [" (axis %s)" % axis.name for axis in self.axes if axis.index == status.actuator()]
        return "" if status.ok() else ": %s%s" % (status.message(), "".join(at))

    def scan(self, stretches):
        start = stretches[0].points[0]
        say("Moving to the start: %s ..." % ", ".join(
            axis.text(value) for axis, value
            in list(zip(self.plane, (start.x, start.y))) + self.held))
        self.move_to(start, self.held)
        say("Scanning %d lines of %d points in %d executions, about %.1f s ...\n"
            % (len(self.lines), len(self.lines[0]), len(stretches), self.watcher.seconds))
        for stretch in stretches:
            self.move_to(stretch.points[0])
            self.execute(stretch)

    def execute(self, stretch):
        """The board waits for the generator, whose execution drives it."""
        self.send_shots(stretch)
        self.demand(self.mech.sendDisplacement, stretch.displacement)
        self.demand(self.mech.prepareDisplacement, 1, 0)
        before = len(self.watcher.shots)
        self.watcher.stretch, self.watcher.result = stretch, None
        self.gen.executeTrajectory(BUFFER, 1, self.gen.getMinTrajectoryDelay())
        self.wait(lambda: self.watcher.result, stretch.seconds() + GRACE_S, "the execution")
        result = self.watcher.result
        if result.status() == Status.STOP_MECHANICAL_ERROR:
            raise MotionFailure("The motion failed during the execution%s" % self.cause())
        if result.status() != Status.OK_FINISHED:
            raise Failure("The execution stopped early: %s (%s)"
                          % (result.statusName(), result.errorMessage().strip() or "no message"))
        powers = [shot.power for shot in self.watcher.shots[before:]]
        if len(powers) != len(stretch.points):
            raise Failure("%d of %d shots have a result" % (len(powers), len(stretch.points)))
        if not all(power > 0.0 for power in powers):
            raise Failure("A shot emitted nothing, or its power couldn't be computed")

    def send_shots(self, stretch):
        self.gen.sendTrajectory(BUFFER, stretch.trajectory, NORMAL, KORVANE.TriggerMode.IGNORED,
                                KORVANE.ElecMechMode.CONTINUE)

    def halt(self):
        """Stops shooting and motion. Runs while interrupts are held, so that both are told."""
        self.fus.setLogLevel(KORVANE.LogLevel.NONE)     # to the library a stop is an error
        self.attempt("shooting", self.gen.stopTrajectory)
        self.attempt("motion", self.mech.stop)

    @staticmethod
    def attempt(what, stop):
        try:
            stop()
        except EXPECTED as error:
            say("The %s could not be stopped from here: %s" % (what, reason_of(error)), sys.stderr)

    def park(self, is_sound):
        """Parks the axes, or tells that and why they aren't; whether they are."""
        moves = False
        try:
            if not all(self.mech.isActuatorOriginFound(axis.index) for axis in self.searched):
                raise Failure("their origins aren't known")
            if self.home is None or not is_sound:
                raise Failure("the motion has failed" if not is_sound else "the search didn't end")
            self.wait_for_rest()
            say("%s; Ctrl-C leaves the axes where they are."
                % ("Parking" if self.place == "parked" else "Going back"))
            self.check()
            moves = True
            self.move(self.home)
            say("The axes are %s at %s." % (self.place, self.where()))
            return True
        except (Exception, KeyboardInterrupt) as error:
            if moves:
                self.halt()
            say("The axes are NOT parked (%s)%s." % (reason_of(error), self.rest()), sys.stderr)
            return False

    def rest(self):
        try:
            self.wait_for_rest()
            return "; they stand at %s" % self.where()
        except Exception:
            return ", and where they are isn't known"


def summary(shots, options):
    powers = [shot.power for shot in shots]
    return ("%d points, %d ms of ultrasound, %.1f W on average (%.1f to %.1f), %.2f J emitted"
            % (len(shots), len(shots) * options.duration, math.fsum(powers) / len(powers),
               min(powers), max(powers), math.fsum(powers) * options.duration / 1000.0))


def path_lengths(rig):
    """How far it is along the path to each shot; in points where the axes have two units."""
    shots, lengths = rig.watcher.shots, [0.0]
    for a, b in zip(shots, shots[1:]):
        way = math.hypot(b.point.x - a.point.x, b.point.y - a.point.y)
        lengths.append(lengths[-1] + (way if rig.has_one_unit else 1.0))
    return lengths


def plot(path, rig):
    """Two diagrams: the path over the plane, and the emitted power along it."""
    import matplotlib
    matplotlib.use("Agg")       # a file is all that is wanted: no display is needed
    import matplotlib.pyplot as pyplot

    figure, diagrams = pyplot.subplots(1, 2, figsize=(13, 5.5))
    powers = [shot.power for shot in rig.watcher.shots]
    plot_plane(figure, diagrams[0], rig, powers)
    plot_along(diagrams[1], rig, powers)
    figure.tight_layout()
    figure.savefig(path, dpi=110)


def plot_plane(figure, plane, rig, powers):
    mean = math.fsum(powers) / len(powers)
    plane.plot([x for x, _ in rig.track], [y for _, y in rig.track], color="0.55", linewidth=1,
               label="path, by the encoders")
    dots = plane.scatter([shot.point.x for shot in rig.watcher.shots],
                         [shot.point.y for shot in rig.watcher.shots], c=powers, s=60,
                         cmap="coolwarm", vmin=0.9 * mean, vmax=1.1 * mean, zorder=2,
                         edgecolors="black", linewidths=0.5, label="shots")
    plane.plot(rig.home[0][1], rig.home[1][1], color="black", marker="s", linestyle="none",
               label="park position" if rig.place == "parked" else "end")
    start = rig.watcher.shots[0].point
    plane.annotate("start", (start.x, start.y), xytext=(-8, -18), textcoords="offset points")
    figure.colorbar(dots, ax=plane, extend="both", label="emitted power [W], mean ± 10 %")
    x, y = ["%s [%s]" % (axis.name, axis.unit) for axis in rig.plane]
    plane.set(xlabel=x, ylabel=y, title="Path over the plane")
    if rig.has_one_unit:
        plane.set_aspect("equal", adjustable="datalim")
    plane.grid(True, alpha=0.3)
    plane.legend(loc="upper center", bbox_to_anchor=(0.5, -0.12), ncol=3, frameon=False)


def plot_along(along, rig, powers):
    shots, mean = rig.watcher.shots, math.fsum(powers) / len(powers)
    lengths = path_lengths(rig)
    turns = [(lengths[i - 1] + lengths[i]) / 2.0 for i in range(1, len(shots))
             if shots[i].point.line != shots[i - 1].point.line]
    for i, turn in enumerate(turns):
        along.axvline(turn, color="0.6", linewidth=1, label="next line" if i == 0 else None)
    along.plot(lengths, powers, color="tab:blue", marker="o", markersize=4, label="shots")
    along.axhline(mean, color="black", linewidth=1, linestyle="--", label="mean %.1f W" % mean)
    unit = rig.plane[0].unit if rig.has_one_unit else "points"
    along.set(ylim=(0, 1.15 * max(powers)), xlabel="way along the path [%s]" % unit,
              ylabel="emitted power of all channels [W]", title="Emitted power along the path")
    along.legend(loc="lower right")
    along.grid(True, alpha=0.3)


def run(rig, options):
    """Exit code. Whatever happens, nothing moves and nothing shoots when it is over."""
    rig.configure()
    stretches = rig.plan(options)
    error = None
    try:
        try:
            rig.find_origins(options.search_timeout)
            rig.scan(stretches)
        finally:
            rig.interrupts.are_held = True
    except BaseException as caught:     # also an interrupt before they are held
        error = caught
    if error is None:
        say("\n%s." % summary(rig.watcher.shots, options))
    else:
        rig.halt()
        say("\n%s" % complaint(error), sys.stderr)
    rig.allowed = 1 if isinstance(error, KeyboardInterrupt) else 0
    is_parked = rig.park(not isinstance(error, MotionFailure))
    if error is not None and not isinstance(error, EXPECTED + (KeyboardInterrupt,)):
        raise error
    if rig.interrupts.count:
        return 130
    if error is None and options.plot:
        rig.interrupts.are_held = False
        try:
            plot(options.plot, rig)
        except Exception as problem:    # matplotlib has many
            raise Failure("The picture couldn't be drawn: %s" % problem)
        say("The picture is in %s." % options.plot)
    return 0 if error is None and is_parked else 1


def reason_of(error):
    if isinstance(error, KORVANE.FUSException):
        return error.message()
    return "interrupted" if isinstance(error, KeyboardInterrupt) else str(error)


def complaint(error):
    if isinstance(error, KeyboardInterrupt):
        return "Interrupted."
    return ("%s." if isinstance(error, Failure) else "It failed: %s") % reason_of(error)


def held_axis(text):
    name, _, value = text.partition("=")
    if not name or not math.isfinite(float(value)):
        raise ValueError
    return name, float(value)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("generator", help="definition of the generator (INI file)")
    parser.add_argument("mechanics", help="definition of the mechanical system (INI file)")
    parser.add_argument("host", nargs="?", help="instead of the definition's address")
    parser.add_argument("port", nargs="?", type=int, help="instead of the definition's")
    parser.add_argument("--size", nargs=2, type=float, default=[12.0, 8.0], metavar=("W", "H"),
                        help="of the raster, in the unit of the axes (12 8)")
    parser.add_argument("--center", nargs=2, type=float, default=[0.0, 0.0], metavar=("X", "Y"),
                        help="of the raster, from the origins (0 0)")
    parser.add_argument("--points", nargs=2, type=int, default=[7, 5], metavar=("NX", "NY"),
                        help="of the raster (7 5)")
    parser.add_argument("--hold", type=held_axis, action="append", default=[],
                        metavar="AXIS=VALUE", help="where another axis stands meanwhile, in its "
                        "unit, as in angle=0.1 (where it is parked)")
    parser.add_argument("--duration", type=int, default=10, help="of each shot, ms (10)")
    parser.add_argument("--amplitude", type=int, default=128, help="of the shots, 1 to 255 (128)")
    parser.add_argument("--search-timeout", type=float, default=120.0, metavar="SECONDS",
                        help="of the search of all origins (120)")
    parser.add_argument("--plot", metavar="FILE", help="draw a picture (.png, .pdf, .svg)")
    options = parser.parse_args()
    problem = options.plot and plot_problem(options.plot)
    for is_right, text in [
            (options.port is None or 1 <= options.port <= 65535, "the port must be 1 to 65535"),
            (all(1 <= count <= 1000 for count in options.points),
             "a line has 1 to 1000 points, and a raster 1 to 1000 lines"),
            (all(0.0 <= size <= 1.0e4 for size in options.size)
             and all(abs(value) <= 1.0e4 for value in options.center),
             "the size must be 0 to 10000, the center -10000 to 10000"),
            (1 <= options.duration <= 10000 and 1 <= options.amplitude <= 255,
             "the duration must be 1 to 10000 ms, the amplitude 1 to 255"),
            (0.0 < options.search_timeout <= 3600.0, "the search may take up to 3600 s"),
            (not problem, problem)]:
        if not is_right:
            parser.error(text)
    return options


def plot_problem(path):
    """What would keep the picture from being drawn: better known before anything moves."""
    try:
        import matplotlib
        matplotlib.use("Agg")
        import matplotlib.pyplot as pyplot
    except ImportError:
        return ("--plot needs matplotlib, which this Python doesn't have (on Debian: "
                "apt-get install python3-matplotlib)")
    kind = os.path.splitext(path)[1].lstrip(".").lower()
    if kind not in pyplot.figure().canvas.get_supported_filetypes():
        return "--plot can't write a file of the kind '%s'; .png, .pdf and .svg are some" % kind
    is_new = not os.path.exists(path)
    try:
        open(path, "ab").close()
        if is_new:
            os.remove(path)
        return None
    except OSError as error:
        return "the picture can't be written: %s" % error


def search_order(path, count):
    """Of the axes whose origins are searched: [Global].initOrder, which the library keeps."""
    with open(path, encoding="utf-8", errors="replace") as file:
        found = re.search(r"(?m)^\s*\[\s*Global\s*\].*(?:\n(?!\s*\[).*)*?\n\s*initOrder\s*=(.*)",
                          file.read())
    order = [int(item) for item in re.findall(r"\d+", found.group(1))] if found else []
    return [index for index in order if index < count] or list(range(count))


def main():
    options = parse_arguments()
    interrupts, fus = Interrupts(), KORVANE.FUS()
    try:
        for path, load in ((options.generator, fus.gen.loadDefinition),
                           (options.mechanics, fus.mech.loadDefinition)):
            if not load(path):
                raise WrongCall("The definition %s can't be used; the lines above tell why"
                                % os.path.abspath(path))
        rig = Rig(fus, options, interrupts)
        fus.registerListener(rig.watcher)
        host = options.host or fus.getDefinitionHost()
        port = options.port or fus.getDefinitionPort()
        say("Connecting to %s, port %d ..." % (host, port))
        if not fus.connect(host, port):
            say("No generator answered; the lines above tell how far it got.", sys.stderr)
            return 1
        return run(rig, options)
    except WrongCall as error:
        say("%s." % error, sys.stderr)
        return 2
    except EXPECTED + (KeyboardInterrupt,) as error:
        say("\n%s" % complaint(error), sys.stderr)
        return 130 if isinstance(error, KeyboardInterrupt) else 1
    finally:
        interrupts.are_held = True
        fus.setLogLevel(KORVANE.LogLevel.NONE)
        fus.disconnect()        # stops whatever still moves or shoots
        fus.clearListeners()


if __name__ == "__main__":
    sys.exit(main())
