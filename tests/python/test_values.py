"""Enumerations, docstrings, versions, masks, shots, trajectories: all without a generator."""

import contextlib
import gc
import re
import sys
import unittest

import KORVANE

from support import KorvaneTest

# name: members in their order, and something that the documentation must say
ENUMERATIONS = {
    "FUSError": (
        [("ERR_UNKNOWN", 0), ("ERR_INDEX", 1), ("ERR_ARGUMENT", 2), ("ERR_CONFIG_PARSE", 3),
         ("ERR_THREAD", 4), ("ERR_SOCKET_OPTION", 5), ("ERR_SOCKET_READ", 6),
         ("ERR_SOCKET_WRITE", 7), ("ERR_NOT_CONNECTED", 10), ("ERR_PACKET", 11),
         ("ERR_TIMEOUT", 12), ("ERR_GENERATOR", 13), ("ERR_BOARD", 14), ("ERR_BOARD_BUSY", 15),
         ("ERR_SLICE", 16), ("ERR_MECHANICS", 17), ("ERR_MECH_NO_CONFIG", 18),
         ("ERR_MECH_NO_ORIGIN", 19), ("ERR_MECH_MOVE", 20), ("ERR_MECH_ORIGINS_BUSY", 21),
         ("ERR_CONFIG", 22), ("ERR_PROTOCOL", 23), ("ERR_NOT_AVAILABLE", 24)],
        ["Error codes returned in FUSException.",
         "bad index (out of range). Note that this one is always converted into IndexError"]),
    "LogLevel": (
        [("DEBUG", 100), ("VERBOSE", 200), ("INFO", 300), ("ERROR", 400), ("EXCEPTION", 500),
         ("NONE", 1000)],
        ["Enabling one level will also enable all levels following it in the list."]),
    "BoardType": (
        [("PROCESSOR", 0), ("SYNTHESIZER", 1), ("AMPLIFIER", 2), ("MECHANICS", 3)],
        ["Internal circuit board types.", "SNT board"]),
    "HardwareID": (
        [("PROCESSOR", 10), ("SYNTHESIZER", 11), ("AMPLIFIER", 12), ("MECHANICS", 15),
         ("BACKPANEL", 19)],
        ["Internal components, used only for tests", "BKP board"]),
    "GenType": (
        [("UNKNOWN", 0), ("HARDWARE", 1), ("SIMULATOR", 2)],
        ["Types of generators.", "Not connected or old firmware (and we dont'know)."]),
    "BackPanelStorage": (
        [("RAM", 0), ("FLASH", 1), ("BOTH", 2)],
        ["Note that all combinations are not possible with all commands.",
         "Operates on RAM stored config ONLY."]),
    "Unit": (
        [("UNKNOWN", 0), ("VOLT", 1), ("AMPERE", 2), ("WATT", 3), ("RADIAN", 4), ("CELSIUS", 5)],
        ["Possible units used in measurements.", "Undefined or not yet initialized."]),
    "MaskResizeExisting": (
        [("LOST", 100), ("COPY", 101), ("SET_0", 102), ("SET_1", 103)],
        ["in the common range between old and new size",
         "Leave new allocated memory as is, content is random."]),
    "MaskResizeExtra": (
        [("RANDOM", 200), ("SET_0", 201), ("SET_1", 202)],
        ["Do nothing on the extra part, the content is random."]),
    "ElecExecMode": (
        [("NORMAL", 0), ("QUICK", 1), ("REPEAT", 2), ("COMPOSITE", 3), ("NONE", 122)],
        ["Electronic trajectory execution mode", "This is the default mode.",
         "Shot0, Shot1, Exec0, Shot0, Shot1, Exec1, Shot0, Shot1, Exec2",
         "**Deprecated with protocol v>=3.**", "The trajectory can only contain _one_ shot."]),
    "ElecMechMode": (
        [("NONE", 0), ("CONTINUE", 1)],
        ["Mechanical trajectory execution mode when used with an electronic one."]),
    "TriggerMode": (
        [("IGNORED", 0), ("ONE_PULSE_FOR_EVERYTHING", 1), ("ONE_PULSE_PER_TRAJECTORY", 2),
         ("ONE_PULSE_PER_SHOT", 3)],
        ["Ignores all signals from the trigger input, this is the default.",
         "In this case the delay specified in the shots is used before shooting (instead of "
         "after)."]),
    "ExecFlag": (
        [("KEEP_PHASE_COUNTER", 1), ("OMIT_EXEC_RESULTS", 2), ("IGNORE_TIMING_CHECKS", 4),
         ("ADD_BOARD_MEASURES", 8), ("IGNORE_UNEXP_TRIGGER", 16), ("SWITCHABLE", 32),
         ("OMIT_ALL_MEASURES", 64)],
        ["Trajectory execution flags (used in", "both locally and by the generator"]),
    "AmplifierType": (
        [("UNKNOWN", 0), ("Pf_Pr_Pvr", 1), ("V_I_Pvi_Pvr", 2), ("Vf_Vr_Pvr", 3)],
        ["Types of amplifier boards (based on the measures they provide)."]),
    "ExecStatus": (
        [("UNKNOWN", 0), ("OK_CONTINUE", 1), ("OK_FINISHED", 2), ("STOP_INTERNAL_ERROR", 4),
         ("STOP_BY_USER", 3), ("STOP_AMPLIFIER_CURRENT", 6), ("STOP_AMPLIFIER_TEMP", 5),
         ("STOP_MECHANICAL_ERROR", 7), ("STOP_TRIGGER_INPUT", 8), ("STOP_TIMING", 9),
         ("STOP_WATCHDOG", 10), ("STOP_HEARTBEAT", 11)],
        ["Trajectory execution result status"]),
    "BoardStatus": (
        [("RESETED", 1), ("CRC", 2), ("POWER_SUPPLY", 4)],
        ["Enumeration of board status, as reported by",
         "Once set, requires a call to reboot(slaves) to unset."]),
    "MotionType": (
        [("UNKNOWN", 0), ("TRANSLATION", 1), ("ROTATION", 2)],
        ["Types of actuator motion.", "uninitialized/invalid value to trigger an error."]),
    "MotionUnit": (
        [("UNKNOWN", 0), ("MILLIMETER", 1), ("RADIAN", 2)],
        ["Types of actuator unit.", "millimeters, a length unit for translations."]),
    "ZeroTopology": (
        [("UNKNOWN", 0), ("L1", 1), ("L2", 2), ("R1", 3)],
        ["Topology identifiers used during the initialization.",
         "Linear encoder with **TWO** optical references"]),
    "MechResult": (
        [("OK", 0), ("USER_STOP", 1), ("ERROR_NOT_CONNECTED", 2), ("ERROR_NO_CONFIG", 3),
         ("ERROR_COMM", 4), ("ERROR_TIMEOUT", 5), ("ERROR_MOTION", 6), ("ERROR_INTERNAL", 7)],
        ["Possible result code received after a mechanical command.",
         "Timeout error (communication or motion)."]),
    "MechParam": (
        [("UNDEFINED", 51914), ("R_ENCODER_POS", 0), ("ORIGIN_FOUND", 1), ("R_ORIGIN_POS", 2),
         ("R_ORIGIN2_POS", 3), ("INVERTED", 4), ("KP", 5), ("KI", 6), ("KD", 7),
         ("MAX_INT_ERROR", 8), ("ZERO_COUNT", 9), ("MAX_SPEED", 10), ("DAC_MIN_NEG", 11),
         ("DAC_MIN_POS", 12), ("TOLERANCE_MOVING", 13), ("TOLERANCE_TARGET", 14),
         ("UPPER_BOUND", 15), ("LOWER_BOUND", 16), ("R_LAST_ACCEL", 17), ("PLOT_MODE", 18),
         ("R_TRAJ_SIZE", 19), ("R_LAST_ASYNC_ERROR", 20), ("R_MOTOR_DETECTED", 21),
         ("ACCEL_DURATION", 22), ("R_MAX_AXIS_COUNT", 23), ("R_TRAJ_MAXSIZE", 24),
         ("R_LOG_SIZE", 25), ("ABS_ENABLED", 26), ("ENCODER_DETECTION", 27),
         ("R_INIT_DAC_USED", 28)],
        ["Motor board internal variables. Names beginning by R_* are read-only.",
         "[uint8]   The final DAC value used during last init procedure (even if it fails)."]),
    "Peripheral": (
        [("POWER_SUPPLY_28V", 0), ("SLAVE_BOARDS", 2)],
        ["Peripheral that can be activated/deactivated on demand.",
         "disabling/wait 1 second/enabling."]),
}

