#!/usr/bin/env python3
"""Scan a plane with a transducer that moves, and shoot at every point of the raster.

The script loads the definitions of the generator and of the mechanical system, connects, sends the
configuration to the mechanical board, finds the origins of all axes, and moves to the first point.
Then it goes through the raster line by line, there and back: each line is one mixed execution, in
which the generator drives the motion, and shoots once at each point while the axes stand still. In
the end the axes go back to where the search of the origins has parked them.

    python3 scan.py GENERATOR.ini MECHANICS.ini [HOST [PORT]] [--size W H] [--points NX NY]
                    [--plot FILE.png]

The plane is that of the definition's first two axes; --hold says where another one stands.

Something moves, and ultrasound is emitted: nothing may stand in the way. Ctrl-C stops shooting and
motion at once, then parks the axes; a second Ctrl-C leaves them where they are.

Exit code: 0 all points were shot at and the axes are parked, 1 something went wrong, 2 the script
was called wrongly, 130 it was interrupted.
"""

import argparse
import math
import os
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
LONGEST_MS = 65535        # of a move

NORMAL = KORVANE.ElecExecMode.NORMAL
Status = KORVANE.ExecStatus
Point = namedtuple("Point", "line x y")           # x, y in the unit of their axes
Shot = namedtuple("Shot", "point power")          # power [W] of all channels together


class WrongCall(Exception):
    """The arguments don't fit the definition; the text says why."""


class Failure(Exception):
    """The scan can't go on; the text says why."""


class MotionFailure(Failure):
    """An axis didn't do what it should: better not to move it again."""


# --- the axes ------------------------------------------------------------------------------------

