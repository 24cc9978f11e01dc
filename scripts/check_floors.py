#!/usr/bin/env python3
"""Fails where an include points up: from a file to one of a higher floor.

The floors are those of docs/architecture.md. A header has the floor of its name, without "P_". A
source has that of the longest name in the table that it begins with: GeneratorUpload.cpp belongs to
Generator. A file that the table doesn't hold is a fault, so that whoever adds one says where it
belongs.
"""

import os

from source_tree import includes, report, tracked_files

# The mechanical vocabulary lies below the wire's, because hardware codes name its errors.
FLOORS = [
    ("platform", """
        platform common icmpPacket kernelVersion posix windows windowsHeaders
    """),
    ("runtime", """
        BuildInfo Export FUSException FloatArray FloatToWord HardwareCode LocalTime Log LogFormat LogMacros
        MProtocol Mask1D Message PrivateLog SysInfos TextCursor Thread Utilities Version
        mprotocol
    """),
    ("files", """
        Checksum ChecksumPrivate Config SHA
    """),
    ("wire", """
        ErrorInfo GProtocol NetPacket Network TCPClient TCPSocket protocol
    """),
    ("description", """
        Board BoardInfo DefinitionReview GeneratorConfig GeneratorConfigTables GeneratorDefinition
        GeneratorSettingsTables
        Measure PrivateBoard PrivateMeasure
    """),
    ("results and events", """
        AutoCloseConnectionEvent EventSender ExecResult FUSEvent FUSListener ShotResult
    """),
    ("link", """
        Connection JSONExport Reader Upcalls
    """),
    ("shooting and mechanics", """
        DefinitionCheck ElectronicTrajectory Generator GeneratorLimits GeneratorParameters
        GeneratorPrivate PhaseShot TimeSlicer TrajectoryBufferInfo TrajectoryUpload WatchdogCheckListener
        LowLevelMechanics LowLevelMechanicsPrivate MechanicalActuator MechanicalActuatorData
        MechanicalActuatorSteps MechanicalDefinition MechanicalDisplacement MechanicalOriginThread
        MechanicalStatus Mechanics MotionStarts Move
    """),
    ("facade", """
        DefinitionComparison FUS FUSAccess FUSPrivate
    """),
    ("Python module", """
    """),
]

FLOOR_OF = {name: number for number, (_, names) in enumerate(FLOORS, 1) for name in names.split()}

MODULE = len(FLOORS)
# The other side of the wire: it shares the vocabulary with the library, and the reader of its
# description, so that it knows its own boards.
SIMULATOR_MAY_KNOW = 5


def stem(path):
    name = os.path.basename(path).split(".")[0]
    return name[2:] if name.startswith("P_") else name


def floor_of(path):
    name = stem(path)
    if path.endswith(".cpp"):
        name = max((known for known in FLOOR_OF if name.startswith(known)), key=len, default=name)
    return FLOOR_OF.get(name)


def described(floor):
    return "floor %d, %s" % (floor, FLOORS[floor - 1][0])


def faults_of(path, ceiling, where):
    for number, name, angled in includes(path):
        if angled:
            continue
        target = FLOOR_OF.get(stem(name))
        if target is not None and target > ceiling:
            yield "%s:%d: %s includes %s (%s)" % (path, number, where, name, described(target))
        elif target is None and name.startswith("fus/"):
            yield "%s:%d: %s is on no floor" % (path, number, name)
        elif name.startswith("fussim/"):
            yield "%s:%d: the library includes the simulator's %s" % (path, number, name)


def core_faults(path):
    floor = floor_of(path)
    if floor is None:
        return ["%s is on no floor: add it to the table in scripts/check_floors.py" % path]
    return faults_of(path, floor, described(floor))


def simulator_faults(path):
    return [fault for fault in faults_of(path, SIMULATOR_MAY_KNOW, "the simulator")
            if "fussim/" not in fault]


def main():
    faults = []
    files = tracked_files(".h", ".cpp")
    for path in files:
        if path.startswith("core/"):
            faults += core_faults(path)
        elif path.startswith("simulator/"):
            faults += simulator_faults(path)
        elif path.startswith("python/"):
            faults += faults_of(path, MODULE, described(MODULE))
    stems = {stem(path) for path in files}
    faults += ["%s is in the table of floors, but there is no such file" % name
               for name in FLOOR_OF if not any(known.startswith(name) for known in stems)]
    report("Floors", "no include points up", faults)


if __name__ == "__main__":
    main()
