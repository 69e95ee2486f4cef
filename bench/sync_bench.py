#!/usr/bin/env python3
"""First, unchanged and 1-percent-changed synchronisation of contacts: time and peak memory, beside other programs.

usage: sync_bench.py KEZSYNC [--items N[,N...]] [--place FOLDER[,FOLDER...]]

kezsync brings a folder and a new device into agreement; vdirsyncer and unison do the same with two local folders, in
the same run, with the same files. A program that is not installed is left out, and said to be. One line each: seconds,
peak memory in MiB, microseconds an item. Build with optimisation; give a place on a disk and one on tmpfs.
"""
import argparse
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time


def card(n, changed=False):
    return (f"BEGIN:VCARD\r\nVERSION:3.0\r\nUID:bench-{n}\r\nFN:First{n} Last{n}\r\nN:Last{n};First{n};;;\r\n"
            f"TEL;TYPE=CELL:+49 17{int(changed)} {n:07}\r\nEMAIL;TYPE=INTERNET:first{n}@example.org\r\n"
            f"ADR;TYPE=HOME:;;{n} High Street;Town {n % 97};;{n:05};Country\r\nORG:Company {n % 31}\r\n"
            f"TITLE:Engineer\r\nNOTE:Met at place {n % 13}.\r\nEND:VCARD\r\n")


def fill(folder, items):
    folder.mkdir(parents=True)
    for n in range(items):
        (folder / f"bench-{n}.vcf").write_bytes(card(n).encode())


def change_one_percent(folder, items):
    for n in range(0, items, 100):
        (folder / f"bench-{n}.vcf").write_bytes(card(n, changed=True).encode())


def measured(command, environment):
    """Seconds and MiB of one run; ends where it fails."""
    start = time.monotonic()
    process = subprocess.Popen([str(part) for part in command], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                               env={**os.environ, **environment})
    said = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    seconds = time.monotonic() - start
    if status != 0:
        sys.exit(f"{' '.join(map(str, command))} failed: {said.decode()[-800:]}")
    return seconds, usage.ru_maxrss / 1024


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
    options = parser.parse_args()
    programs = {"kezsync": lambda place: kezsync(options.kezsync, place), "vdirsyncer": vdirsyncer, "unison": unison}
    for name in ("vdirsyncer", "unison"):
        if not shutil.which(name):
            print(f"{name} is not installed and is left out")
            del programs[name]
    for where in options.place.split(","):
        for items in map(int, options.items.split(",")):
            for name, prepare in programs.items():
                with tempfile.TemporaryDirectory(prefix="kezsync-bench-", dir=where) as folder:
                    place = pathlib.Path(folder)
                    fill(place / "a", items)
                    command, environment = prepare(place)
                    for case in ("first", "unchanged", "1 percent"):
                        if case == "unchanged":
                            # Files that were written a moment ago are looked at again, by all three.
                            time.sleep(1.1)
                            measured(command, environment)
                        if case == "1 percent":
                            change_one_percent(place / "a", items)
                        seconds, memory = measured(command, environment)
                        print(f"{where:12} {items:7} {name:11} {case:10} {seconds:8.3f} s {memory:7.1f} MiB "
                              f"{seconds * 1e6 / items:8.1f} us/item", flush=True)


if __name__ == "__main__":
    main()
