"""Devices and folders that were broken on purpose: the doctor finds each defect by name, changes nothing while it
looks, and what it repairs loses nothing."""

import contextlib
import struct

from command import *

CHANGED, DELETED = 1, 2
ITEM, FIRST, SECOND = 0x00010013, 0xFFFD0013, 0xFFFE0013  # properties of a change record


def properties(record):
    """The properties of a record of numbers."""
    return dict(struct.iter_unpack("<II", record))


def record(values):
    return b"".join(struct.pack("<II", *entry) for entry in sorted(values.items()))


class DoctorTest(CommandTest):
    NAMES = ["Ada Lovelace", "Alan Turing", "Emmy Noether"]

    def setUp(self):
        super().setUp()
        self.people(*self.NAMES)
        self.sync()

    @contextlib.contextmanager
    def volume(self, name="pim.vol"):
        """A volume to be written to behind the device's back: nothing is noted in its journal."""
        connection = sqlite3.connect(self.device / name)
        triggers = connection.execute("SELECT name, sql FROM sqlite_master WHERE type = 'trigger'").fetchall()
        for trigger, _ in triggers:
            connection.execute(f"DROP TRIGGER {trigger}")
        yield connection
        for _, sql in triggers:
            connection.execute(sql)
        connection.commit()
        connection.close()

    def number_of(self, connection, database):
        return connection.execute("SELECT oid FROM database WHERE name = ?", [database]).fetchone()[0]

    def change_record(self, connection, item):
        """The table, identifier and properties of an item's change record."""
        table = f"records_{self.number_of(connection, chr(92) + 'KEZDeltaA')}"
        for oid, bytes in connection.execute(f"SELECT oid, props FROM {table}"):
            if properties(bytes)[ITEM] == item:
                return table, oid, properties(bytes)
        self.fail(f"no change record of {item}")

    def write_change_record(self, title, **states):
        with self.volume("KezDBNotify.vol") as volume:
            table, oid, values = self.change_record(volume, self.oid(title))
            values.update({{"item": ITEM, "first": FIRST, "second": SECOND}[name]: n for name, n in states.items()})
            volume.execute(f"UPDATE {table} SET props = ? WHERE oid = ?", [record(values), oid])

    def state_file(self):
        [file] = self.folder.glob(".kezsync-*-1.db")
        return file

    @contextlib.contextmanager
    def state(self):
        connection = sqlite3.connect(self.state_file())
        yield connection
        connection.commit()
        connection.close()

    def items(self):
        return {item["oid"]: (item["title"], item["fields"]) for item in self.json("list")}

    def files(self):
        return {path.name: path.read_bytes() for path in self.folder.glob("*.vcf")}

    def findings(self, *words, code=PARTLY):
        """What a look finds, which changes nothing."""
        before = tree(self.place)
        found = self.json("doctor", *words, code=code)
        self.assertEqual(tree(self.place), before)
        self.assertEqual(found["repaired"], 0)
        return found["findings"]

    def codes(self, *words):
        return [finding["code"] for finding in self.findings(*words)]

    def repair(self):
        """What a repair puts right, which is everything that was found."""
        found = self.findings()
        self.assertTrue(all(finding["repairable"] for finding in found), found)
        before = self.items(), self.files()
        done = self.json("doctor", "--repair")
        self.assertEqual((done["remaining"], done["repaired"]), (0, len(done["findings"])), done)
        self.assertEqual([finding["code"] for finding in done["findings"]], [finding["code"] for finding in found])
        self.assertEqual((self.items(), self.files()), before)
        self.assertEqual(self.findings(code=DONE), [])
        return done

    def settle(self):
        """Synchronises twice: the second time has nothing to do, and everybody is on both sides once."""
        done = self.sync()["summary"]
        again = self.sync()["summary"]
        self.assertEqual((again["unchanged"], again["sent"], again["received"]), (len(self.items()), 0, 0))
        self.assertEqual(self.titles(), sorted(set(self.titles())))
        self.assertEqual(len(self.files()), len(self.items()))
        return done


