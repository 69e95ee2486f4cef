"""What other programs show of a synchronised folder, and what they change in it."""

import re
import unittest

from clients import ClientTest
from command import card


def event(uid, *lines):
    return ["BEGIN:VEVENT", f"UID:{uid}", "DTSTAMP:20260101T000000Z", *lines, "END:VEVENT"]


def calendar(*components):
    lines = ["BEGIN:VCALENDAR", "VERSION:2.0", "PRODID:-//example//own//EN"]
    return "\r\n".join([*lines, *(line for component in components for line in component), "END:VCALENDAR", ""])


BERLIN = "TZID=Europe/Berlin"

# What people have in their calendars, one file each.
CALENDAR = {
    "weekly": calendar(
        event(
            "weekly",
            "SUMMARY:Weekly planning",
            "LOCATION:Room 12",
            f"DTSTART;{BERLIN}:20260302T100000",
            f"DTEND;{BERLIN}:20260302T110000",
            "RRULE:FREQ=WEEKLY;COUNT=8",
            f"EXDATE;{BERLIN}:20260316T100000",
        ),
        event(
            "weekly",
            f"RECURRENCE-ID;{BERLIN}:20260309T100000",
            "SUMMARY:Weekly planning\\, later",
            "LOCATION:Room 7",
            f"DTSTART;{BERLIN}:20260310T140000",
            f"DTEND;{BERLIN}:20260310T143000",
        ),
    ),
    "daily": calendar(
        event(
            "daily",
            "SUMMARY:Standup",
            f"DTSTART;{BERLIN}:20260323T091500",
            "DURATION:PT15M",
            "RRULE:FREQ=DAILY;UNTIL=20260401T071500Z;BYDAY=MO,TU,WE,TH,FR",
        )
    ),
    "last-friday": calendar(
        event(
            "last-friday",
            "SUMMARY:Drinks",
            f"DTSTART;{BERLIN}:20260130T180000",
            f"DTEND;{BERLIN}:20260130T200000",
            "RRULE:FREQ=MONTHLY;BYDAY=-1FR",
        )
    ),
    "month-end": calendar(
        event(
            "month-end",
            "SUMMARY:Invoices",
            "DTSTART;VALUE=DATE:20260131",
            "RRULE:FREQ=MONTHLY;BYMONTHDAY=-1",
        )
    ),
    "birthday": calendar(
        event("birthday", "SUMMARY:Emmy's birthday", "DTSTART;VALUE=DATE:20200323", "RRULE:FREQ=YEARLY")
    ),
    "listed": calendar(
        event(
            "listed",
            "SUMMARY:Rehearsal",
            f"DTSTART;{BERLIN}:20260303T190000",
            f"DTEND;{BERLIN}:20260303T210000",
            f"RDATE;{BERLIN}:20260306T190000,20260311T190000",
            f"RDATE;{BERLIN}:20260325T190000",
        )
    ),
    "journey": calendar(
        event(
            "journey",
            "SUMMARY:Journey to Göttingen",
            "DTSTART;VALUE=DATE:20260304",
            "DTEND;VALUE=DATE:20260307",
            "DESCRIPTION:Take\\nthe papers",
            "CATEGORIES:Travel,Work",
        )
    ),
    "call": calendar(
        event(
            "call",
            "SUMMARY:Call with Grace",
            "DTSTART;TZID=America/New_York:20260312T090000",
            "DTEND;TZID=America/New_York:20260312T093000",
            "BEGIN:VALARM",
            "ACTION:DISPLAY",
            "DESCRIPTION:Call",
            "TRIGGER:-PT10M",
            "END:VALARM",
        )
    ),
    "utc": calendar(event("utc", "SUMMARY:Eclipse", "DTSTART:20260312T200000Z", "DTEND:20260312T211500Z")),
}
TASKS = {
    "letter": calendar(
        [
            "BEGIN:VTODO",
            "UID:letter",
            "DTSTAMP:20260101T000000Z",
            "SUMMARY:Answer the letter",
            "DUE;VALUE=DATE:20260320",
            "PRIORITY:1",
            "STATUS:NEEDS-ACTION",
            "END:VTODO",
        ]
    ),
    "proof": calendar(
        [
            "BEGIN:VTODO",
            "UID:proof",
            "DTSTAMP:20260101T000000Z",
            "SUMMARY:Check the proof",
            "DTSTART;VALUE=DATE:20260301",
            "DUE;VALUE=DATE:20260310",
            "END:VTODO",
        ]
    ),
}
ADA = card(
    "Ada Lovelace",
    "TEL;TYPE=CELL:+44 7700 900001",
    "TEL;TYPE=HOME,VOICE:+44 20 7946 0001",
    "EMAIL;TYPE=INTERNET,PREF:ada@engines.example",
    "ADR;TYPE=HOME:;;12 St James's Square;London;;SW1Y 4JH;United Kingdom",
    "ORG:Analytical Engines;Notes",
    "TITLE:Programmer",
    "URL:https://engines.example",
    "CATEGORIES:Friends,Engines",
    "NOTE:Likes\\nnumbers",
    "BDAY:1915-12-10",
    uid="ada",
)