class Axis:
    """An actuator of the definition. Positions are in its own unit, relative to its origin."""

    def __init__(self, mech, index):
        self.mech, self.index = mech, index
        self.name = mech.getActuatorName(index)
        self.unit = mech.getActuatorUnitName(index)
        self.digits = 4 if mech.getActuatorUnit(index) == KORVANE.MotionUnit.RADIAN else 2

    def steps(self, value):
        return self.mech.getActuatorUnitToStep(self.index, value)

    def value(self, steps):
        return self.mech.getActuatorStepToUnit(self.index, steps)

    def text(self, value):
        return "%s %.*f %s" % (self.name, self.digits, value, self.unit)

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
    if delay_ms > LONGEST_MS:
        raise Failure("A way takes longer than the %d s of a move" % (LONGEST_MS // 1000))
    return KORVANE.Move(steps, delay_ms)


# --- the raster ----------------------------------------------------------------------------------

def positions(center, size, count):
    """So many positions with equal distances over the size."""
    if count == 1:
        return [center]
    return [center - size / 2.0 + size * i / (count - 1.0) for i in range(count)]


def raster(options):
    """Lists of points, one for each line; every second line goes back."""
    columns = positions(options.center[0], options.size[0], options.points[0])
    rows = positions(options.center[1], options.size[1], options.points[1])
    return [[Point(line, x, y) for x in (columns[::-1] if line % 2 else columns)]
            for line, y in enumerate(rows)]


class Stretch:
    """One mixed execution: what the axes do, and the shots that fall into it.

    Motion and shooting start together, and then each goes by its own clock: at each point the axes
    stand still for a while before the shot, and as long behind it.
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


# --- what the library tells ----------------------------------------------------------------------

class Watcher(KORVANE.FUSListener):
    """Keeps what happens. The callbacks run on the library's own thread, one at a time."""

    def __init__(self):
        super().__init__()
        self.origin = None      # how the search has ended: result, message
        self.motions = {}       # how motions have ended: result, by identifier
        self.stretch = None     # that is executed
        self.result = None      # its last execution result
        self.shots = []         # of all stretches
        self.all_points = 0
        self.seconds = 0.0      # that all stretches take
        self.lost = False       # the connection

    def onMechOrigin(self, result, message):
        self.origin = (result, message)

    def onMechResult(self, execID, result, code):
        self.motions[execID] = result

    def onShotResult(self, execID, shotResult):
        point = self.stretch.points[shotResult.shotIndex()]
        power = math.fsum(shotResult.power(c) for c in range(shotResult.channelCount()))
        self.shots.append(Shot(point, power))
        width = len(str(self.all_points))
        left = self.all_points - len(self.shots)
        print("line %3d  point %s/%d  (%7.2f, %7.2f)  %8.1f W   %s left, %5.1f s"
              % (point.line + 1, str(len(self.shots)).rjust(width), self.all_points, point.x,
                 point.y, power, str(left).rjust(width), self.seconds * left / self.all_points),
              flush=True)

    def onExecResult(self, execResult):
        if execResult.isFinished():
            self.result = execResult

    def onDisconnect(self, reason):
        self.lost = reason != 0


# --- the rig -------------------------------------------------------------------------------------

class Rig:
    """The generator, and the axes that move its transducer."""

    def __init__(self, fus, options):
        self.fus, self.gen, self.mech = fus, fus.gen, fus.mech
        self.watcher = Watcher()
        self.axes = [Axis(fus.mech, i) for i in range(fus.mech.getActuatorCount())]
        if len(self.axes) < 2:
            raise WrongCall("A plane needs two axes, and the definition has %d" % len(self.axes))
        self.plane = self.axes[:2]
        self.held = [(self.other_axis(name), value) for name, value in options.hold]
        self.lines = raster(options)
        for axis, value in self.held + [pair for line in self.lines for point in line
                                        for pair in zip(self.plane, (point.x, point.y))]:
            axis.check(value)
        self.home = None                            # where the axes are parked
        self.track = [] if options.plot else None   # where the encoders saw the transducer

    def other_axis(self, name):
        for axis in self.axes[2:]:
            if axis.name == name:
                return axis
        raise WrongCall("There is no axis '%s' beside those of the plane" % name)

    def where(self):
        return ", ".join(axis.where() for axis in self.axes)

    def travel_ms(self, here, there):
        """Between two points: that of the axis that takes longest."""
        return max(axis.travel_ms(*values) for axis, values
                   in zip(self.plane, ((here.x, there.x), (here.y, there.y))))

    # --- waiting: in Python, so that callbacks and Ctrl-C get through ---

    def wait(self, is_over, seconds, what):
        give_up, sample = time.time() + seconds, 0.0
        while not is_over():
            if self.watcher.lost:
                raise Failure("The connection was lost")
            if time.time() > give_up:
                raise Failure("There is no end of %s" % what)
            if self.track is not None and time.time() >= sample:
                sample = time.time() + SAMPLE_S
                self.track.append([axis.read() for axis in self.plane])
            time.sleep(0.01)

    def wait_for_rest(self):
        """Until all encoders say the same twice."""
        before, give_up = None, time.time() + REST_S
        while True:
            now = [self.mech.readAbsoluteActuatorPosition(axis.index) for axis in self.axes]
            if now == before:
                return
            if time.time() > give_up:
                raise Failure("the axes don't come to rest")
            before = now
            time.sleep(0.05)

    # --- what can be checked before anything moves ---

    def configure(self):
        self.fus.checkConfiguration()
        if not self.gen.isShotResultConversionEnabled():
            raise Failure("The definition's amplifiers aren't those that are connected, so that no "
                          "power can be computed")
        if not self.mech.sendConfig():
            raise Failure("The mechanical board couldn't be configured; the lines above tell why")
        print("The mechanical board (protocol %d) is configured for %d axes: %s."
              % (self.mech.getProtocolVersion(), len(self.axes),
                 ", ".join("%s [%s]" % (axis.name, axis.unit) for axis in self.axes)))

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

    # --- motion ---

    def find_origins(self):
        """Anew, even if the board knows them: it would park within the call, deaf to a Ctrl-C."""
        print("Searching the origins ...", flush=True)
        began = due = time.time()
        self.mech.findAllOrigins(True)
        while self.watcher.origin is None:
            if self.watcher.lost:
                raise Failure("The connection was lost")
            if time.time() >= due:
                due += PROGRESS_S
                print("  %4.1f s  %s" % (time.time() - began, self.where()), flush=True)
            time.sleep(0.02)
        result, message = self.watcher.origin
        if result != int(KORVANE.MechResult.OK):
            raise MotionFailure("The origins weren't found: %s%s" % (message, self.cause()))
        self.home = [axis.read() for axis in self.axes]
        print("All origins are found after %.1f s; the axes are parked at %s."
              % (time.time() - began, self.where()), flush=True)

    def move(self, targets):
        """Moves axes to positions, (axis, value), all at once."""
        delay_ms = max(axis.travel_ms(axis.read(), value) for axis, value in targets) or 1
        displacement = KORVANE.MechanicalDisplacement(len(self.axes))
        for axis, value in targets:
            displacement.addMove(axis.index, move_within(axis.steps(value), delay_ms))
        motion = self.mech.moveTo(displacement)
        self.wait(lambda: motion in self.watcher.motions, delay_ms / 1000.0 + GRACE_S, "a motion")
        if self.watcher.motions[motion] != int(KORVANE.MechResult.OK):
            raise MotionFailure("A motion failed%s" % self.cause())

    def move_to(self, point, held=()):
        self.move(list(zip(self.plane, (point.x, point.y))) + list(held))

    def cause(self):
        """What the board says about its last motion, as the end of a sentence."""
        try:
            status = self.mech.readStatus()
        except KORVANE.FUSException:
            return ""
        if status.ok():
            return ""
        at = [axis.name for axis in self.axes if axis.index == status.actuator()]
        return ": %s%s" % (status.message(), " (axis %s)" % at[0] if at else "")

    # --- the scan ---

    def scan(self, stretches):
        start = stretches[0].points[0]
        print("Moving to the start: %s ..." % ", ".join(
            axis.text(value) for axis, value
            in list(zip(self.plane, (start.x, start.y))) + self.held), flush=True)
        self.move_to(start, self.held)
        print("Scanning %d lines of %d points in %d executions, about %.1f s ...\n"
              % (len(self.lines), len(self.lines[0]), len(stretches), self.watcher.seconds),
              flush=True)
        for stretch in stretches:
            self.move_to(stretch.points[0])
            self.execute(stretch)

    def execute(self, stretch):
        """The board waits for the generator, whose execution drives it."""
        self.send_shots(stretch)
        self.mech.sendDisplacement(stretch.displacement)
        self.mech.prepareDisplacement(1, 0)
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

    # --- every way out ---

    def halt(self):
        """Stops shooting and motion. A second Ctrl-C can't keep it from the second of them."""
        self.fus.setLogLevel(KORVANE.LogLevel.NONE)     # to the library a stop is an error
        try:
            self.attempt("shooting", self.gen.stopTrajectory)
        finally:
            self.attempt("motion", self.mech.stop)

    @staticmethod
    def attempt(what, stop):
        try:
            stop()
        except KORVANE.FUSException as error:
            print("The %s could not be stopped from here: %s" % (what, error.message()),
                  file=sys.stderr)

    def park(self, is_sound):
        """Parks the axes, or tells that and why they aren't; whether they are."""
        reason = None
        if self.home is None:
            reason = "their origins aren't known"
        elif not is_sound:
            reason = "the motion has failed"
        try:
            if reason is None:
                self.wait_for_rest()
                print("Parking; Ctrl-C leaves the axes where they are.", flush=True)
                self.move(list(zip(self.axes, self.home)))
                print("The axes are parked at %s." % self.where(), flush=True)
                return True
        except KORVANE.FUSException as error:
            reason = error.message()
        except Failure as failure:
            reason = str(failure)
        except KeyboardInterrupt:
            self.halt()
            reason = "interrupted"
        print("The axes are NOT parked (%s)%s." % (reason, self.rest()), file=sys.stderr)
        return False

    def rest(self):
        try:
            self.wait_for_rest()
            return "; they stand at %s" % self.where()
        except (Failure, KORVANE.FUSException):
            return ", and where they are isn't known"


# --- what is made of it --------------------------------------------------------------------------

def summary(shots, options):
    powers = [shot.power for shot in shots]
    return ("%d points, %d ms of ultrasound, %.1f W on average (%.1f to %.1f), %.2f J emitted"
            % (len(shots), len(shots) * options.duration, math.fsum(powers) / len(powers),
               min(powers), max(powers), math.fsum(powers) * options.duration / 1000.0))


def path_lengths(shots):
    """How far it is along the path to each shot."""
    lengths = [0.0]
    for a, b in zip(shots, shots[1:]):
        lengths.append(lengths[-1] + math.hypot(b.point.x - a.point.x, b.point.y - a.point.y))
    return lengths


def plot(path, rig):
    """Two diagrams: the path over the plane, and the emitted power along it."""
    import matplotlib
    matplotlib.use("Agg")       # a file is all that is wanted: no display is needed
    import matplotlib.pyplot as pyplot

    figure, (plane, along) = pyplot.subplots(1, 2, figsize=(13, 5.5))
    powers = [shot.power for shot in rig.watcher.shots]
    plot_plane(figure, plane, rig, powers)
    plot_along(along, rig, powers)
    for axes in (plane, along):
        axes.grid(True, alpha=0.3)
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
    plane.plot(*rig.home[:2], color="black", marker="s", linestyle="none", label="park position")
    start = rig.watcher.shots[0].point
    plane.annotate("start", (start.x, start.y), xytext=(-8, -18), textcoords="offset points")
    figure.colorbar(dots, ax=plane, extend="both", label="emitted power [W], mean ± 10 %")
    plane.set_xlabel("%s [%s]" % (rig.plane[0].name, rig.plane[0].unit))
    plane.set_ylabel("%s [%s]" % (rig.plane[1].name, rig.plane[1].unit))
    plane.set_title("Path over the plane")
    if rig.plane[0].unit == rig.plane[1].unit:
        plane.set_aspect("equal", adjustable="datalim")
    plane.legend(loc="upper center", bbox_to_anchor=(0.5, -0.12), ncol=3, frameon=False)


def plot_along(along, rig, powers):
    shots, mean = rig.watcher.shots, math.fsum(powers) / len(powers)
    lengths = path_lengths(shots)
    turns = [(lengths[i - 1] + lengths[i]) / 2.0 for i in range(1, len(shots))
             if shots[i].point.line != shots[i - 1].point.line]
    for i, turn in enumerate(turns):
        along.axvline(turn, color="0.6", linewidth=1, label="next line" if i == 0 else None)
    along.plot(lengths, powers, color="tab:blue", marker="o", markersize=4, label="shots")
    along.axhline(mean, color="black", linewidth=1, linestyle="--", label="mean %.1f W" % mean)
    along.set_ylim(0, 1.15 * max(powers))
    along.set_xlabel("way along the path [%s]" % rig.plane[0].unit)
    along.set_ylabel("emitted power of all channels [W]")
    along.set_title("Emitted power along the path")
    along.legend(loc="lower right")


# --- the story -----------------------------------------------------------------------------------

def run(rig, options):
    """Exit code. Whatever happens, nothing moves and nothing shoots when it is over."""
    rig.configure()
    stretches = rig.plan(options)
    try:
        rig.find_origins()
        rig.scan(stretches)
    except BaseException as error:
        rig.halt()
        is_expected = isinstance(error, (Failure, KORVANE.FUSException, KeyboardInterrupt))
        if is_expected:
            print("\n%s" % complaint(error), file=sys.stderr, flush=True)
        rig.park(not isinstance(error, MotionFailure))
        if not is_expected:
            raise
        return 130 if isinstance(error, KeyboardInterrupt) else 1
    print("\n%s." % summary(rig.watcher.shots, options))
    is_parked = rig.park(True)
    if options.plot:
        plot(options.plot, rig)
        print("The picture is in %s." % options.plot)
    return 0 if is_parked else 1


def complaint(error):
    if isinstance(error, KeyboardInterrupt):
        return "Interrupted."
    if isinstance(error, KORVANE.FUSException):
        return "It failed: %s" % error.message()
    return "%s." % error


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
    parser.add_argument("--plot", metavar="FILE", help="draw a picture (.png, .pdf, .svg)")
    options = parser.parse_args()
    if options.port is not None and not 1 <= options.port <= 65535:
        parser.error("the port must be 1 to 65535")
    if not all(1 <= count <= 1000 for count in options.points):
        parser.error("a line has 1 to 1000 points, and a raster 1 to 1000 lines")
    if not all(0.0 <= size <= 1.0e4 for size in options.size) or \
            not all(abs(value) <= 1.0e4 for value in options.center):
        parser.error("the size must be 0 to 10000, the center -10000 to 10000")
    if not 1 <= options.duration <= 10000 or not 1 <= options.amplitude <= 255:
        parser.error("the duration must be 1 to 10000 ms, the amplitude 1 to 255")
    if options.plot:
        problem = plot_problem(options.plot)
        if problem:
            parser.error(problem)
    return options


def plot_problem(path):
    """What would keep the picture from being drawn: better known before anything moves."""
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
    try:
        with open(path, "ab"):
            return None
    except OSError as error:
        return "the picture can't be written: %s" % error


def load_definitions(fus, options):
    for path, load in ((options.generator, fus.gen.loadDefinition),
                       (options.mechanics, fus.mech.loadDefinition)):
        if not load(path):
            raise WrongCall("The definition %s can't be used; the lines above tell why"
                            % os.path.abspath(path))


def main():
    options = parse_arguments()
    fus = KORVANE.FUS()
    try:
        load_definitions(fus, options)
        rig = Rig(fus, options)
    except WrongCall as error:
        print("%s." % error, file=sys.stderr)
        return 2
    host, port = options.host or fus.getDefinitionHost(), options.port or fus.getDefinitionPort()
    print("Connecting to %s, port %d ..." % (host, port), flush=True)
    fus.registerListener(rig.watcher)
    try:
        if not fus.connect(host, port):
            print("No generator answered; the lines above tell how far it got.", file=sys.stderr)
            return 1
        return run(rig, options)
    except (Failure, KORVANE.FUSException, KeyboardInterrupt) as error:
        print("\n%s" % complaint(error), file=sys.stderr)
        return 130 if isinstance(error, KeyboardInterrupt) else 1
    finally:
        fus.setLogLevel(KORVANE.LogLevel.NONE)
        fus.disconnect()        # stops whatever still moves or shoots
        fus.unregisterListener(rig.watcher)


if __name__ == "__main__":
    sys.exit(main())
