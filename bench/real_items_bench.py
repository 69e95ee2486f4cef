#!/usr/bin/env python3
"""Import, first synchronisation, export and an unchanged synchronisation of items that other programs wrote, beside what
libraries need for reading and writing the same files alone.

usage: real_items_bench.py KEZSYNC [--items N] [--data FOLDER ...] [--place FOLDER]

The files of tests/data/real (and of --data) are taken apart into single items; those that a device holds are repeated
with UIDs of their own until there are N. libical parses and writes each .ics file in this process; so does vobject, the
Python library that khard uses, with each .vcf file. It runs in Debian's own Python, where it is installed. One line
each: seconds of the processor, so that other work on the machine matters little, and microseconds an item.
"""
import argparse
import ctypes
import json
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests/clients"))
import real_items  # noqa: E402

VOBJECT = """
import pathlib, sys, time, logging
import vobject
logging.disable(logging.CRITICAL)
texts = [path.read_bytes().decode("utf-8", "replace") for path in sorted(pathlib.Path(sys.argv[1]).glob("*.vcf"))]
start, failed = time.process_time(), 0
for text in texts:
    try:
        vobject.readOne(text).serialize(validate=False)
    except Exception:
        failed += 1
print(time.process_time() - start, len(texts), failed)
"""


def timed(*words):
    """The processor's seconds that a command takes, and what it prints."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    result = subprocess.run(list(map(str, words)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if result.returncode not in (0, 3):  # 3: some items are refused, with reasons
        sys.exit(f"{' '.join(map(str, words))} failed: {result.stderr[-800:]}")
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, result.stdout


def held(kezsync, place, sources):
    """The texts of the items that a device holds, with the endings of their files."""
    folder, device = place / "sources", place / "probe"
    real_items.fill(folder, sources)
    timed(kezsync, "init", device, "--time-zone", "Europe/Berlin")
    _, out = timed(kezsync, "sync", "--device", device, folder, "--json")
    names = [item["file"] for item in json.loads(out)["items"] if item["outcome"] == "sent"]
    return [((folder / name).suffix, (folder / name).read_bytes()) for name in sorted(names)]


def repeat(items, count, folder):
    folder.mkdir()
    for n in range(count):
        ending, text = items[n % len(items)]
        line = b"\r\nUID:bench-%d" % n
        text, found = re.subn(rb"[\r\n]+UID[^:\r\n]*:[^\r\n]*(?:\r?\n[ \t][^\r\n]*)*", line, text)
        if not found:
            text = re.sub(rb"(BEGIN:(?:VEVENT|VTODO|VCARD))", rb"\1" + line, text, count=1)
        (folder / f"bench-{n}{ending}").write_bytes(text)


def libical(folder):
    """Seconds, and number of files, that libical takes to parse and write."""
    library = ctypes.CDLL("libical.so.3")
    library.icalparser_parse_string.restype = ctypes.c_void_p
    library.icalparser_parse_string.argtypes = [ctypes.c_char_p]
    library.icalcomponent_as_ical_string_r.restype = ctypes.c_void_p
    library.icalcomponent_as_ical_string_r.argtypes = [ctypes.c_void_p]
    library.icalcomponent_free.argtypes = [ctypes.c_void_p]
    library.icalmemory_free_buffer.argtypes = [ctypes.c_void_p]
    library.icalerror_set_errors_are_fatal(0)
    texts = [path.read_bytes() for path in sorted(folder.glob("*.ics"))]
    start = time.process_time()
    for text in texts:
        component = library.icalparser_parse_string(text)
        library.icalmemory_free_buffer(library.icalcomponent_as_ical_string_r(component))
        library.icalcomponent_free(component)
    return time.process_time() - start, len(texts)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("kezsync", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--items", type=int, default=10000)
    parser.add_argument("--data", action="append", default=[])
    parser.add_argument("--place", default=tempfile.gettempdir())
    options = parser.parse_args()
    place = pathlib.Path(tempfile.mkdtemp(prefix="kezsync-bench-", dir=options.place))
    try:
        items = held(options.kezsync, place, [ROOT / "tests/data/real", *options.data])
        folder = place / "folder"
        repeat(items, options.items, folder)
        cards = len(list(folder.glob("*.vcf")))
        print(f"{options.items} items made of {len(items)} that other programs wrote; {cards} are contacts")

        def line(what, seconds, count):
            print(f"{what:<52} {seconds:7.2f} s {seconds / count * 1e6:8.0f} us an item")

        device, other = place / "device", place / "other"
        for name in (device, other):
            timed(options.kezsync, "init", name, "--time-zone", "Europe/Berlin")
        seconds, out = timed(options.kezsync, "sync", "--device", device, folder, "--json")
        summary = json.loads(out)["summary"]
        line(f"sync, folder to an empty device ({summary['sent']} sent)", seconds, options.items)
        seconds, out = timed(options.kezsync, "sync", "--device", device, folder, "--json")
        summary = json.loads(out)["summary"]
        line(f"sync, nothing changed ({summary['unchanged']} unchanged)", seconds, options.items)
        seconds, _ = timed(options.kezsync, "export", "--device", device, place / "copy")
        line("export to an empty folder", seconds, options.items)
        seconds, _ = timed(options.kezsync, "import", "--device", other, folder, "--quiet")
        line("import onto an empty device", seconds, options.items)
        seconds, out = timed(options.kezsync, "sync", "--device", other, place / "new", "--json")
        line(f"sync, device to an empty folder ({json.loads(out)['summary']['received']} received)", seconds, options.items)
        seconds, count = libical(folder)
        line(f"libical alone, parse and write {count} .ics files", seconds, count)
        result = subprocess.run(["/usr/bin/python3", "-c", VOBJECT, folder], stdout=subprocess.PIPE, text=True, check=True)
        seconds, count, failed = result.stdout.split()
        line(f"vobject alone, parse and write {count} .vcf files", float(seconds), int(count))
        if int(failed):
            print(f"({failed} of them vobject does not read)")
    finally:
        shutil.rmtree(place)


if __name__ == "__main__":
    main()