# what an application's author has to find in the documentation
DOCUMENTED = [
    ("FUS", None, "The singleton object that represents the whole hardware."),
    ("FUS", "setLogFile", ":param appendDate:"),
    ("FUS", "connect", "usually 1670"),
    ("FUS", "connect", "also used as receive timeout on success"),
    ("FUS", "setDefaultAnswerTimeout", "``0x0FFFFFFE`` is ignored"),
    ("FUS", "getBoard", ".. warning:: The returned Board object becomes invalid as soon as"),
    ("FUS", "readAnswer", "0 means infinite"),
    ("Version", None, "<="),
    ("Board", "firmwareVersion", "Returns the hardware version"),
    ("Board", "hardwareVersion", "Returns the firmware version"),
    ("Board", "boardMeasure", ".. warning:: The returned Measure object becomes invalid"),
    ("Measure", "lowerThreshold", "will return 0 for channel (CH) measures"),
    ("FUSListener", None, "It is always reported in the log, though."),
    ("FUSListener", "onDisconnect", "0=manual, 1=socket error, 2=FUS destructor"),
    ("FUSListener", "onExecStart", "not when the trajectory is really executed"),
    ("Generator", None, "The generator system (to shoot focused ultrasound)."),
    ("Generator", "sendTrajectory", ":param slice: true to slice too long shots"),
    ("Generator", "readBoardThreshold", ":param upperBound:"),
    ("Generator", "setBoardThreshold", ":param ADCValue:"),
    ("Mechanics", "findOrigin", "Synchronous (and blocking)."),
    ("Mechanics", "getActuatorUnitToStep", ":param int value:"),
    ("Mechanics", "isActuatorOriginFound", "Returns the name of the actuator."),
    ("Mechanics", "setFloatParameter", "Reads an internal variable of the motor board"),
    ("MechanicalDisplacement", "__init__", ":param actuators:"),
    ("PhaseShot", "setPhases", "it represents phase shifts as angle in [0..359] degrees"),
    ("PhaseShot", "setPhases", "Or the first ones at least."),
    ("ElectronicTrajectory", "__init__", "**note that it will return a copy**"),
    ("ElectronicTrajectory", "setChannelCount", "added channels are enabled"),
    ("ShotResult", "component", "**Deprecated, use channelRawValue().**"),
    ("ExecResult", "isError", "Stopped by the user is not an error."),
]


