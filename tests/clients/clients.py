"""The programs that people keep such folders with, on folders of a test: khard, khal, todoman, vdirsyncer."""

import pathlib
import shutil
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "cli"))
from command import CommandTest  # noqa: E402

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