class DoctorHealthy(DoctorTest):
    def test_finds_nothing_wrong(self):
        self.assertEqual(self.findings(code=DONE), [])
        self.assertEqual(self.out("doctor"), "nothing is wrong\n")
        self.assertEqual(self.out("doctor", "--repair"), "nothing is wrong\n")
        self.assertEqual(self.out("doctor", self.folder), "nothing is wrong\n")
        self.assertFalse((self.device / ".kezdoctor").exists())

    def test_finds_nothing_wrong_after_a_busy_life(self):
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        self.assertEqual(self.findings(code=DONE), [])
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.file("Emmy Noether").unlink()
        self.write("folder/new.vcf", card("Grace Hopper", "PHOTO;ENCODING=b;TYPE=JPEG:/9j/4AAQ"))
        self.write("folder/weekly.ics", "\r\n".join(["BEGIN:VCALENDAR", "VERSION:2.0", "BEGIN:VEVENT", "UID:w", "SUMMARY:S",
                   "DTSTART:20260302T100000", "DTEND:20260302T110000", "RRULE:FREQ=WEEKLY", "EXDATE:20260309T100000",
                   "END:VEVENT", "END:VCALENDAR", ""]))
        self.assertEqual(self.findings(code=DONE), [])
        self.sync()
        self.assertEqual(self.findings(code=DONE), [])
        self.run_command("delete", self.oid("Ada Lovelace"))
        self.assertEqual(self.findings(code=DONE), [])
        self.json("sync", other, "--partner", 2)
        self.assertEqual(self.findings(code=DONE), [])
        self.sync()
        self.assertEqual(self.findings(code=DONE), [])
        self.out("undo", self.folder)
        self.assertEqual(self.findings(code=DONE), [])
        self.run_command("purge", "all", "--force")
        self.assertEqual(self.findings(code=DONE), [])
        self.sync("--force")
        self.assertEqual(self.findings(code=DONE), [])

    def test_of_a_new_device_is_well(self):
        new = self.place / "new"
        self.run_command("init", new)
        self.assertEqual(self.out("doctor", "--device", new), "nothing is wrong\n")

    def test_notes_what_waits_and_is_well(self):
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.sync("--conflict", "skip", code=PARTLY)
        self.run_command("delete", self.oid("Alan Turing"))
        self.file("Emmy Noether").unlink()
        with self.state() as state:
            state.execute("INSERT INTO listing VALUES (1)")
        (self.device / ".kezundo" / "1.begun").mkdir()
        notes = self.json("doctor")["notes"]
        self.assertEqual(
            [(note["code"], note.get("item")) for note in notes],
            [
                ("sync-interrupted", None),
                ("gone-on-device", "Alan Turing"),
                ("gone-in-folder", "Emmy Noether"),
                ("conflict-waits", "Ada Lovelace"),
                ("compares-all", None),
            ],
        )
        text = self.out("doctor")
        self.assertRegex(text, r"note: .*Ada Lovelace: both sides changed JobTitle .*kezsync resolve decides it")
        self.assertTrue(text.endswith("nothing is wrong\n"))
        self.assertEqual(self.out("doctor", "--quiet"), "")

    def test_names_what_it_cannot_work_on(self):
        self.assertIn("device folder", self.error("doctor", "--device", self.folder, code=FAILED))
        self.assertIn("has not been synchronised", self.error("doctor", self.place / "other", code=FAILED))
        for place in (self.device, self.folder):
            with open(place / ".kezsync.lock", "w") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                self.assertIn(str(place), self.error("doctor", code=FAILED))
                self.assertIn(str(place), self.error("doctor", "--repair", code=FAILED))