# arguments that have another name in the documentation
RENAMED = {
    ("FUS", "setLogFile", "append"): "appendDate",
    ("Generator", "sendTrajectory", "canSlice"): "slice",
    ("MechanicalDisplacement", "__init__", "nbActuators"): "actuators",
    ("Generator", "readBoardThreshold", "upper"): "upperBound",
    ("Generator", "setBoardThreshold", "upper"): "upperBound",
    ("Generator", "setBoardThreshold", "threshold"): "ADCValue",
}


def module_classes():
    return [value for value in vars(KORVANE).values() if isinstance(value, type)]


def arguments_of(kind, name):
    """The names of the arguments of all overloads: a call that fits none is refused, and the
    refusal says what could be called. Those that can't be named (arg0) are left out."""
    call = kind if name == "__init__" else getattr(kind, name)
    if not callable(call):
        return set()
    refusal = ""
    try:
        call(*[object()] * 9)
    except TypeError as error:
        refusal = str(error)
    signatures = re.findall(r"^ +\d+\. .*?\((.*)\)", refusal, re.MULTILINE)
    names = {name for text in signatures for name in re.findall(r"(?:^|, )(\w+): ", text)}
    return {name for name in names if name != "self" and not name.startswith("arg")}


class Enumerations(unittest.TestCase):

    def test_have_their_members_in_order_with_their_values(self):
        for name, (members, _) in ENUMERATIONS.items():
            with self.subTest(enumeration=name):
                found = getattr(KORVANE, name).__members__
                self.assertEqual(members, [(key, int(value)) for key, value in found.items()])

    def test_are_all_in_the_table_above(self):
        found = {kind.__name__ for kind in module_classes() if hasattr(kind, "__members__")}
        self.assertEqual(set(ENUMERATIONS), found)

    def test_explain_their_members(self):
        for name, (_, texts) in ENUMERATIONS.items():
            for text in texts:
                with self.subTest(enumeration=name, text=text):
                    self.assertIn(text, getattr(KORVANE, name).__doc__)

    def test_of_flags_can_be_joined(self):
        flags = KORVANE.ExecFlag
        self.assertEqual(9, flags.KEEP_PHASE_COUNTER | flags.ADD_BOARD_MEASURES)

    def test_of_bits_can_be_looked_for_in_a_status(self):
        bits = KORVANE.BoardStatus
        self.assertEqual([0, 2, 4], [6 & bit for bit in (bits.RESETED, bits.CRC,
                                                         bits.POWER_SUPPLY)])
        self.assertEqual(2, bits.CRC)


