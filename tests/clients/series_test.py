"""A weekly series with a deleted and a changed occurrence, edited on either side: what the other side then has."""

import re

from clients import ClientTest

ZONE = "TZID=America/New_York"
MASTER = [
    "BEGIN:VEVENT",
    "UID:weekly",
    "SUMMARY:Seminar",
    "X-OWN:kept",
    f"DTSTART;{ZONE}:20260302T100000",
    f"DTEND;{ZONE}:20260302T110000",
    "RRULE:FREQ=WEEKLY;COUNT=6",
    f"EXDATE;{ZONE}:20260316T100000",
    "END:VEVENT",
]
CHANGED = [
    "BEGIN:VEVENT",
    "UID:weekly",
    f"RECURRENCE-ID;{ZONE}:20260309T100000",
    "SUMMARY:Seminar in the garden",
    "X-OWN:also kept",
    f"DTSTART;{ZONE}:20260309T150000",
    f"DTEND;{ZONE}:20260309T160000",
    "END:VEVENT",
]
NOTHING = {"sent": 0, "received": 0, "merged": 0, "unresolved": 0, "failed": 0, "unchanged": 1}


def text(*components):
    lines = ["BEGIN:VCALENDAR", "VERSION:2.0", *(line for component in components for line in component)]
    return "\r\n".join([*lines, "END:VCALENDAR", ""])


