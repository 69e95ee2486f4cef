#!/usr/bin/env python3
"""First, unchanged and 1-percent-changed synchronisation of contacts: time and peak memory, beside other programs.

usage: sync_bench.py KEZSYNC [--items N[,N...]] [--place FOLDER[,FOLDER...]] [--pictures] [--programs NAME[,NAME...]]
                      [--rounds N] [--writing-rounds N] [--first-rounds N]

kezsync brings a folder and a new device into agreement ("first" from the files to the device, "to files" from another
device to an empty folder); vdirsyncer and unison do the same with two local folders, in the same run, with the same
files. "bare" only writes the files, each synced and renamed into place before the next, the folder synced for each
hundred: what is durable is what kezsync has made durable.
A program that is not installed is left out, and said to be. One line each: seconds on the wall, seconds of the
processor, peak memory in MiB, microseconds an item. Build with optimisation; give a place on a disk and one on tmpfs.
With --pictures every tenth card has one of 20 KB.

All are medians of some rounds in which the programs take turns, because the speed of a shared machine drifts: the ratios
that follow are of runs of one round. Nothing is deleted before the end, because for minutes after many files were, a file
system may look long for the inode of a new one.
"""
import argparse
import base64
import contextlib
import os
import pathlib
import random
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


def picture(n):
    text = base64.b64encode(b"\xff\xd8\xff\xe0" + random.Random(n).randbytes(20000)).decode()
    lines = [text[at:at + 74] for at in range(0, len(text), 74)]
    return "PHOTO;ENCODING=b;TYPE=JPEG:" + "\r\n ".join(lines) + "\r\n"


def card(n, edition=0, pictures=False):
    return (f"BEGIN:VCARD\r\nVERSION:3.0\r\nUID:bench-{n}\r\nFN:First{n} Last{n}\r\nN:Last{n};First{n};;;\r\n"
            f"TEL;TYPE=CELL:+49 17{edition % 10} {n:07}\r\nEMAIL;TYPE=INTERNET:first{n}@example.org\r\n"
            f"ADR;TYPE=HOME:;;{n} High Street;Town {n % 97};;{n:05};Country\r\nORG:Company {n % 31}\r\n"
            f"TITLE:Engineer\r\nNOTE:Met at place {n % 13}.\r\n{picture(n) if pictures and n % 10 == 0 else ''}"
            "END:VCARD\r\n")


def fill(folder, items, pictures):
    folder.mkdir(parents=True)
    for n in range(items):
        (folder / f"bench-{n}.vcf").write_bytes(card(n, pictures=pictures).encode())


def change_one_percent(folder, items, pictures, edition):
    for n in range(0, items, 100):
        (folder / f"bench-{n}.vcf").write_bytes(card(n, edition, pictures).encode())


def write_bare(source, target):
    """Seconds on the wall and of the processor for writing the files of `source` durably."""
    texts = [(file.name, file.read_bytes()) for file in source.glob("*.vcf")]
    target.mkdir()
    folder = os.open(target, os.O_RDONLY)
    start, used = time.monotonic(), time.process_time()
    for at in range(0, len(texts), 100):
        for name, text in texts[at:at + 100]:
            file = os.open(target / (name + ".new"), os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o666)
            os.write(file, text)
            os.fsync(file)
            os.close(file)
            os.rename(target / (name + ".new"), target / name)
        os.fsync(folder)
    return time.monotonic() - start, time.process_time() - used


def measured(command, environment):
    """Seconds on the wall and of the processor, and MiB of one run; ends where it fails."""
    start = time.monotonic()
    process = subprocess.Popen([str(part) for part in command], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               env={**os.environ, **environment})
    said = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - start
    if status != 0:
        sys.exit(f"{' '.join(map(str, command))} failed ({status}): {said.decode()[-800:]}")
    return seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def kezsync(program, place):
    subprocess.run([program, "init", place / "device", "--time-zone", "UTC"], check=True, stdout=subprocess.DEVNULL)
    return [program, "sync", "--device", place / "device", place / "a", "--quiet"], {}