class Documentation(unittest.TestCase):

    def test_stands_at_every_public_method_and_attribute(self):
        for kind in module_classes():
            for name, member in vars(kind).items():
                operator = name in ("__init__", "__eq__", "__ne__", "__lt__", "__str__", "__len__",
                                    "__getitem__", "__setitem__")
                if name.startswith("_") and not operator or hasattr(kind, "__members__"):
                    continue
                if kind is KORVANE.FUSException or name.startswith("REBOOT_"):
                    continue    # made from plain source; documented where help() doesn't look
                with self.subTest(member=kind.__name__ + "." + name):
                    self.assertTrue(member.__doc__)

    def test_stands_alone_without_the_generated_signatures(self):
        for kind in module_classes():
            for name, member in vars(kind).items():
                with self.subTest(member=kind.__name__ + "." + name):
                    self.assertNotIn("(self: ", getattr(member, "__doc__", None) or "")

    def test_explains_every_argument(self):
        explained = 0
        for kind in module_classes():
            if kind is KORVANE.FUSException or hasattr(kind, "__members__"):
                continue
            for name, member in vars(kind).items():
                for argument in arguments_of(kind, name):
                    explained += 1
                    argument = RENAMED.get((kind.__name__, name, argument), argument)
                    with self.subTest(member=kind.__name__ + "." + name, argument=argument):
                        self.assertRegex(member.__doc__, r":param (int )?%s:" % argument)
        self.assertGreater(explained, 200)

    def test_tells_what_an_application_must_know(self):
        for kind, member, text in DOCUMENTED:
            with self.subTest(kind=kind, member=member):
                owner = getattr(KORVANE, kind)
                documented = owner if member is None else getattr(owner, member)
                self.assertIn(text, documented.__doc__)


