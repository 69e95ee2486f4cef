"""--conflict newest: who changed an item last wins, where that is known."""

from command import *

HOUR = 3600


class Newest(CommandTest):
    def setUp(self):
        super().setUp()
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether")
        self.sync()

    def dispute(self, *more, at=None):
        """Both sides say another title; the file was written so many seconds from now."""
        self.edit("Ada Lovelace", "END:VCARD", "".join(f"{line}\r\n" for line in ("TITLE:Countess", *more)) + "END:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.date(at)

    def date(self, at, name="Ada Lovelace"):
        if at is not None:
            path = self.file(name)
            moment = path.stat().st_mtime + at
            os.utime(path, (moment, moment))

    def works(self):
        return sorted(i["fields"]["JobTitle"] for i in self.json("list") if "JobTitle" in i["fields"])

    def outcome(self, *words, code=DONE):
        """What each is left with, and what the report tells."""
        report = self.sync("--conflict", "newest", *words, code=code)
        item = next(item for item in report["items"] if item["title"] == "Ada Lovelace")
        return self.works(), " ".join(item.get("notes", [])) + item.get("problem", {}).get("text", "")

    def test_the_folder_wins_whose_file_is_newer(self):
        self.dispute(at=HOUR)
        works, told = self.outcome()
        self.assertEqual(works, ["Countess"])
        self.assertRegex(told, r"the folder's value was taken: the folder's is newer, of 20\d\d-.* and not 20\d\d-")

    def test_the_device_wins_that_changed_after_the_file(self):
        self.dispute(at=-HOUR)
        works, told = self.outcome()
        self.assertEqual(works, ["Programmer"])
        self.assertIn("the device's value was taken: the device's is newer, of 20", told)
        self.assertIn("TITLE:Programmer", self.file("Ada Lovelace").read_text())

    def test_times_are_told_by_the_devices_clock(self):
        self.dispute("REV:20300702T100000Z")
        self.assertIn("2030-07-02 12:00:00 and not", self.outcome()[1])

    def test_a_file_that_tells_a_new_time_of_change_is_believed(self):
        self.edit("Ada Lovelace", re.search("REV:.*", self.file("Ada Lovelace").read_text())[0], "REV:20010101T100000Z")
        self.dispute(at=HOUR)
        self.assertEqual(self.outcome()[0], ["Programmer"])

    def test_a_time_in_the_file_that_was_there_before_says_nothing(self):
        self.edit("Ada Lovelace", re.search("REV:.*", self.file("Ada Lovelace").read_text())[0], "REV:20010101T100000Z")
        self.sync()
        self.dispute(at=HOUR)
        self.assertEqual(self.outcome()[0], ["Countess"])

    def test_the_last_change_counts_on_the_device(self):
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "Department=First")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.assertEqual(self.outcome()[0], ["Programmer"])

    def test_what_the_other_partnership_brought_counts_as_changed_then(self):
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        [path] = [path for path in other.glob("*.vcf") if "FN:Ada" in path.read_text()]
        path.write_text(path.read_text().replace("END:VCARD", "TITLE:Programmer\nEND:VCARD"))
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.json("sync", other, "--partner", 2)
        self.assertEqual(self.outcome()[0], ["Programmer"])

    def test_a_deletion_on_the_device_has_a_time(self):
        for at, line, left in ((HOUR, "TITLE:Countess", 3), (-HOUR, "NOTE:later", 2)):
            self.edit("Ada Lovelace", "END:VCARD", f"{line}\r\nEND:VCARD")
            self.run_command("delete", self.oid("Ada Lovelace"))
            self.date(at)
            _, told = self.outcome()
            self.assertIn("deleted on the device, but changed in the folder: the ", told)
            self.assertEqual((len(self.titles()), len(list(self.folder.glob("*.vcf")))), (left, left))

    def test_a_deleted_file_has_none_and_waits(self):
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.file("Ada Lovelace").unlink()
        works, told = self.outcome(code=PARTLY)
        self.assertIn("it is not known when the file was deleted", told)
        self.assertEqual(works, ["Programmer"])

    def test_both_are_kept_where_the_device_does_not_know(self):
        self.dispute(at=HOUR)
        volume = sqlite3.connect(self.device / "KezDBNotify.vol")
        for (table,) in volume.execute("SELECT name FROM sqlite_master WHERE name LIKE 'attachments_%' AND type = 'table'").fetchall():
            volume.execute(f"DELETE FROM {table}")
        volume.commit()
        volume.close()
        works, told = self.outcome()
        self.assertEqual(works, ["Countess", "Programmer"])
        self.assertIn("kept as a second item: it is not known when the device changed it", told)

    def test_the_plan_decides_alike(self):
        self.dispute(at=HOUR)
        before = tree(self.device), tree(self.folder)
        self.assertIn("the folder's is newer", self.out("sync", self.folder, "--dry-run", "--conflict", "newest"))
        self.assertEqual((tree(self.device), tree(self.folder)), before)

    def test_of_a_calendar_the_item_tells_and_not_its_zone(self):
        event = "\r\n".join(
            ["BEGIN:VCALENDAR", "VERSION:2.0", "BEGIN:VTIMEZONE", "TZID:X", "LAST-MODIFIED:20400101T000000Z",
             "BEGIN:STANDARD", "DTSTART:19700101T000000", "TZOFFSETFROM:+0100", "TZOFFSETTO:+0100", "END:STANDARD",
             "END:VTIMEZONE", "BEGIN:VEVENT", "UID:talk", "SUMMARY:Talk", "LAST-MODIFIED:20260101T000000Z",
             "DTSTART;TZID=X:20260302T100000", "DTEND;TZID=X:20260302T110000", "END:VEVENT", "END:VCALENDAR", ""]
        )
        path = self.write("folder/talk.ics", event)
        self.sync()
        for said, location in (("20000101T000000Z", "Device"), ("20350101T000000Z", "Folder 20350101T000000Z")):
            text = re.sub("LOCATION:.*\r\n", "", path.read_bytes().decode())
            text = re.sub("LAST-MODIFIED:20(26|00).*", f"LAST-MODIFIED:{said}\r\nLOCATION:Folder {said}", text)
            path.write_bytes(text.encode())
            self.run_command("set", self.oid("Talk (2026-03-02 10:00)"), "Location=Device")
            self.sync("--conflict", "newest")
            self.assertEqual(self.fields("Talk (2026-03-02 10:00)")["Location"], location)
