#!/usr/bin/env python3
"""Kills a first synchronisation of many contacts at moments of chance, runs it again, and counts what was done twice.

usage: moments_test.py KEZSYNC KILL_AT_LIBRARY [--moments N] [--items N]

Half of the contacts are on the device, half in the folder. After the second run both sides hold all of them once, and
of the files that stood when the first run was killed less than one percent were written again.
"""
import argparse
import collections
import json
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from crash_test import World, card, run

CHANCE = 20260302


def names(world):
    return collections.Counter(item["fields"]["LastName"] for item in world.items())


def names_in_files(world):
    found = collections.Counter()
    for file in world.folder.glob("*.vcf"):
        lines = [line for line in file.read_text().splitlines() if line.startswith("N:")]
        found.update(line[2:].split(";")[0] for line in lines)
    return found


def stamps(world):
    return {file.name: (file.stat().st_ino, file.stat().st_mtime_ns) for file in world.folder.glob("*.vcf")}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kezsync")
    parser.add_argument("library", nargs="?")
    parser.add_argument("--moments", type=int, default=30)
    parser.add_argument("--items", type=int, default=1000)
    options = parser.parse_args()
    chance = random.Random(CHANCE)

    with tempfile.TemporaryDirectory(prefix="kezsync-moments-") as folder:
        place = pathlib.Path(folder)
        origin = World(options.kezsync, place / "origin")
        (place / "origin").mkdir()
        run(options.kezsync, "init", origin.device, "--time-zone", "UTC")
        half = options.items // 2
        source = place / "people"
        source.mkdir()
        (source / "people.vcf").write_text("".join(card(n) for n in range(half)))
        run(options.kezsync, "import", "--device", origin.device, source)
        origin.folder.mkdir()
        for n in range(half, options.items):
            (origin.folder / f"{n}.vcf").write_bytes(card(n).encode())
        expected = collections.Counter(f"Last{n}" for n in range(options.items))

        def fresh():
            shutil.rmtree(place / "cut", ignore_errors=True)
            shutil.copytree(place / "origin", place / "cut")
            return World(options.kezsync, place / "cut")

        whole = fresh()
        start = time.monotonic()
        whole.sync()
        length = time.monotonic() - start
        if names(whole) != expected or names_in_files(whole) != expected:
            sys.exit("a run that nothing interrupted lacks items")

        failures = killed = worst = 0
        for _ in range(options.moments):
            world = fresh()
            first = subprocess.Popen([options.kezsync, "sync", "--device", world.device, world.folder, "--json"],
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            moment = chance.uniform(0, 0.9 * length)
            time.sleep(moment)
            first.send_signal(signal.SIGKILL)
            killed += first.wait() == -signal.SIGKILL
            before = stamps(world)
            # Files that did not take their places yet are written once more.
            hidden = len(list(world.folder.glob(".kez-*.tmp")))
            again = world.sync(expect=None)
            after = stamps(world)
            twice = hidden + sum(1 for name, stamp in before.items() if after.get(name) != stamp)
            worst = max(worst, twice)
            wrong = []
            if again.returncode != 0:
                wrong.append(f"the run after the kill ended with {again.returncode}: {again.stderr}")
            if names(world) != expected:
                wrong.append(f"the device differs: {(names(world) - expected) + (expected - names(world))}")
            if names_in_files(world) != expected:
                wrong.append(f"the folder differs: {names_in_files(world) - expected} {expected - names_in_files(world)}")
            if twice * 100 >= options.items:
                wrong.append(f"{twice} files were written twice")
            if json.loads(world.sync(expect=None).stdout or "{}").get("items") != []:
                wrong.append("a third run still had something to do")
            if wrong:
                failures += 1
                print(f"killed after {moment:.3f} s of {length:.3f} s:", *wrong, sep="\n  ")
        print(f"{options.moments} moments of {length:.2f} s, {killed} killed, at most {worst} of {options.items} files "
              f"written twice, {failures} failed")
        if killed < options.moments * 0.5:
            sys.exit("most of the runs ended before they were killed")
        sys.exit(1 if failures else 0)


main()
