"""Runs kezsync on devices and folders of their own, made for each test and removed after it."""

import base64
import fcntl
import hashlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import tempfile
import time
import unittest

KEZSYNC = os.environ["KEZSYNC"]
DONE, FAILED, WRONG_USAGE, PARTLY, REFUSED = range(5)


def card(name, *lines, uid=None, version="3.0"):
    """A vCard of somebody: "Ada Lovelace"."""
    first, _, last = name.partition(" ")
    lines = [f"N:{last};{first};;;", f"FN:{name}", *([f"UID:{uid}"] if uid else []), *lines]
    return "\r\n".join(["BEGIN:VCARD", f"VERSION:{version}", *lines, "END:VCARD", ""])


def tree(folder):
    """Every file of a folder with a digest of its bytes, every folder with its name."""
    folder = pathlib.Path(folder)
    if not folder.exists():
        return None
    return {
        str(path.relative_to(folder)): hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else "folder"
        for path in sorted(folder.rglob("*"))
    }


class CommandTest(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="kezsync-test-"))
        self.addCleanup(shutil.rmtree, self.place, ignore_errors=True)
        self.device = self.place / "device"
        self.folder = self.place / "folder"
        self.environment = {
            **os.environ,
            "HOME": str(self.place),
            "XDG_CONFIG_HOME": str(self.place / "config"),
            "TMPDIR": str(self.place),
            "KEZSYNC_DEVICE": str(self.device),
            "TZ": "Europe/Berlin",
        }

    def run_command(self, *words, code=DONE, **more):
        """The result of a run that has to end with this exit code."""
        result = subprocess.run(
            [KEZSYNC, *map(str, words)], capture_output=True, text=True, env=self.environment, timeout=60, **more
        )
        self.assertEqual(result.returncode, code, f"{words}\n{result.stdout}{result.stderr}")
        return result

    def out(self, *words, code=DONE):
        return self.run_command(*words, code=code).stdout

    def error(self, *words, code):
        """What a run that fails says; it has to say it in one line."""
        text = self.run_command(*words, code=code).stderr
        self.assertEqual(text.count("\n"), 1, text)
        return text

    def json(self, *words, code=DONE):
        return json.loads(self.out(*words, "--json", code=code))

    def init(self):
        self.run_command("init", self.device, "--time-zone", "Europe/Berlin", "--quiet")

    def write(self, path, text):
        path = self.place / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return path

    def people(self, *names):
        """A device on which these people are."""
        self.init()
        text = "".join(card(name) for name in names)
        self.run_command("import", self.write("people.vcf", text), "--quiet")

    def sync(self, *words, code=DONE):
        return self.json("sync", self.folder, *words, code=code)

    def oid(self, title):
        return next(item["oid"] for item in self.json("list") if item["title"] == title)

    def fields(self, title):
        return next(item["fields"] for item in self.json("list") if item["title"] == title)

    def titles(self):
        return sorted(item["title"] for item in self.json("list"))

    def file(self, name):
        """The file of the folder with the card of this name."""
        return next(path for path in self.folder.glob("*.vcf") if f"FN:{name}\r\n".encode() in path.read_bytes())

    def edit(self, name, old, new):
        path = self.file(name)
        text = path.read_bytes()
        self.assertIn(old.encode(), text)
        path.write_bytes(text.replace(old.encode(), new.encode()))

    def help_commands(self):
        """The commands that the help lists, in its order."""
        overview = self.out("--help")
        return re.findall(r"^  ([a-z]+) ", overview[re.search("(?i)subcommands:", overview).end() :], re.M)

    def help_options(self, *command):
        """The options that a command's help lists, or those common to all."""
        lines = re.findall(r"^  (-\S+)", self.out(*command, "--help"), re.M)
        return {name for line in lines for name in line.split(",")}
