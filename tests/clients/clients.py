"""The programs that people keep such folders with, on folders of a test: khard, khal, todoman, vdirsyncer."""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "cli"))
from command import KEZSYNC, CommandTest  # noqa: E402

ROOT = pathlib.Path(__file__).parents[2]
HOME = "/home/ada"  # of those who read the documents

TODOMAN = "todoman" if shutil.which("todoman") else "todo"

KHAL = """[calendars]
[[own]]
path = {folder}
[sqlite]
path = {cache}
[locale]
timeformat = %H:%M
dateformat = %Y-%m-%d
longdateformat = %Y-%m-%d
datetimeformat = %Y-%m-%d %H:%M
longdatetimeformat = %Y-%m-%d %H:%M
local_timezone = Europe/Berlin
default_timezone = Europe/Berlin
[default]
default_calendar = own
"""
TODO = """path = "{folder}"
date_format = "%Y-%m-%d"
time_format = "%H:%M"
default_list = "{name}"
cache_path = "{cache}"
"""
KHARD = """[addressbooks]
[[own]]
path = {folder}
[general]
default_action = list
editor = true
merge_editor = true
"""
PAIR = """[general]
status_path = "{status}"
[pair both]
a = "here"
b = "there"
collections = null
[storage here]
type = "filesystem"
path = "{here}"
fileext = "{extension}"
[storage there]
type = "filesystem"
path = "{there}"
fileext = "{extension}"
"""


class ClientTest(CommandTest):
    def client(self, *words, given="", code=0):
        result = subprocess.run(
            list(map(str, words)), input=given, capture_output=True, text=True, env=self.environment, timeout=60
        )
        self.assertEqual(result.returncode, code, f"{words}\n{result.stdout}{result.stderr}")
        return result.stdout + result.stderr

    def item(self, subject):
        """What the device has of the event or task of this name."""
        return next(item for item in self.json("list") if item["fields"].get("Subject") == subject)

    def khal(self, folder, *words, given=""):
        configuration = self.write(
            f"khal-{folder.name}.conf", KHAL.format(folder=folder, cache=self.place / f"khal-{folder.name}.db")
        )
        return self.client("khal", "-c", configuration, *words, given=given)

    def events(self, folder, *days):
        """What khal shows of these days, one line an event."""
        form = "{start-long} {end-long} {title} | {location} | {description} | {categories}{alarm-symbol}"
        return self.khal(folder, "list", "--day-format", "", "--format", form, *days).splitlines()

    def khard(self, folder, *words, given=""):
        configuration = self.write(f"khard-{folder.name}.conf", KHARD.format(folder=folder))
        return self.client("khard", "-c", configuration, *words, given=given)

    def people_of(self, folder):
        """What khard shows of everybody, by name, without what tells one file from another."""
        shown = {}
        for line in self.khard(folder, "list", "--parsable").splitlines():
            uid, name, _ = line.split("\t")
            details = self.khard(folder, "show", f"uid:{uid}").splitlines()
            shown[name] = sorted(line for line in details if "UID:" not in line)
        return shown

    def todoman(self, folder, *words):
        configuration = self.write(
            f"todoman-{folder.name}.py",
            TODO.format(folder=folder, name=folder.name, cache=self.place / f"todoman-{folder.name}.db"),
        )
        return self.client(TODOMAN, "--config", configuration, *words)

    def tasks(self, folder):
        """What todoman lists, without the numbers that it gives."""
        lines = self.todoman(folder, "list", "--status", "ANY", "--sort", "summary").splitlines()
        return [line[:4] + line[4:].split(" ", 1)[1].replace(f"@{folder.name}", "") for line in lines]

    def vdirsyncer(self, here, there, extension):
        """What vdirsyncer says when it has brought both folders into agreement."""
        there.mkdir(exist_ok=True)
        configuration = self.write(
            f"vdirsyncer{extension}.conf",
            PAIR.format(status=self.place / f"status{extension}", here=here, there=there, extension=extension),
        )
        self.client("vdirsyncer", "-c", configuration, "discover")
        return self.client("vdirsyncer", "-c", configuration, "sync")


class Reader(ClientTest):
    """A home with the samples in it, in which a document's steps are taken."""

    def setUp(self):
        super().setUp()
        self.home = self.place / "home"
        self.home.mkdir()
        (self.home / "samples").symlink_to(ROOT / "samples")
        bin_folder = self.place / "bin"
        bin_folder.mkdir()
        (bin_folder / "kezsync").symlink_to(KEZSYNC)
        self.environment = {
            "PATH": f"{bin_folder}:{os.environ['PATH']}",
            "HOME": str(self.home),
            "TMPDIR": str(self.place),
            "TZ": "Europe/Berlin",
            "LANG": "C.UTF-8",
        }

    def put(self, path, content):
        path = pathlib.Path(path.replace("~", str(self.home)))
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content.replace(HOME, str(self.home)).replace("~", str(self.home)))

    def run_all(self, commands):
        """What each command prints, one shell for all of them, and its exit code."""
        script = "".join(f"printf '\\n@@@\\n'\n{command}\nprintf '\\n@@%d\\n' $?\n" for command in commands)
        result = subprocess.run(
            ["bash", "-c", script], cwd=self.home, env=self.environment, capture_output=False, timeout=120, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        )  # fmt: skip
        outputs = result.stdout.replace(str(self.home), HOME).split("\n@@@\n")[1:]
        self.assertEqual(len(outputs), len(commands), result.stdout)
        return [re.fullmatch(r"(?s)(.*)\n@@(\d+)\n", output).groups() for output in outputs]

    def serve(self):
        """A CardDAV server of this test; its address."""
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        log = open(self.place / "radicale.log", "wb")
        self.addCleanup(log.close)
        server = subprocess.Popen(
            ["radicale", "--config", "", "--server-hosts", f"127.0.0.1:{port}", "--auth-type", "none",
             "--storage-filesystem-folder", self.place / "server"],
            stdout=log, stderr=log, env=self.environment,
        )  # fmt: skip
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        for _ in range(300):
            with socket.socket() as door:
                if door.connect_ex(("127.0.0.1", port)) == 0:
                    return f"http://127.0.0.1:{port}"
            time.sleep(0.1)
        self.fail((self.place / "radicale.log").read_text())
