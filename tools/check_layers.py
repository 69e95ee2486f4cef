#!/usr/bin/env python3
"""Says which #include of this tree runs upwards, or sideways into a room that is not to be used.

usage: check_layers.py [ROOT]     ROOT is the top of the tree, by default that of this script

Ends with 0 if every include keeps to the plan, else with 1. Tests, benchmarks and fuzz targets may use any room.
"""
import pathlib
import re
import sys

PLATFORM = "platform/include"

# Each room and the rooms whose headers it may use besides its own.
USES = {
    "cli": ["sync", "engine", "partner", "platform/control", "platform/changewriter", PLATFORM],
    "engine": ["sync", PLATFORM],
    "partner": ["sync", "packet", PLATFORM],
    "sync": [],
    "provider": ["database", "packet", "trace", PLATFORM],
    "database": ["poom", "packet", "trace", PLATFORM],
    "poom": ["trace", PLATFORM],
    "packet": ["trace", PLATFORM],
    "trace": [PLATFORM],
    "platform/pocketoutlook": ["platform/propertydb", "platform/automation", "platform/kernel", "platform/control",
                               PLATFORM],
    "platform/changewriter": ["platform/propertydb", "platform/kernel", "platform/control", PLATFORM],
    "platform/propertydb": ["platform/kernel", "platform/control", PLATFORM],
    "platform/automation": ["platform/kernel", "platform/control", PLATFORM],
    "platform/kernel": ["platform/control", PLATFORM],
    "platform/control": [PLATFORM],
    PLATFORM: [],
}

# The dump of a packet asks the packet, so this one file of the trace looks upwards.
EXCEPTIONS = {("trace/dump_packet.cpp", "packet")}

# The provider is to be built on the device too: of other people's headers its rooms know these alone.
SUBSYSTEMS = ["provider", "database", "poom", "packet", "trace"]
STANDARD = set("""
    algorithm array atomic cassert cctype cerrno climits cmath cstdarg cstddef cstdint cstdio cstdlib cstring ctime deque
    functional initializer_list iterator limits list map memory mutex new numeric optional set string string_view
    tuple type_traits unordered_map unordered_set utility variant vector
    assert.h ctype.h limits.h math.h stdarg.h stddef.h stdint.h stdio.h stdlib.h string.h time.h wchar.h
    """.split())
PLATFORM_HEADERS = {"windows.h", "windbase.h", "cesync.h", "pimstore.h"}

INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')
HOST_SWITCH = re.compile(r"\s*#\s*(?:el)?if.*\b(?:__linux__|__unix__|__GNUC__|__x86_64__)\b"
                         r"|\s*#\s*ifn?def\s+(?:__linux__|__unix__|__GNUC__|__x86_64__)\b")


def room_of(path):
    """The room that a path below the top belongs to, or None."""
    fitting = [room for room in USES if path.startswith(room + "/")]
    return max(fitting, key=len, default=None)


def target_of(root, path, name):
    """The file of this tree that an include means, as a path below the top; None for a system's header."""
    for candidate in (name, str(pathlib.PurePosixPath(path).parent / name), PLATFORM + "/" + name):
        if (root / candidate).is_file():
            return candidate
    return None


def complaints(root, path):
    room = room_of(path)
    for number, line in enumerate((root / path).read_text(encoding="utf-8").splitlines(), 1):
        where = f"{path}:{number}: "
        if room in SUBSYSTEMS and HOST_SWITCH.match(line):
            yield where + "the provider's rooms know nothing of the host"
        include = INCLUDE.match(line)
        if not include:
            continue
        target = target_of(root, path, include[2])
        if target is None:
            if room in SUBSYSTEMS and include[2] not in STANDARD | PLATFORM_HEADERS:
                yield where + f"{room} may use the standard library and the platform's headers, not {include[2]}"
            continue
        used = room_of(target)
        if used == room or used in USES[room] or (path, used) in EXCEPTIONS:
            continue
        yield where + f"{room} may not use {target}"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()
    files = sorted({str(file.relative_to(root)) for room in USES for file in (root / room).rglob("*")
                    if file.suffix in (".h", ".cpp")})
    found = [complaint for path in files for complaint in complaints(root, path)]
    for complaint in found:
        print(complaint)
    if not files:
        print(f"{root}: no sources of this tree")
    return 1 if found or not files else 0


sys.exit(main())