class DoctorVolumes(DoctorTest):
    def test_counts_again(self):
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute("UPDATE state SET records = 7, bytes = bytes + 1 WHERE database = ?", [number])
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["where"]), ("volume-counters", "pim.vol"))
        self.assertIn("Contacts Database: it counts 7 records", finding["text"])
        self.repair()
        self.settle()

    def test_counters_that_are_missing_are_made(self):
        before = self.items()
        with self.volume() as volume:
            number = self.number_of(volume, "Tasks Database")
            volume.execute("DELETE FROM state WHERE database = ?", [number])
        self.assertEqual(self.codes(), ["volume-counters"])
        self.assertEqual(self.json("doctor", code=PARTLY)["notes"][0]["code"], "change-tables-unreadable")
        self.assertEqual(self.json("doctor", "--repair")["repaired"], 1)
        self.assertEqual(self.items(), before)
        self.settle()

    def test_puts_records_in_their_places(self):
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute(f"UPDATE records_{number} SET key0 = X'00' WHERE oid = ?", [self.oid("Alan Turing")])
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["item"]), ("volume-key", "Alan Turing"))
        self.assertRegex(self.out("doctor", code=PARTLY), r"pim\.vol: Alan Turing: .*; --repair puts it in its place")
        self.repair()
        self.settle()

    def test_makes_a_missing_index(self):
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute(f"DROP INDEX order_{number}_0")
        self.assertEqual(self.codes(), ["volume-index"])
        self.repair()
        self.settle()

    def test_makes_an_index_anew_that_lost_its_rows(self):
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            index = volume.execute("SELECT * FROM sqlite_master WHERE name = ?", [f"order_{number}_0"]).fetchone()
            volume.commit()
            volume.execute("PRAGMA writable_schema = ON")
            volume.execute("DELETE FROM sqlite_master WHERE name = ?", [index[1]])
            volume.commit()
            behind = sqlite3.connect(self.device / "pim.vol")
            key = behind.execute(f"SELECT key0 FROM records_{number} LIMIT 1").fetchone()[0]
            behind.execute(f"UPDATE records_{number} SET key0 = key0 || X'00' WHERE key0 = ?", [key])
            behind.commit()
            behind.close()
            volume.execute("INSERT INTO sqlite_master VALUES (?, ?, ?, ?, ?)", index)
            volume.commit()
        codes = self.codes()
        self.assertEqual((codes.count("volume-key"), set(codes)), (1, {"volume-key", "volume-index"}))
        self.repair()
        self.settle()

    def test_gives_no_identifier_twice(self):
        with self.volume() as volume:
            volume.execute("UPDATE state SET last_number = ? WHERE database = 0", [0x01000000])
        self.assertEqual(self.codes(), ["volume-identifiers"])
        self.repair()
        self.write("folder/new.vcf", card("Grace Hopper"))
        self.settle()
        self.assertEqual(self.titles(), sorted([*self.NAMES, "Grace Hopper"]))

    def test_removes_what_is_attached_to_nothing(self):
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute(
                f"INSERT INTO attachments_{number} (record, kind, key, props, data) VALUES (77, 1, 1, X'', X'')"
            )
        self.assertEqual(self.codes(), ["volume-attachments"])
        self.repair()
        self.settle()

    def test_has_changes_noted_again(self):
        connection = sqlite3.connect(self.device / "pim.vol")
        for (trigger,) in connection.execute("SELECT name FROM sqlite_master WHERE name LIKE 'journal_changed_%'").fetchall():
            connection.execute(f"DROP TRIGGER {trigger}")
        connection.commit()
        connection.close()
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.assertEqual(self.codes(), ["volume-journal"] * 3)
        self.repair()
        self.assertEqual(self.settle()["received"], 1)
        self.assertIn("TITLE:Countess", self.file("Ada Lovelace").read_text())
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.assertEqual(self.settle()["received"], 1)

    def test_a_record_that_cannot_be_read_is_named_and_stays(self):
        oid = self.oid("Alan Turing")
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute(f"UPDATE records_{number} SET props = X'0102' WHERE oid = ?", [oid])
        found = {finding["code"]: finding for finding in self.findings()}
        self.assertEqual(found["volume-record"]["item"], f"oid {oid}")
        self.assertFalse(found["volume-record"]["repairable"])
        left = self.json("doctor", "--repair", code=PARTLY)
        self.assertEqual([f["code"] for f in left["findings"] if not f["repaired"]], ["volume-record"])
        with self.volume() as volume:
            self.assertEqual(volume.execute(f"SELECT count(*) FROM records_{number}").fetchone(), (3,))

    def test_a_volume_of_items_that_is_none_is_left_as_it_is(self):
        (self.device / "pim.vol").write_bytes(b"garbage" * 1000)
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["repairable"]), ("volume-unusable", False))
        self.assertIn(".kezundo", finding["remedy"])
        self.json("doctor", "--repair", code=PARTLY)
        self.assertEqual((self.device / "pim.vol").read_bytes(), b"garbage" * 1000)
        shutil.copy(self.device / ".kezundo/1/pim.vol", self.device / "pim.vol")
        self.json("doctor", "--repair")
        self.settle()

    def test_pages_that_do_not_go_together_are_told(self):
        path = self.device / "pim.vol"
        pages = bytearray(path.read_bytes())
        with self.volume() as volume:
            [page] = volume.execute("SELECT rootpage FROM sqlite_master WHERE name = 'property'").fetchone()
        pages[(page - 1) * 2048 : page * 2048] = bytes(2048)
        path.write_bytes(pages)
        self.assertIn("volume-damaged", self.codes())