class BuildInformation(unittest.TestCase):

    def test_tells_version_date_and_configuration(self):
        self.assertEqual("1.6.1.2001", KORVANE.buildVersion())
        self.assertRegex(KORVANE.buildDate(), r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC$")
        self.assertRegex(KORVANE.buildConfig(), r"^[^_]+_[^_]+_[^_]+_[^_]+_KORVANE_Python3\d+$")
        self.assertIsInstance(KORVANE.buildRevision(), str)
        self.assertGreater(KORVANE.buildTimestamp(), 1500000000)


class Versions(KorvaneTest):

    def test_are_made_of_four_numbers_or_of_a_text(self):
        for arguments, text in [((), "0.0.0.0"), ((1, 2, 3, 4), "1.2.3.4"), (("3.1",), "3.1.0.0"),
                                (("1-2/3_4",), "1.2.3.4"), (("UPB_1.2.3",), "1.2.10.3"),
                                (("nonsense",), "0.0.0.0"), (("",), "0.0.0.0")]:
            with self.subTest(arguments=arguments):
                self.assertEqual(text, str(KORVANE.Version(*arguments)))

    def test_are_not_made_of_anything_else(self):
        for arguments in [(1,), (1, 2, 3), (1, 2, 3, 4, 5), (-1, 0, 0, 0), (1 << 32, 0, 0, 0),
                          (1.5, 0, 0, 0), (None,), (["1.2"],)]:
            with self.subTest(arguments=arguments):
                self.assertRaises(TypeError, KORVANE.Version, *arguments)

    def test_keep_their_value_when_a_text_is_no_version(self):
        version = KORVANE.Version("1.2.3.4")
        self.assertFalse(version.setFromString("nonsense"))
        self.assertEqual("1.2.3.4", str(version))
        self.assertTrue(version.setFromString("5.6"))
        self.assertEqual((5, 6, 0, 0), (version.v1, version.v2, version.v3, version.v4))
        version.v4 = 9
        self.assertEqual("5.6.0.9", str(version))
        version.clear()
        self.assertEqual("0.0.0.0", str(version))

    def test_are_ordered_by_less_alone(self):
        small, large = KORVANE.Version(1, 2, 3, 4), KORVANE.Version(1, 2, 4, 0)
        self.assertTrue(small < large)
        self.assertTrue(large > small)
        self.assertTrue(small == KORVANE.Version("1.2.3.4"))
        self.assertTrue(small != large)
        self.assertRaises(TypeError, lambda: small <= KORVANE.Version(1, 2, 3, 4))
        self.assertRaises(TypeError, lambda: small >= large)


class Masks(KorvaneTest):

    def test_are_made_of_a_size_a_text_or_another_mask(self):
        mask = KORVANE.ChannelMask
        for made, channels in [(mask(), []), (mask(2, True), [True, True]),
                               (mask(size=1, value=False), [False]),
                               (mask("101"), [True, False, True]),
                               (mask("1 - 0x1"), [True, False, True]),
                               (mask("10101", 2), [True, False]),
                               (mask(string="11", length=1), [True]),
                               (mask(copy=mask("10")), [True, False])]:
            with self.subTest(channels=channels):
                self.assertEqual(channels, list(made))
                self.assertEqual(len(channels), len(made))
                self.assertEqual(len(channels), made.size())
                self.assertEqual(sum(channels), made.activeCount())

    def test_are_not_made_of_anything_else(self):
        for arguments in [(3,), (-1, True), (1 << 64, True), (1.5, True), ("1", -1), (None,),
                          (["1"],), (3, True, 1)]:
            with self.subTest(arguments=arguments):
                self.assertRaises(TypeError, KORVANE.ChannelMask, *arguments)

    def test_too_large_for_any_memory_are_a_memory_error(self):
        self.assertRaises(MemoryError, KORVANE.ChannelMask, (1 << 63) + 1, True)

    def test_refuse_an_index_that_is_out_of_range(self):
        mask = KORVANE.ChannelMask("101")
        for index in (3, 1 << 40):
            self.assertRaises(IndexError, mask.__getitem__, index)
            self.assertRaises(IndexError, mask.__setitem__, index, True)
            self.assertRaises(IndexError, mask.set, index, True)
        for index in (-1, 1 << 64, 0.5, "0", None, slice(0, 1)):
            self.assertRaises(TypeError, mask.__getitem__, index)
        self.assertEqual([True, False, True], list(mask))

    def test_change_channel_by_channel_or_as_a_whole(self):
        mask = KORVANE.ChannelMask("000")
        mask[0] = True
        mask.set(2, True)
        self.assertEqual([True, False, True], list(mask))
        mask.setAll(True)
        self.assertEqual(3, mask.activeCount())
        mask.setFromString("0101", 0)
        self.assertEqual([False, True, False, True], list(mask))
        mask.clear()
        self.assertEqual([], list(mask))

    def test_are_resized_as_their_parameters_say(self):
        exist, extra = KORVANE.MaskResizeExisting, KORVANE.MaskResizeExtra
        for size, old, new, channels in [(4, exist.COPY, extra.SET_1, [1, 0, 1, 1]),
                                         (4, exist.SET_1, extra.SET_0, [1, 1, 1, 0]),
                                         (2, exist.COPY, extra.SET_1, [1, 0]),
                                         (3, exist.SET_0, extra.SET_0, [0, 0, 0])]:
            with self.subTest(size=size, old=old, new=new):
                mask = KORVANE.ChannelMask("101")
                mask.resize(size, old, new)
                self.assertEqual(channels, list(mask))

    def test_refuse_to_be_resized_in_an_unknown_way(self):
        exist, extra = KORVANE.MaskResizeExisting, KORVANE.MaskResizeExtra
        mask = KORVANE.ChannelMask("101")
        self.assertFUSError(2, mask.resize, 1, exist(7), extra.SET_0)
        self.assertFUSError(2, mask.resize, 1, exist.COPY, extra(7))
        self.assertRaises(TypeError, mask.resize, 1, extra.SET_0, exist.COPY)
        self.assertEqual(3, len(mask))

    def test_compare_by_content_and_over_different_sizes_on_demand(self):
        mask = KORVANE.ChannelMask
        self.assertTrue(mask("10") == mask("10"))
        self.assertTrue(mask("10") != mask("100"))
        self.assertFalse(mask("10") == "10")
        self.assertTrue(mask("10").isComparable(mask("100")))
        self.assertFalse(mask("10").isComparable(mask("101")))


class ArrayCase(object):
    """One of the three arrays of a shot."""

    def __init__(self, name, plural, limit):
        self.name = name
        self.limit = limit
        self.count = getattr(KORVANE.PhaseShot, name + "Count")
        self.resize = getattr(KORVANE.PhaseShot, "resize" + plural)
        self.get = getattr(KORVANE.PhaseShot, name)
        self.set = getattr(KORVANE.PhaseShot, "set" + name.capitalize())
        self.get_all = getattr(KORVANE.PhaseShot, "get" + plural)
        self.set_all = getattr(KORVANE.PhaseShot, "set" + plural)


ARRAYS = [ArrayCase("phase", "Phases", 255), ArrayCase("frequency", "Frequencies", 0xFFFFFFFF),
          ArrayCase("amplitude", "Amplitudes", 255)]


class Number(object):
    """Stands for an integer, and does something else when it is asked for it."""

    def __init__(self, value, effect=None):
        self.value = value
        self.effect = effect

    def __index__(self):
        if self.effect:
            self.effect()
        return self.value


class Shots(KorvaneTest):

    def arrays(self, *values):
        for case in ARRAYS:
            shot = KORVANE.PhaseShot(3, 3, 3)
            if values:
                case.set_all(shot, list(values))
            with self.subTest(array=case.name):
                yield case, shot

    def test_are_made_empty_with_sizes_or_as_a_copy(self):
        counts = [(case.count(KORVANE.PhaseShot()), case.count(KORVANE.PhaseShot(1, 1, 1)))
                  for case in ARRAYS]
        self.assertEqual([(0, 1)] * 3, counts)
        shot = KORVANE.PhaseShot(nbPhases=3, nbFrequencies=2, nbAmplitudes=1)
        self.assertEqual([3, 2, 1], [case.count(shot) for case in ARRAYS])
        shot.setDuration(duration_us=1000, delay_us=500)
        copy = KORVANE.PhaseShot(shot)
        self.assertTrue(copy == shot)
        copy.setPhase(0, 1)
        self.assertFalse(copy == shot)
        self.assertEqual([1000, 500, 1500], [copy.duration(), copy.delay(), copy.totalDuration()])

    def test_are_not_made_of_anything_else(self):
        for arguments in [(1,), (1, 1), (-1, 1, 1), (1 << 32, 1, 1), (None,), ("shot",)]:
            with self.subTest(arguments=arguments):
                self.assertRaises(TypeError, KORVANE.PhaseShot, *arguments)

    def test_take_lists_up_to_the_size_of_the_array_and_keep_the_rest(self):
        for case, shot in self.arrays(1, 2, 3):
            case.set_all(shot, [case.limit, True])
            self.assertEqual([case.limit, 1, 3], case.get_all(shot))
            case.set_all(shot, [Number(7)])
            self.assertEqual([7, 1, 3], case.get_all(shot))

    def test_refuse_an_empty_list(self):
        for case, shot in self.arrays():
            self.assertFUSError(2, case.set_all, shot, [], message="The given list is empty.")

    def test_refuse_a_list_that_is_longer_than_the_array(self):
        for case, shot in self.arrays():
            with self.assertRaisesRegex(IndexError, r"^Too many items in the list\.$"):
                case.set_all(shot, [0, 0, 0, 0])
            with self.assertRaisesRegex(IndexError, r"^Too many items in the list\.$"):
                case.set_all(KORVANE.PhaseShot(), [0])

    def test_refuse_a_list_whose_length_fails(self):
        class Lengthless(list):
            def __len__(self):
                raise KeyError("no length")

        for case, shot in self.arrays():
            with self.assertRaisesRegex(RuntimeError, "^Unable to compute length of object$"):
                case.set_all(shot, Lengthless([1]))

    def test_name_the_place_of_a_value_that_is_out_of_range(self):
        for case, shot in self.arrays(1, 2, 3):
            for value in (-1, case.limit + 1, -(1 << 31), 1 << 70, -(1 << 70)):
                text = "%s value out of range at index 1 (%d)." % (case.name.capitalize(), value)
                self.assertFUSError(2, case.set_all, shot, [0, value], message=text)
                self.assertFUSError(2, case.set_all, shot, [0, Number(value)], message=text)
            self.assertEqual([1, 2, 3], case.get_all(shot))

    def test_refuse_numbers_too_long_to_be_printed(self):
        for case, shot in self.arrays():
            self.assertFUSError(2, case.set_all, shot, [10 ** 5000])

    def test_take_nothing_but_lists_of_integers(self):
        for case, shot in self.arrays(1, 2, 3):
            for values in [("1",), 1, None, "1", {1: 1}, [1.0], ["1"], [None], [[1]], [b"1"]]:
                self.assertRaises(TypeError, case.set_all, shot, values)
            self.assertEqual([1, 2, 3], case.get_all(shot))

    def test_keep_no_hold_on_the_elements(self):
        for case, shot in self.arrays():
            number = Number(1)
            before = sys.getrefcount(number)
            for value in (1, case.limit + 1):
                number.value = value
                with contextlib.suppress(KORVANE.FUSException):
                    case.set_all(shot, [number, number])
            self.assertEqual(before, sys.getrefcount(number))

    def test_survive_elements_that_change_the_list(self):
        def values(effect):
            result = [Number(999, lambda: effect(result)), 1]
            return result

        for case, shot in self.arrays():
            def shorten(items):
                del items[:]
                gc.collect()

            def fail(_):
                raise ZeroDivisionError

            self.assertRaises((IndexError, KORVANE.FUSException), case.set_all, shot,
                              values(shorten))
            self.assertRaises(ZeroDivisionError, case.set_all, shot, values(fail))

    def test_refuse_single_values_and_indices_out_of_range(self):
        for case, shot in self.arrays():
            case.set(shot, 2, case.limit)
            self.assertEqual(case.limit, case.get(shot, 2))
            self.assertRaises(IndexError, case.get, shot, 3)
            self.assertRaises(IndexError, case.set, shot, 3, 0)
            for index, value in [(-1, 0), (0, -1), (0, case.limit + 1), (0, 1.5), (1 << 32, 0)]:
                self.assertRaises(TypeError, case.set, shot, index, value)

    def test_keep_what_fits_when_an_array_is_resized(self):
        for case, shot in self.arrays(1, 2, 3):
            case.resize(shot, 4, True)
            self.assertEqual([1, 2, 3, 0], case.get_all(shot))
            case.resize(shot, 2, True)
            self.assertEqual([1, 2], case.get_all(shot))
            case.resize(shot, 3, False)
            self.assertEqual([0, 0, 0], case.get_all(shot))


class Trajectories(KorvaneTest):

    @staticmethod
    def with_durations(*durations):
        trajectory = KORVANE.ElectronicTrajectory(4)
        for duration in durations:
            shot = KORVANE.PhaseShot(1, 1, 1)
            shot.setDuration(duration, 0)
            trajectory.addShot(shot)
        return trajectory

    def assertDurations(self, durations, trajectory):
        self.assertEqual(durations, [shot.duration() for shot in trajectory])
        self.assertEqual(len(durations), len(trajectory))
        self.assertEqual(len(durations), trajectory.size())

    def test_are_edited_like_a_list(self):
        trajectory = self.with_durations(1, 2, 3)
        shot = KORVANE.PhaseShot()
        shot.setDuration(9, 1)
        trajectory[0] = shot
        trajectory.insertShot(3, shot)
        trajectory.removeShot(1)
        self.assertDurations([9, 3, 9], trajectory)
        self.assertEqual(23, trajectory.totalDuration())
        trajectory.clear()
        self.assertDurations([], trajectory)

    def test_give_and_take_copies_of_shots(self):
        trajectory = self.with_durations(1)
        trajectory[0].setDuration(5, 0)
        self.assertDurations([1], trajectory)
        shot = trajectory[0]
        trajectory.addShot(shot)
        shot.setDuration(7, 0)
        self.assertDurations([1, 1], trajectory)
        del trajectory
        self.assertEqual(7, shot.duration())

    def test_refuse_an_index_that_is_out_of_range(self):
        trajectory, shot = self.with_durations(1), KORVANE.PhaseShot()
        for call in [lambda: trajectory[1], lambda: trajectory.__setitem__(1, shot),
                     lambda: trajectory.insertShot(2, shot), lambda: trajectory.removeShot(1),
                     lambda: trajectory.channelEnabled(4),
                     lambda: trajectory.enableChannel(4, True)]:
            self.assertRaises(IndexError, call)
        for call in [lambda: trajectory[-1], lambda: trajectory.__setitem__(0, None),
                     lambda: trajectory.addShot("shot"), lambda: trajectory[1 << 32],
                     lambda: KORVANE.ElectronicTrajectory(), lambda: trajectory[0:1]]:
            self.assertRaises(TypeError, call)
        self.assertDurations([1], trajectory)

    def test_know_which_channels_are_enabled(self):
        trajectory = KORVANE.ElectronicTrajectory(nbChannels=4)
        trajectory.enableChannel(1, False)
        self.assertEqual((4, 3), (trajectory.channels(), trajectory.activeChannels()))
        self.assertFalse(trajectory.channelEnabled(1))
        trajectory.setChannelCount(6)
        self.assertEqual((6, 5), (trajectory.channels(), trajectory.activeChannels()))
        trajectory.enableAllChannels(False)
        self.assertEqual(0, trajectory.activeChannels())

    def test_are_not_sliced_without_a_generator(self):
        self.assertFUSError(10, self.with_durations(1).sliceShots, KORVANE.ElecExecMode.NORMAL)


if __name__ == "__main__":
    unittest.main()