class Khal(ClientTest):
    MONTHS = ["2026-03-01", "60d"]

    def setUp(self):
        super().setUp()
        self.init()
        self.source = self.place / "source"
        for name, text in CALENDAR.items():
            self.write(f"source/{name}.ics", text)
        self.shown = self.events(self.source, *self.MONTHS)

    def test_shows_what_was_entered_on_the_device_as_it_shows_the_source(self):
        self.assertEqual(sum("Weekly planning" in line for line in self.shown), 7)
        self.run_command("import", self.source)
        self.assertEqual(self.sync()["summary"]["received"], len(CALENDAR))
        self.assertEqual(self.events(self.folder, *self.MONTHS), self.shown)

    def test_shows_a_folder_as_before_once_a_device_has_it(self):
        before = {path.name: path.read_bytes() for path in self.source.iterdir()}
        done = self.json("sync", self.source)["summary"]
        self.assertEqual((done["sent"], done["failed"], done["unresolved"]), (len(CALENDAR), 0, 0))
        done = self.json("sync", self.source)["summary"]
        self.assertEqual((done["sent"], done["received"], done["unchanged"]), (0, 0, len(CALENDAR)))
        self.assertEqual({name: (self.source / name).read_bytes() for name in before}, before)
        # What the device holds, seen in a copy of it: an occurrence of its own is shown there as a deleted one.
        copy = self.place / "copy"
        self.run_command("export", copy)
        self.assertEqual(
            self.events(copy, *self.MONTHS), [line for line in self.shown if "Weekly planning, later" not in line]
        )

    def test_what_it_makes_and_changes_comes_onto_the_device(self):
        self.json("sync", self.source)
        self.khal(
            self.source,
            *["new", "2026-03-05", "10:00", "11:00", "Lunch with Ada :: bring the cards"],
            *["-l", "Mensa", "-g", "Food,Fun", "-m", "15m"],
        )
        self.khal(self.source, "new", "-r", "weekly", "-u", "2026-04-30", "2026-03-03", "20:00", "21:00", "Choir")
        self.khal(
            self.source,
            *["edit", "--show-past", "Göttingen"],
            given="s\nJourney to Bologna\nl\nBologna\nq\n",
        )
        done = self.json("sync", self.source)
        self.assertEqual((done["summary"]["sent"], done["summary"]["failed"]), (3, 0), done["items"])

        lunch = self.item("Lunch with Ada")["fields"]
        self.assertEqual(
            {name: lunch[name] for name in ("Duration", "Location", "Body", "Categories", "ReminderSet")},
            {
                "Duration": "60",
                "Location": "Mensa",
                "Body": "bring the cards",
                "Categories": "Food, Fun",
                "ReminderSet": "1",
            },
        )
        choir = self.item("Choir")["fields"]
        self.assertEqual((choir["RecurrenceType"], choir["PatternEndDate"][:10]), ("1", "2026-04-29"))
        journey = self.item("Journey to Bologna")["fields"]
        self.assertEqual((journey["Location"], journey["Body"], journey["Duration"]), ("Bologna", "Take\nthe papers", "4320"))

    def test_a_deleted_event_is_deleted_on_the_device(self):
        self.json("sync", self.source)
        self.khal(self.source, "edit", "--show-past", "Eclipse", given="D\ny\n")
        self.assertFalse((self.source / "utc.ics").exists())
        self.assertEqual(self.json("sync", self.source)["summary"]["deletedOnDevice"], 1)
        self.assertNotIn("Eclipse", " ".join(self.titles()))

    def test_shows_what_was_changed_on_the_device(self):
        self.json("sync", self.source)
        self.run_command("set", self.item("Call with Grace")["oid"], "Start=2026-03-12 15:00:00", "Location=Lobby")
        self.assertEqual(self.json("sync", self.source)["summary"]["received"], 1)
        shown = self.events(self.source, *self.MONTHS)
        changed = [line for line in shown if line not in self.shown]
        self.assertEqual(len(changed), 1, changed)
        self.assertRegex(changed[0], r"^2026-03-12 15:00 2026-03-12 15:30 Call with Grace \| Lobby")
        self.assertIn("DTSTART;TZID=America/New_York:20260312T100000", (self.source / "call.ics").read_text())