class DoctorChangeTables(DoctorTest):
    def test_makes_tables_that_are_missing(self):
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        (self.device / "KezDBNotify.vol").unlink()
        [finding] = self.findings()
        self.assertEqual(finding["code"], "change-tables-missing")
        before = self.files()
        done = self.json("doctor", "--repair")
        self.assertEqual((done["remaining"], self.files()), (0, before))
        self.assertEqual(self.findings(code=DONE), [])
        self.assertEqual(self.settle()["received"], 1)

    def test_makes_tables_anew_that_are_garbage(self):
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        (self.device / "KezDBNotify.vol").write_bytes(b"garbage" * 1000)
        self.assertEqual(self.codes(), ["volume-unusable"])
        done = self.json("doctor", "--repair")
        self.assertEqual((done["remaining"], self.findings(code=DONE)), (0, []))
        copies = pathlib.Path(done["copies"])
        self.assertEqual((copies / "KezDBNotify.vol").read_bytes(), b"garbage" * 1000)
        self.assertEqual(self.settle()["received"], 1)

    def test_makes_one_table_that_is_missing(self):
        with self.volume("KezDBNotify.vol") as volume:
            number = self.number_of(volume, "\\KEZDeltaT")
            for table in ("database", "sort_order", "property", "state"):
                column = "oid" if table == "database" else "database"
                volume.execute(f"DELETE FROM {table} WHERE {column} = ?", [number])
            volume.execute("UPDATE state SET changes = changes + 1 WHERE database = 0")
        self.assertEqual(self.codes(), ["change-tables-missing"])
        self.repair()
        self.settle()

    def test_tells_of_an_item_that_a_table_does_not_know(self):
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        with self.volume("KezDBNotify.vol") as volume:
            table, oid, _ = self.change_record(volume, self.oid("Ada Lovelace"))
            volume.execute(f"DELETE FROM {table} WHERE oid = ?", [oid])
            number = table.split("_")[1]
            volume.execute(f"DELETE FROM attachments_{number} WHERE record = ?", [oid])
            volume.execute("UPDATE state SET records = 2, bytes = bytes - 24 WHERE database = ?", [number])
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["item"]), ("change-record-missing", "Ada Lovelace"))
        self.assertEqual(finding["where"], "KezDBNotify.vol\\KEZDeltaA")
        self.repair()
        self.assertEqual(self.settle()["received"], 1)
        self.assertIn("TITLE:Countess", self.file("Ada Lovelace").read_text())

    def test_corrects_states_that_cannot_be(self):
        for states, code in (
            ({"first": 7}, "change-record-state"),
            ({"second": 9, "first": 3}, "change-record-state"),
            ({"first": DELETED}, "change-record-deleted"),
            ({"first": DELETED, "second": DELETED}, "change-record-deleted"),
        ):
            self.write_change_record("Emmy Noether", **states)
            [finding] = self.findings()
            self.assertEqual((finding["code"], finding["item"]), (code, "Emmy Noether"), states)
            self.repair()
            self.settle()

    def test_corrects_records_of_items_that_are_not_there(self):
        self.write_change_record("Emmy Noether", item=999, first=CHANGED)
        self.assertEqual(
            sorted((finding["code"], finding.get("item")) for finding in self.findings() if finding["code"][0] == "c"),
            [("change-record-missing", "Emmy Noether"), ("change-record-of-nothing", "oid 999")],
        )
        self.repair()
        self.settle()

    def test_carries_over_what_the_journal_still_holds(self):
        oid = self.oid("Ada Lovelace")
        with self.volume() as volume:
            number = self.number_of(volume, "Contacts Database")
            volume.execute("UPDATE state SET last_change = last_change + 1 WHERE database = 0")
            volume.execute(
                "INSERT INTO journal SELECT last_change, ?, ?, 2, 0 FROM state WHERE database = 0", [number, oid]
            )
        [finding] = self.findings()
        self.assertEqual(finding["code"], "changes-not-carried")
        done = self.json("doctor", "--repair")
        self.assertEqual((done["remaining"], done["repaired"]), (0, 1))
        self.settle()


