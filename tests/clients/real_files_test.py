"""Files that other programs wrote, through a device and back. The environment variable KEZ_REAL_DATA may name a folder
of more of them, as a developer has."""

import os
import pathlib
import re
import sys

TESTS = pathlib.Path(__file__).parents[1]
sys.path[:0] = [str(TESTS / "cli"), str(TESTS / "partner")]

import independent_reader  # noqa: E402
import real_items  # noqa: E402
from command import PARTLY, CommandTest  # noqa: E402

SOURCES = [TESTS / "data/real", *filter(None, [os.environ.get("KEZ_REAL_DATA")])]

# The properties whose values a device holds, by what they are compared as.
TEXTS = {"SUMMARY", "LOCATION", "DESCRIPTION", "TITLE", "NOTE"}
MANY = {"TEL", "EMAIL", "URL"}
# What an edit of a subject or of a last name may touch.
EVENT_LINES = {"SUMMARY", "DTSTAMP", "LAST-MODIFIED", "SEQUENCE"}
CARD_LINES = {"N", "FN", "REV", "X-EVOLUTION-FILE-AS", "X-FILE-AS", "SORT-STRING"}


def properties(data):
    """(component, name, value) of each property, in a reading that shares nothing with the partner's."""
    path, found = [], []
    for line in independent_reader.logical_lines(data):
        shown = independent_reader.describe(line)
        if shown is None:
            continue
        _, name, _, value = shown.split("|", 3)
        if name == "BEGIN":
            path.append(value.strip().upper())
        elif name == "END":
            path = path[:-1]
        elif path:
            found.append((path[-1], name, value))
    return found


def plain(value):
    value = re.sub(r"\\([nN,;:\\])", lambda match: "\n" if match[1] in "nN" else match[1], value.replace("<LF>", "\n"))
    return re.sub(r"\s+", " ", value).strip()


def values(data, names, component=None):
    return {
        (name, plain(value).removeprefix("tel:"))
        for where, name, value in properties(data)
        if name in names and plain(value) and (component is None or where == component)
    }


class RealFiles(CommandTest):
    def setUp(self):
        super().setUp()
        self.init()
        self.count = real_items.fill(self.folder, SOURCES)
        self.before = {path.name: path.read_bytes() for path in self.folder.iterdir()}
        self.assertGreater(self.count, 50)

    def partly(self, *words):
        """What a command says of which some of the items are refused."""
        return self.json(*words, code=PARTLY)

    def sync_all(self):
        return self.partly("sync", self.folder)

    def changed_files(self):
        return [name for name, text in self.before.items() if (self.folder / name).read_bytes() != text]

    def test_a_folder_of_them_reaches_a_device_or_says_why_not_and_is_not_touched(self):
        done = self.sync_all()
        summary = done["summary"]
        kept = [item for item in done["items"] if "problem" in item]
        self.assertEqual(summary["failed"], 0, [item["problem"] for item in kept if item["outcome"] == "failed"])
        self.assertEqual(summary["sent"] + summary["unresolved"], self.count)
        for item in kept:
            self.assertGreater(len(item["problem"]["text"]), 12, item)
            self.assertTrue(item.get("file") or item["problem"].get("where"), item)
        self.assertGreater(summary["sent"], self.count // 2)
        self.assertEqual(self.changed_files(), [])

        again = self.sync_all()["summary"]
        self.assertEqual((again["sent"], again["received"], again["unchanged"]), (0, 0, summary["sent"]))
        self.assertEqual(self.changed_files(), [])

    def test_the_device_has_every_value_or_it_was_said_which_stays_behind(self):
        done = self.sync_all()
        copy = self.place / "copy"
        self.run_command("export", copy)
        sent = [item for item in done["items"] if item["outcome"] == "sent"]
        held = {}
        for item in self.json("list"):
            held[item["oid"]] = " \n".join(value for value in item["fields"].values() if isinstance(value, str))
        for item in sent:
            text = re.sub(r"\s+", " ", held[item["oid"]])
            said = re.sub(r"\s+", " ", " ".join(item.get("notes", [])))
            component = None if item["type"] == "contact" else "VTODO" if item["type"] == "task" else "VEVENT"
            data = self.before[item["file"]]
            if data.upper().count(b"BEGIN:VCARD") > 1 or data.upper().count(b"BEGIN:VEVENT") > 1:
                continue  # of cards within cards, and of changed occurrences
            for name, value in values(data, TEXTS | MANY, component):
                isTold = value in said or f"no field for" in said and name in said or f"another {name}" in said
                isCut = f"{self.field(name)} has" in said
                if value not in text and not isTold and not isCut:
                    self.fail(f"{item['file']}: {name} {value[:200]!r} is not on the device:\n{text[:800]}\n{said}")

    @staticmethod
    def field(name):
        return {"DESCRIPTION": "Body", "NOTE": "Body", "SUMMARY": "Subject", "LOCATION": "Location"}.get(name, name)

    def test_an_edit_on_the_device_changes_the_lines_of_its_field_and_no_others(self):
        sent = [item for item in self.sync_all()["items"] if item["outcome"] == "sent"]
        for item in sent:
            field = "LastName" if item["type"] == "contact" else "Subject"
            self.run_command("set", item["oid"], f"{field}=Changed in a test")
        done = self.sync_all()["summary"]
        self.assertEqual((done["received"], done["failed"]), (len(sent), 0))
        for item in sent:
            text = (self.folder / item["file"]).read_bytes()
            self.assertIn("Changed in a test", text.decode("utf-8", "replace").replace("\r\n ", "").replace("\n ", ""))
            old, new = properties(self.before[item["file"]]), properties(text)
            allowed = CARD_LINES if item["type"] == "contact" else EVENT_LINES
            for lines in ([line for line in old if line not in new], [line for line in new if line not in old]):
                self.assertLessEqual({name for _, name, _ in lines}, allowed, item["file"])
        again = self.sync_all()["summary"]
        self.assertEqual((again["sent"], again["received"], again["unchanged"]), (0, 0, len(sent)))

    def test_what_is_imported_makes_files_that_say_the_same(self):
        source, self.folder = self.folder, self.place / "new"
        imported = self.partly("import", source)
        self.assertEqual(len({item["file"] for item in imported}), self.count)
        done = self.json("sync", self.folder)
        entered = {item["oid"]: item for item in imported if "oid" in item}
        self.assertEqual((done["summary"]["received"], done["summary"]["failed"]), (len(entered), 0))
        for item in done["items"]:
            origin = entered[item["oid"]]
            old = self.before[pathlib.Path(origin["file"]).name]
            new = (self.folder / item["file"]).read_bytes()
            said = " ".join(origin["notes"])
            component = None if item["type"] == "contact" else "VTODO" if item["type"] == "task" else "VEVENT"
            for name, value in values(new, TEXTS | MANY, component) - values(old, TEXTS | MANY, component):
                known = re.sub(r"\s+", " ", " ".join(plain(text) for _, _, text in properties(old)))
                self.assertTrue(value in known or f"{self.field(name)} has" in said, f"{origin}: {name} {value!r}")
        again = self.json("sync", self.folder)["summary"]
        self.assertEqual((again["sent"], again["received"], again["unchanged"]), (0, 0, len(entered)))