class Series(ClientTest):
    ORIGINAL = text(MASTER, CHANGED)

    def setUp(self):
        super().setUp()
        self.environment["TZ"] = "America/New_York"
        self.run_command("init", self.device, "--time-zone", "America/New_York", "--quiet")
        self.path = self.write("folder/weekly.ics", self.ORIGINAL)
        self.assertEqual(self.sync()["summary"]["sent"], 1)
        self.assertEqual(self.deleted(), ["2026-03-09", "2026-03-16"])
        self.settled(self.ORIGINAL)

    def deleted(self):
        return re.findall(r"\d{4}-\d\d-\d\d", self.item("Seminar")["fields"].get("ExceptionDates", ""))

    def settled(self, wanted=None):
        """Another synchronisation has nothing to do, and the file says what it should."""
        summary = self.sync()["summary"]
        self.assertEqual({name: summary[name] for name in NOTHING}, NOTHING)
        if wanted is not None:
            self.assertEqual(self.path.read_bytes().decode(), wanted)

    def set(self, *fields):
        self.run_command("set", self.item("Seminar")["oid"], *fields)
        return self.sync()

    def test_a_text_changed_on_the_device_leaves_its_occurrences_alone(self):
        self.assertEqual(self.set("Location=Room 7")["summary"]["received"], 1)
        self.settled(self.ORIGINAL.replace("END:VEVENT", "LOCATION:Room 7\r\nEND:VEVENT", 1))

    def test_a_deleted_date_more_in_the_file_is_deleted_on_the_device(self):
        wanted = self.ORIGINAL.replace("20260316T100000", "20260316T100000,20260323T100000", 1)
        self.path.write_bytes(wanted.encode())
        self.assertEqual(self.sync()["summary"]["sent"], 1)
        self.assertEqual(self.deleted(), ["2026-03-09", "2026-03-16", "2026-03-23"])
        self.settled(wanted)

    def test_a_changed_occurrence_changed_again_in_the_file_is_left_as_it_is(self):
        wanted = self.ORIGINAL.replace("in the garden", "on the roof").replace("20260309T15", "20260310T15")
        self.path.write_bytes(wanted.encode())
        self.sync()
        self.assertEqual(self.deleted(), ["2026-03-09", "2026-03-16"])
        self.settled(wanted)

    def test_one_more_changed_occurrence_in_the_file_is_shown_as_deleted_on_the_device(self):
        more = [line.replace("20260309", "20260330").replace("garden", "cellar") for line in CHANGED]
        wanted = text(MASTER, CHANGED, more)
        self.path.write_bytes(wanted.encode())
        self.assertEqual(self.sync()["summary"]["sent"], 1)
        self.assertEqual(self.deleted(), ["2026-03-09", "2026-03-16", "2026-03-30"])
        self.settled(wanted)

    def test_a_changed_occurrence_taken_out_of_the_file_stays_out(self):
        wanted = text(MASTER)
        self.path.write_bytes(wanted.encode())
        notes = " ".join(note for item in self.sync()["items"] for note in item.get("notes", []))
        self.assertIn("a device does not bring back occurrences that were deleted", notes)
        self.settled(wanted)

    def test_a_deleted_date_taken_out_of_the_file_stays_out(self):
        wanted = self.ORIGINAL.replace(f"EXDATE;{ZONE}:20260316T100000\r\n", "")
        self.path.write_bytes(wanted.encode())
        notes = " ".join(note for item in self.sync()["items"] for note in item.get("notes", []))
        self.assertIn("a device does not bring back occurrences that were deleted", notes)
        self.settled(wanted)

    def test_both_sides_edited_are_merged_and_keep_the_changed_occurrence(self):
        self.path.write_bytes(self.ORIGINAL.replace("20260316T100000", "20260316T100000,20260323T100000", 1).encode())
        self.assertEqual(self.set("Subject=Seminar II")["summary"]["merged"], 1)
        shown = self.path.read_bytes().decode()
        for line in ("SUMMARY:Seminar II", "20260316T100000,20260323T100000", "SUMMARY:Seminar in the garden"):
            self.assertIn(line, shown)
        self.settled(shown)

    def test_the_end_changed_on_the_device_keeps_what_lies_before_it(self):
        self.assertEqual(self.set("RecurrenceType=1", "PatternEndDate=2026-03-31")["summary"]["received"], 1)
        shown = self.path.read_bytes().decode()
        self.assertIn("RRULE:FREQ=WEEKLY;UNTIL=20260331T140000Z\r\n", shown)
        self.settled(shown)

    def test_moved_on_the_device_the_series_keeps_its_zone_and_its_changed_occurrence(self):
        self.assertEqual(self.set("Start=2026-03-02 11:30:00")["summary"]["received"], 1)
        shown = self.path.read_bytes().decode()
        self.assertIn(f"DTSTART;{ZONE}:20260302T113000\r\n", shown)
        self.assertIn("SUMMARY:Seminar in the garden", shown)
        self.assertIn(f"RECURRENCE-ID;{ZONE}:20260309T113000\r\n", shown)
        self.settled(shown)

    def test_another_partnership_gets_the_changes_of_this_one(self):
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        self.path.write_bytes(self.ORIGINAL.replace("20260316T100000", "20260316T100000,20260323T100000", 1).encode())
        self.sync()
        self.assertEqual(self.json("sync", other, "--partner", 2)["summary"]["received"], 1)
        shown = "".join(path.read_text() for path in other.glob("*.ics"))
        self.assertEqual(
            sorted(re.findall(r"EXDATE;TZID=America/New_York:(\d{8})", shown)), ["20260309", "20260316", "20260323"]
        )


class EnteredSeries(ClientTest):
    def test_a_changed_occurrence_of_the_device_is_kept_when_it_lists_the_date_as_deleted(self):
        self.run_command("init", self.device, "--time-zone", "America/New_York", "--quiet")
        self.run_command("import", self.write("weekly.ics", text(MASTER, CHANGED)))
        self.assertEqual(self.sync()["summary"]["received"], 1)
        (path,) = self.folder.glob("*.ics")
        first = path.read_bytes()
        self.assertIn(b"SUMMARY:Seminar in the garden", first)
        for turn in range(2):
            self.run_command("set", self.item("Seminar")["oid"], f"Location=Room {turn}")
            self.assertEqual(self.sync()["summary"]["received"], 1)
            self.assertIn(b"SUMMARY:Seminar in the garden", path.read_bytes())
            self.assertEqual(self.sync()["summary"]["unchanged"], 1)