class DoctorFolders(DoctorTest):
    def test_writes_a_lost_marker_again(self):
        (self.folder / ".kezfolder").unlink()
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["where"]), ("marker-missing", str(self.folder / ".kezfolder")))
        self.repair()
        self.settle()

    def test_trusts_no_folder_without_marker_and_state(self):
        (self.folder / ".kezfolder").unlink()
        self.state_file().unlink()
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["repairable"]), ("marker-missing", False))

    def test_names_a_folder_that_is_missing_or_another(self):
        self.folder.rename(self.place / "elsewhere")
        self.assertEqual(self.codes(), ["folder-missing"])
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        other.rename(self.folder)
        self.assertEqual(self.codes(), ["folder-other", "folder-missing"])
        self.assertEqual(self.json("doctor", "--repair", code=PARTLY)["repaired"], 0)

    def test_puts_a_damaged_state_aside(self):
        file = self.state_file()
        file.write_bytes(b"garbage" * 1000)
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["where"]), ("state-damaged", str(file)))
        self.assertIn("cannot be used", self.run_command("sync", self.folder, code=FAILED).stderr)
        done = self.json("doctor", "--repair")
        self.assertEqual((pathlib.Path(done["copies"]) / file.name).read_bytes(), b"garbage" * 1000)
        self.settle()
        self.assertEqual(self.titles(), self.NAMES)

    def test_a_state_that_is_missing_is_only_noted(self):
        self.state_file().unlink()
        found = self.json("doctor")
        self.assertEqual([note["code"] for note in found["notes"]], ["state-missing"])
        self.settle()

    def test_a_state_of_others_is_named(self):
        with self.state() as state:
            state.execute("UPDATE about SET value = 'another' WHERE name = 'device'")
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["repairable"]), ("state-other", False))

    def test_forgets_pairs_that_say_nothing(self):
        with self.state() as state:
            state.execute("UPDATE pair SET device_base = X'01' WHERE title = 'Ada Lovelace'")
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["item"]), ("pair-broken", "Ada Lovelace"))
        self.repair()
        self.assertEqual(self.settle()["matched"], 1)

    def test_forgets_pairs_of_items_that_are_gone(self):
        with self.state() as state:
            state.execute(
                "INSERT INTO pair (type, device_id, folder_id, device_revision, folder_revision, title, device_base)"
                " VALUES (0, '77', 'gone.vcf', '', '', 'Kurt Goedel', ?)",
                [struct.pack("<I9sI4s", 9, b"FirstName", 4, b"Kurt")],
            )
            state.execute(
                "INSERT INTO conflict (type, key, device_id, folder_id, title, text, fields)"
                " VALUES (0, '77', '77', 'gone.vcf', 'Kurt Goedel', 'disputed', '')"
            )
        self.assertEqual(
            [(finding["code"], finding["item"]) for finding in self.findings()],
            [("pair-of-nothing", "Kurt Goedel"), ("conflict-of-nothing", "Kurt Goedel")],
        )
        self.repair()
        self.settle()

    def test_names_files_that_cannot_be_used(self):
        twin = card("Alan Turing", uid=re.search(r"UID:(.*)\r", self.file("Alan Turing").read_bytes().decode())[1])
        self.write("folder/zzz-twin.vcf", twin)
        self.write("folder/zz-broken.vcf", "BEGIN:VCARD\r\nN:no end")
        found = self.findings()
        self.assertEqual(
            [(finding["code"], pathlib.Path(finding["where"]).name) for finding in found],
            [("file-unusable", "zz-broken.vcf"), ("uid-twice", "zzz-twin.vcf")],
        )
        self.assertEqual(found[1]["item"], "Alan Turing")
        before = self.files()
        self.json("doctor", "--repair", code=PARTLY)
        self.assertEqual(self.files(), before)

    def test_removes_what_killed_runs_left(self):
        for name in ("folder/.kez-999999999-1.tmp", "device/.kezpartners.new", "device/pim.vol.new-999999999-1"):
            self.write(name, "half")
        self.write(f"folder/.kez-{os.getpid()}-1.tmp", "somebody is at it")
        self.assertEqual(self.codes(), ["leftover"] * 3)
        done = self.repair()
        self.assertEqual(len(list(pathlib.Path(done["copies"]).iterdir())), 3)
        self.assertTrue((self.folder / f".kez-{os.getpid()}-1.tmp").exists())

    def test_leaves_out_partnerships_that_say_nothing(self):
        path = self.device / ".kezpartners"
        text = path.read_text()
        path.write_text(text + "nonsense\n3\tx\t/y\n")
        self.assertEqual(self.codes(), ["partnerships"])
        self.repair()
        self.assertEqual(path.read_text(), text)

    def test_of_one_folder_looks_at_that_alone(self):
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        (other / ".kezfolder").unlink()
        self.assertEqual(self.findings(self.folder, code=DONE), [])
        self.assertEqual(self.codes(other), ["marker-missing"])
        self.assertEqual(self.codes(), ["marker-missing"])