class Khard(ClientTest):
    def setUp(self):
        super().setUp()
        self.init()
        self.write("folder/ada.vcf", ADA)
        self.write("folder/grace.vcf", card("Grace Hopper", "TEL;TYPE=WORK,VOICE:+1 703 555 0143", uid="grace"))

    def test_shows_on_a_copy_of_the_device_what_it_shows_on_the_folder(self):
        shown = self.people_of(self.folder)
        self.assertEqual(sorted(shown), ["Ada Lovelace", "Grace Hopper"])
        self.sync()
        self.assertEqual(self.people_of(self.folder), shown)
        copy = self.place / "copy"
        self.run_command("export", copy)
        self.assertEqual([name for name in self.people_of(copy)], sorted(shown))
        for fact in ("+44 7700 900001", "ada@engines.example", "12 St James's Square", "Programmer", "Analytical Engines"):
            self.assertIn(fact, " ".join(self.people_of(copy)["Ada Lovelace"]))

    def test_what_it_makes_and_changes_comes_onto_the_device(self):
        self.sync()
        new = self.write(
            "alan.yaml",
            'First name: Alan\nLast name: Turing\nPhone:\n    home: "+44 161 496 0002"\nOrganisation: Machines\n',
        )
        self.khard(self.folder, "new", "-a", "own", "-i", new)
        shown = self.khard(self.folder, "show", "--format", "yaml", "Ada")
        edited = self.write("ada.yaml", shown.replace("900001", "900999").replace("Programmer", "Countess"))
        self.khard(self.folder, "edit", "-i", edited, "Ada", given="y\n")
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"], done["failed"]), (2, 0, 0))
        alan = self.fields("Alan Turing")
        self.assertEqual((alan["HomeTelephoneNumber"], alan["CompanyName"]), ("+44 161 496 0002", "Machines"))
        ada = self.fields("Ada Lovelace")
        self.assertEqual((ada["MobileTelephoneNumber"], ada["JobTitle"]), ("+44 7700 900999", "Countess"))
        self.assertEqual((ada["Body"], ada["Birthday"][:10]), ("Likes\nnumbers", "1915-12-10"))

    def test_somebody_it_removes_is_deleted_on_the_device(self):
        self.sync()
        self.khard(self.folder, "remove", "--force", "Grace")
        self.assertEqual(self.sync()["summary"]["deletedOnDevice"], 1)
        self.assertEqual(self.titles(), ["Ada Lovelace"])