def vdirsyncer(place):
    (place / "b").mkdir()
    config = place / "vdirsyncer.conf"
    config.write_text(f'[general]\nstatus_path = "{place}/status"\n[pair both]\na = "a"\nb = "b"\n'
                      f'collections = null\n[storage a]\ntype = "filesystem"\npath = "{place}/a"\nfileext = ".vcf"\n'
                      f'[storage b]\ntype = "filesystem"\npath = "{place}/b"\nfileext = ".vcf"\n')
    subprocess.run(["vdirsyncer", "-c", config, "discover"], check=True, input=b"y\n" * 4, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    return ["vdirsyncer", "-c", config, "sync"], {}


def unison(place):
    (place / "b").mkdir()
    return ["unison", place / "a", place / "b", "-batch", "-auto", "-silent"], {"UNISON": str(place / "unison")}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kezsync", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--items", default="1000,10000")
    parser.add_argument("--place", default=tempfile.gettempdir())
    parser.add_argument("--pictures", action="store_true")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--writing-rounds", type=int, default=3)
    parser.add_argument("--first-rounds", type=int, default=1)
    parser.add_argument("--programs", default="bare,kezsync,vdirsyncer,unison")
    options = parser.parse_args()
    programs = {"kezsync": lambda place: kezsync(options.kezsync, place), "vdirsyncer": vdirsyncer, "unison": unison}
    wanted = options.programs.split(",")
    for name in list(programs):
        if name != "kezsync" and name in wanted and not shutil.which(name):
            print(f"{name} is not installed and is left out")
            wanted.remove(name)
    with contextlib.ExitStack() as folders:
        for where in options.place.split(","):
            for items in map(int, options.items.split(",")):

                def say(name, case, seconds, used, memory=None):
                    # What a process has at most is counted from before it became the program: less is not seen.
                    least = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
                    peak = "" if memory is None else f"{'<' if memory <= least else ''}{memory:.1f}"
                    print(f"{where:12} {items:7} {name:11} {case:10} {seconds:8.3f} s {used:8.3f} s "
                          f"{peak:>7} MiB {seconds * 1e6 / items:8.1f} us/item",
                          flush=True)

                folder = folders.enter_context(tempfile.TemporaryDirectory(prefix="kezsync-bench-", dir=where))
                makers = {name: make for name, make in programs.items() if name in wanted}
                commands = first_in_turns(pathlib.Path(folder), makers, items, options, say)
                if "kezsync" in commands:
                    write_in_turns(pathlib.Path(folder) / "kezsync", "bare" in wanted, options, say)
                take_turns(pathlib.Path(folder), commands, items, options, say)


def first_in_turns(folder, programs, items, options, say):
    """The commands, each with a place that it has brought into agreement."""
    commands, seen = {}, {name: [] for name in programs}
    for n in range(options.first_rounds):
        for name, make in programs.items():
            place = folder / (f"{name}-first-{n}" if n else name)
            fill(place / "a", items, options.pictures)
            command = make(place)
            commands.setdefault(name, command)
            os.sync()
            seen[name].append(measured(*command))
    for name, runs in seen.items():
        say(name, "first", *(statistics.median(figure) for figure in zip(*runs)))
    if "kezsync" in seen and "vdirsyncer" in seen:
        say_ratios("first beside vdirsyncer's", seen["kezsync"], seen["vdirsyncer"])
    return commands


def say_ratios(what, ours, theirs):
    ratios = sorted(mine[0] / other[0] for mine, other in zip(ours, theirs))
    print(f"  {what}: {statistics.median(ratios):.2f} ({ratios[0]:.2f} to {ratios[-1]:.2f})", flush=True)


def write_in_turns(place, with_bare, options, say):
    ours, bare = [], []
    for n in range(options.writing_rounds):
        shutil.copytree(place / "device", place / f"device-{n}")
        os.sync()
        ours.append(measured([options.kezsync, "sync", "--device", place / f"device-{n}", place / f"c-{n}",
                              "--partner", "2", "--quiet"], {}))
        if with_bare:
            os.sync()
            bare.append(write_bare(place / f"c-{n}", place / f"d-{n}"))
    for name, case, runs in (("kezsync", "to files", ours), ("bare", "writing", bare)):
        if runs:
            say(name, case, *(statistics.median(figure) for figure in zip(*runs)))
    if bare:
        say_ratios("to files beside the bare writing", ours, bare)


def take_turns(folder, commands, items, options, say):
    seen = {name: {"unchanged": [], "1 percent": []} for name in commands}
    # Files that were written a moment ago are looked at again, by all three.
    time.sleep(1.1)
    for edition in range(1, options.rounds + 1):
        for name, command in commands.items():
            measured(*command)
            seen[name]["unchanged"].append(measured(*command))
            change_one_percent(folder / name / "a", items, options.pictures, edition)
            seen[name]["1 percent"].append(measured(*command))
    for name, cases in seen.items():
        for case, runs in cases.items():
            say(name, case, *(statistics.median(figure) for figure in zip(*runs)))
    if "kezsync" in seen and "unison" in seen:
        for case in ("unchanged", "1 percent"):
            say_ratios(f"{case} beside Unison's unchanged", seen["kezsync"][case], seen["unison"]["unchanged"])


if __name__ == "__main__":
    main()