class DoctorSettings(DoctorTest):
    def test_writes_a_level_that_can_be_read(self):
        for level in ("loud", "-5", "101", "5 and more"):
            self.write("device/dbglev.ini", level)
            [finding] = self.findings()
            self.assertEqual(finding["code"], "log-level")
            self.assertIn(level, finding["text"])
            self.repair()
            self.assertEqual((self.device / "dbglev.ini").read_text(), "0")
        for level in ("", "100", "50\r\n"):
            self.write("device/dbglev.ini", level)
            self.assertEqual(self.findings(code=DONE), [], level)

    def test_names_a_time_zone_that_there_is_not(self):
        path = self.device / ".kezdevice"
        path.write_text(path.read_text().replace("Europe/Berlin", "Mars/Olympus"))
        [finding] = self.findings()
        self.assertEqual((finding["code"], finding["repairable"]), ("time-zone", False))
        self.assertIn("Mars/Olympus", finding["text"])

    def test_names_an_undo_that_was_cut_off(self):
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.sync()
        (self.device / ".kezundo/1/restoring").touch()
        self.assertEqual(self.codes(), ["undo-interrupted"])
        self.out("undo", self.folder)
        self.assertEqual(self.findings(code=DONE), [])

    def test_repairs_many_things_at_once_and_says_so(self):
        self.write("device/dbglev.ini", "loud")
        (self.folder / ".kezfolder").unlink()
        self.write_change_record("Emmy Noether", first=7)
        with self.volume() as volume:
            volume.execute("UPDATE state SET records = 9 WHERE records = 3")
        self.write("folder/zz-broken.vcf", "BEGIN:VCARD\r\nN:no end")
        text = self.out("doctor", code=PARTLY)
        self.assertTrue(text.endswith("5 findings remain, 4 of which --repair puts right\n"), text)
        text = self.out("doctor", "--repair", code=PARTLY)
        self.assertEqual(text.count("repaired: "), 4)
        self.assertIn(f"repaired 4; 1 finding remains; what was changed is kept in {self.device}/.kezdoctor/1\n", text)
        self.assertEqual(self.out("doctor", "--quiet", code=PARTLY).count("\n"), 1)
        (self.folder / "zz-broken.vcf").unlink()
        self.assertEqual(self.findings(code=DONE), [])
        self.settle()
