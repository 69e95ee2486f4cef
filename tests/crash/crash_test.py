#!/usr/bin/env python3
"""Kills a synchronisation at its nth call that changes the disk, runs it again, and demands the end it would have had.

usage: crash_test.py KEZSYNC KILL_AT_LIBRARY [--points N | --all] [--items N] [--first]

The world has contacts, tasks and series with changed occurrences that both sides agreed on, then edits, additions and
deletions on both sides; with --first, items on both sides that have never met. For each point the world is copied, the
synchronisation is killed there, and run again; device and folder must then be as after a run that nothing interrupted,
and a third run must find nothing to do.
"""
import argparse
import collections
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile


def run(kezsync, *arguments, expect=(0,), env=None):
    done = subprocess.run([kezsync, *map(str, arguments)], capture_output=True, text=True, env={**os.environ, **(env or {})})
    if expect is not None and done.returncode not in expect:
        sys.exit(f"kezsync {' '.join(map(str, arguments))} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done


def card(n):
    return (f"BEGIN:VCARD\r\nVERSION:3.0\r\nUID:crash-{n}\r\nFN:First{n} Last{n}\r\nN:Last{n};First{n};;;\r\n"
            f"TEL;TYPE=CELL:+49 170 {n:04}\r\nX-KEPT-{n}:in the folder only\r\nEND:VCARD\r\n")


def event(n, *occurrences):
    """A weekly series; of each occurrence (a day of March 2026) with a modification of its own."""
    start = lambda day, hour: f"202603{day:02}T{hour:02}0000Z"
    lines = ["BEGIN:VEVENT", f"UID:series-{n}", "DTSTAMP:20260101T000000Z", f"SUMMARY:Series {n}",
             f"DTSTART:{start(2, 10)}", f"DTEND:{start(2, 11)}", "RRULE:FREQ=WEEKLY;COUNT=8",
             f"EXDATE:{start(30, 10)}", "X-KEPT:in the folder only", "END:VEVENT"]
    for day in occurrences:
        lines += ["BEGIN:VEVENT", f"UID:series-{n}", f"RECURRENCE-ID:{start(day, 10)}", "DTSTAMP:20260101T000000Z",
                  f"SUMMARY:Moved {n} of {day}", f"DTSTART:{start(day, 13)}", f"DTEND:{start(day, 14)}", "END:VEVENT"]
    return calendar(*lines)


def task(n):
    return calendar("BEGIN:VTODO", f"UID:task-{n}", "DTSTAMP:20260101T000000Z", f"SUMMARY:Task {n}",
                    "DTSTART;VALUE=DATE:20260302", "DUE;VALUE=DATE:20260306", "X-KEPT:in the folder only", "END:VTODO")


def calendar(*lines):
    return "\r\n".join(["BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//crash//", *lines, "END:VCALENDAR", ""])


class World:
    def __init__(self, kezsync, place):
        self.kezsync, self.device, self.folder = kezsync, place / "device", place / "folder"

    def sync(self, *more, expect=(0,), env=None):
        return run(self.kezsync, "sync", "--device", self.device, self.folder, "--json", *more, expect=expect, env=env)

    def items(self):
        return json.loads(run(self.kezsync, "list", "--device", self.device, "--json").stdout)

    def build_first(self, count):
        run(self.kezsync, "init", self.device, "--time-zone", "UTC")
        self.folder.mkdir()
        for n in range(count):
            (self.folder / f"{n}.vcf").write_bytes(card(n).encode())
        for n in range(6):
            (self.folder / f"series-{n}.ics").write_bytes(event(n, 16).encode())
            (self.folder / f"task-{n}.ics").write_bytes(task(n).encode())
        self.import_some()

    def build(self, count):
        self.build_first(count)
        self.sync()
        items = self.items()
        by_name = {item["fields"]["LastName"]: item["oid"] for item in items if item["type"] == "contact"}
        by_subject = {item["fields"]["Subject"]: item["oid"] for item in items if item["type"] != "contact"}
        for n in range(0, count, 10):
            run(self.kezsync, "set", "--device", self.device, by_name[f"Last{n}"], f"HomeAddressCity=Town {n}")
            file = self.folder / f"{n + 1}.vcf"
            file.write_bytes(file.read_bytes().replace(b"+49 170", b"+49 171"))
            run(self.kezsync, "delete", "--device", self.device, by_name[f"Last{n + 2}"])
            (self.folder / f"{n + 3}.vcf").unlink()
            (self.folder / f"new-{n}.vcf").write_bytes(card(1000 + n).encode())
            # Both sides, different fields.
            run(self.kezsync, "set", "--device", self.device, by_name[f"Last{n + 4}"], "JobTitle=Both")
            both = self.folder / f"{n + 4}.vcf"
            both.write_bytes(both.read_bytes().replace(b"+49 170", b"+49 172"))
            # Both sides, one field: the device's version becomes a second item.
            run(self.kezsync, "set", "--device", self.device, by_name[f"Last{n + 5}"], "MobileTelephoneNumber=7")
            both = self.folder / f"{n + 5}.vcf"
            both.write_bytes(both.read_bytes().replace(b"+49 170", b"+49 173"))
        # The same of the calendar: an occurrence that is changed on the device, in the folder, on both sides; somebody
        # reads a series on the device, which takes its changed occurrences away.
        for subject, field in (("Series 0", "Location=Hall"), ("Task 0", "Body=by pen"), ("Series 4", "Location=Hall"),
                               ("Task 4", "Body=by pen")):
            run(self.kezsync, "set", "--device", self.device, by_subject[subject], field)
        for name, old, new in (("series-1", b"Moved 1", b"Shifted 1"), ("series-4", b"Moved 4", b"Shifted 4"),
                               ("task-1", b"Task 1", b"Letter 1"), ("task-4", b"Task 4", b"Letter 4")):
            file = self.folder / f"{name}.ics"
            file.write_bytes(file.read_bytes().replace(old, new))
        for subject in ("Series 2", "Task 2"):
            run(self.kezsync, "delete", "--device", self.device, by_subject[subject])
        for name in ("series-3", "task-3"):
            (self.folder / f"{name}.ics").unlink()
        (self.folder / "series-10.ics").write_bytes(event(10, 9, 16).encode())
        (self.folder / "task-10.ics").write_bytes(task(10).encode())
        self.import_some(20)

    def import_some(self, begin=0):
        source = self.device.parent / f"import-{begin}"
        source.mkdir()
        (source / "people.vcf").write_text("".join(card(2000 + begin + n) for n in range(3)))
        for n in (11, 12):
            (source / f"series-{n}.ics").write_bytes(event(begin + n, 9, 23).encode())
        (source / "task.ics").write_bytes(task(begin + 11).encode())
        run(self.kezsync, "import", "--device", self.device, source)

    def state(self):
        """What both sides say, without what differs from run to run (new identifiers, times of writing)."""
        device = collections.Counter(json.dumps(item["fields"], sort_keys=True) for item in self.items())
        files = collections.Counter()
        for file in sorted(self.folder.glob("*.[vi]c[fs]")):
            lines = [line for line in file.read_bytes().decode().splitlines()
                     if not line.startswith(("REV", "UID:", "DTSTAMP", "LAST-MODIFIED", "CREATED"))]
            files["\n".join(lines)] += 1
        return device, files


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kezsync")
    parser.add_argument("library")
    parser.add_argument("--points", type=int, default=60)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--items", type=int, default=20)
    parser.add_argument("--first", action="store_true")
    options = parser.parse_args()

    with tempfile.TemporaryDirectory(prefix="kezsync-crash-") as folder:
        place = pathlib.Path(folder)
        (place / "origin").mkdir()
        origin = World(options.kezsync, place / "origin")
        (origin.build_first if options.first else origin.build)(options.items)

        def fresh(name):
            shutil.rmtree(place / name, ignore_errors=True)
            shutil.copytree(place / "origin", place / name, symlinks=True)
            return World(options.kezsync, place / name)

        whole = fresh("whole")
        count_file = place / "count"
        whole.sync(env={"LD_PRELOAD": options.library, "KEZ_KILL_COUNT": str(count_file)})
        calls = int(count_file.read_text())
        expected = whole.state()
        if not expected[0] or calls < 20:
            sys.exit(f"the world is too small to test anything: {calls} calls")

        step = 1 if options.all else max(1, calls // options.points)
        # After a call is before the next one; only the last has no next.
        moments = [str(n) for n in range(1, calls + 1, step)] + [f"{calls}+"]
        failures = killed = 0
        for moment in moments:
            world = fresh("cut")
            first = world.sync(expect=None, env={"LD_PRELOAD": options.library, "KEZ_KILL_AT": moment})
            killed += first.returncode == -signal.SIGKILL
            again = world.sync(expect=None)
            found = world.state()
            third = json.loads(world.sync(expect=None).stdout or "{}")
            wrong = []
            if again.returncode != 0:
                wrong.append(f"the run after the kill ended with {again.returncode}: {again.stdout[-600:]}{again.stderr}")
            for side, is_, should in zip(("device", "folder"), found, expected):
                wrong += [f"{side} lacks: {text}" for text in (should - is_)]
                wrong += [f"{side} has besides: {text}" for text in (is_ - should)]
            if third.get("items") != []:
                wrong.append(f"a third run still had something to do: {third.get('items')}")
            if wrong:
                failures += 1
                print(f"killed at call {moment} of {calls}:", *wrong, sep="\n  ")
        print(f"{calls} calls, {len(moments)} moments tried, {killed} killed, {failures} failed")
        if killed < len(moments) * 0.9:
            sys.exit("the kill did not happen at most of the moments")
        sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