class Todoman(ClientTest):
    def setUp(self):
        super().setUp()
        self.init()
        self.source = self.place / "source"
        for name, text in TASKS.items():
            self.write(f"source/{name}.ics", text)

    def test_lists_what_was_entered_on_the_device_as_it_lists_the_source(self):
        shown = self.tasks(self.source)
        self.assertEqual(len(shown), 2)
        self.run_command("import", self.source)
        self.sync()
        self.assertEqual(self.tasks(self.folder), shown)

    def test_what_it_makes_and_changes_comes_onto_the_device(self):
        self.json("sync", self.source)
        self.todoman(self.source, "new", "-l", "source", "--due", "2026-04-02", "--priority", "high", "Write to Alan")
        numbers = {
            re.sub(r".*\d{4}-\d\d-\d\d ", "", line).strip(): line.split()[2 if line.startswith("[ ]") else 1]
            for line in self.todoman(self.source, "list").splitlines()
        }
        number = next(number for text, number in numbers.items() if "Answer" in text)
        self.todoman(self.source, "done", number)
        number = next(number for text, number in numbers.items() if "Check" in text)
        self.todoman(self.source, "edit", number, "--due", "2026-03-13")
        done = self.json("sync", self.source)
        self.assertEqual((done["summary"]["sent"], done["summary"]["failed"]), (3, 0), done["items"])
        self.assertEqual(self.item("Answer the letter")["fields"]["Complete"], "1")
        self.assertEqual(self.item("Check the proof")["fields"]["DueDate"][:10], "2026-03-13")
        self.assertEqual(
            (self.item("Write to Alan")["fields"]["DueDate"][:10], self.item("Write to Alan")["fields"]["Importance"]),
            ("2026-04-02", "2"),
        )

    def test_lists_as_done_what_was_done_on_the_device(self):
        self.json("sync", self.source)
        self.run_command("set", self.item("Answer the letter")["oid"], "Complete=1")
        self.json("sync", self.source)
        self.assertEqual([line[:3] for line in self.tasks(self.source) if "letter" in line], ["[X]"])


class Vdirsyncer(ClientTest):
    def test_takes_our_files_to_another_folder_and_finds_nothing_to_do_the_second_time(self):
        self.init()
        for name, text in {**CALENDAR, **TASKS}.items():
            self.write(f"source/{name}.ics", text)
        self.run_command("import", self.place / "source", self.write("people.vcf", ADA + card("Grace Hopper")))
        self.sync()
        for extension, count in ((".ics", len(CALENDAR) + len(TASKS)), (".vcf", 2)):
            there = self.place / f"there{extension}"
            self.vdirsyncer(self.folder, there, extension)
            theirs = sorted(path.read_bytes() for path in there.glob(f"*{extension}"))
            self.assertEqual(theirs, sorted(path.read_bytes() for path in self.folder.glob(f"*{extension}")))
            self.assertEqual(len(theirs), count)
            self.assertNotRegex(self.vdirsyncer(self.folder, there, extension), "(?i)copying|deleting|updating|item")
        # And after it, a device finds nothing that changed.
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"], done["unchanged"]), (0, 0, len(CALENDAR) + len(TASKS) + 2))

    def test_carries_changes_of_the_device_on_and_those_of_the_other_side_back(self):
        self.people("Ada Lovelace", "Grace Hopper")
        self.sync()
        there = self.place / "there"
        self.vdirsyncer(self.folder, there, ".vcf")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.sync()
        grace = next(path for path in there.glob("*.vcf") if "Grace" in path.read_text())
        grace.write_text(grace.read_text().replace("END:VCARD", "TITLE:Admiral\nEND:VCARD"))
        self.vdirsyncer(self.folder, there, ".vcf")
        self.assertIn("TITLE:Countess", " ".join(path.read_text() for path in there.glob("*.vcf")))
        self.sync()
        self.assertEqual(self.fields("Grace Hopper")["JobTitle"], "Admiral")


if __name__ == "__main__":
    unittest.main()
