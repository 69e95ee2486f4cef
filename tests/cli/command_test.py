"""What the commands promise: what they say, what they leave alone, and their exit codes."""

from command import *


class DryRun(CommandTest):
    def change_both_sides(self):
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether", "Grace Hopper")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.file("Emmy Noether").unlink()
        self.write("folder/new.vcf", card("Sofja Kowalewskaja"))
        self.write("folder/broken.vcf", "BEGIN:VCARD\r\nN:no end")
        self.edit("Grace Hopper", "END:VCARD", "TITLE:Admiral\r\nEND:VCARD")
        self.run_command("set", self.oid("Grace Hopper"), "JobTitle=Professor")

    def test_says_by_title_what_a_synchronisation_would_do(self):
        self.change_both_sides()
        text = self.out("sync", self.folder, "--dry-run", code=PARTLY)
        for line in (
            r"update on device +Ada Lovelace  \(JobTitle\)",
            r"update in folder +Alan Turing  \(JobTitle\)",
            r"delete on device +Emmy Noether",
            r"create on device +Sofja Kowalewskaja  \(new\)",
            r"keep both +Grace Hopper",
            r"leave unresolved +broken.vcf: .+",
            r"would send \d+, .* Nothing was changed\.",
        ):
            self.assertRegex(text, line)

    def test_is_what_the_synchronisation_then_does(self):
        self.change_both_sides()
        plan = self.sync("--dry-run", code=PARTLY)
        done = self.sync(code=PARTLY)
        self.assertTrue(plan.pop("dryRun"))
        for report in (plan, done):
            report["summary"].pop("seconds")
            for item in report["items"]:
                for name in ("oid", "file"):  # of new items they are made up in each run
                    item.pop(name, None)
        self.assertEqual(plan, done)

    def test_changes_no_byte_on_either_side(self):
        self.change_both_sides()
        before = tree(self.place)
        self.out("sync", self.folder, "--dry-run", code=PARTLY)
        self.assertEqual(tree(self.place), before)

    def test_makes_no_folder(self):
        self.people("Ada Lovelace")
        before = tree(self.place)
        self.assertEqual(self.sync("--dry-run")["summary"]["received"], 1)
        self.assertEqual(tree(self.place), before)

    def test_leaves_the_log_of_a_killed_owner_where_it_is(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        # A copy of the volumes while they are open is what a killed process leaves.
        holder = sqlite3.connect(self.device / "pim.vol")
        holder.execute("PRAGMA journal_mode=WAL")
        holder.execute("SELECT count(*) FROM database").fetchall()
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        killed = self.place / "killed"
        shutil.copytree(self.device, killed)
        holder.close()
        self.assertTrue((killed / "pim.vol-wal").stat().st_size > 0)
        before = {name: digest for name, digest in tree(killed).items() if not name.endswith("-shm")}
        plan = self.json("sync", self.folder, "--device", killed, "--dry-run")
        self.assertEqual([item["title"] for item in plan["items"]], ["Ada Lovelace"])
        after = {name: digest for name, digest in tree(killed).items() if not name.endswith("-shm")}
        self.assertEqual(after, before)

    def test_refuses_what_the_synchronisation_would_refuse(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        for path in self.folder.glob("*.vcf"):
            path.unlink()
        before = tree(self.place)
        self.assertIn("2 of 2 items", self.error("sync", self.folder, "--dry-run", code=REFUSED))
        self.assertEqual(self.sync("--dry-run", "--force")["summary"]["deletedOnDevice"], 2)
        self.assertEqual(tree(self.place), before)


class Scratch(CommandTest):
    """What a rehearsal that was killed leaves is removed by the next one, and by no other before."""

    def folders(self):
        return list(self.place.glob("kezsync-scratch-*"))

    def is_locked_by(self, process, folder):
        """Asked of the system, since a lock of one's own would drive the process to another folder."""
        files = pathlib.Path(f"/proc/{process.pid}/fd")
        try:
            return any(os.readlink(file) == str(folder) and
                       "FLOCK" in (files.parent / "fdinfo" / file.name).read_text() for file in files.iterdir())
        except FileNotFoundError:
            return False  # closed between two looks

    def start(self, *words):
        """A run that stands still in the middle of its work: it waits for the state, which is let go when it is stopped."""
        [state] = self.folder.glob(".kezsync-*.db")
        holder = sqlite3.connect(state, isolation_level=None)
        holder.execute("PRAGMA locking_mode=EXCLUSIVE")
        holder.execute("BEGIN IMMEDIATE")
        process = subprocess.Popen([KEZSYNC, *words], env=self.environment, stdout=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        while not any(self.is_locked_by(process, folder) for folder in self.folders()):
            self.assertIsNone(process.poll())
            time.sleep(0.001)
        process.send_signal(signal.SIGSTOP)
        holder.close()
        return process

    def test_goes_when_its_run_is_killed_and_another_comes(self):
        self.people("Ada Lovelace")
        for words in (["sync", self.folder, "--dry-run"], ["status", self.folder]):
            self.sync()
            process = self.start(*words)
            [mine] = self.folders()
            self.out("status", self.folder)
            self.assertEqual(self.folders(), [mine])
            process.kill()
            process.wait()
            self.assertEqual(self.folders(), [mine])
            self.out("status", self.folder)
            self.assertEqual(self.folders(), [])

    def test_a_folder_that_is_not_ours_stays(self):
        self.people("Ada Lovelace")
        self.sync()
        (self.place / "kezsync-scratch-file").touch()
        (self.place / "kezsync-scratch-link").symlink_to(self.folder)
        (self.place / "kezsync-test-other").mkdir()
        before = set(self.folders())
        self.out("status", self.folder)
        self.assertEqual(set(self.folders()), before)
        self.assertTrue((self.place / "kezsync-test-other").exists())

    def test_without_a_place_for_it_names_the_place(self):
        self.people("Ada Lovelace")
        self.sync()
        self.environment["TMPDIR"] = str(self.write("no-folder", ""))
        self.assertIn("temporary", self.error("status", self.folder, code=FAILED))


class Status(CommandTest):
    def test_tells_what_changed_on_each_side_and_clears_nothing(self):
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether", "Grace Hopper")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.run_command("delete", self.oid("Emmy Noether"))
        self.file("Grace Hopper").unlink()
        self.write("folder/new.vcf", card("Sofja Kowalewskaja"))
        self.write("folder/broken.vcf", "BEGIN:VCARD\r\nN:no end")
        first = self.json("status", self.folder, code=PARTLY)
        changes = sorted((item["side"], item["change"], item["title"]) for item in first["items"])
        self.assertEqual(
            changes,
            [
                ("device", "changed", "Alan Turing"),
                ("device", "deleted", "Emmy Noether"),
                ("folder", "changed", "Ada Lovelace"),
                ("folder", "deleted", "Grace Hopper"),
                ("folder", "new", "Sofja Kowalewskaja"),
            ],
        )
        self.assertEqual(first["device"], {"new": 0, "changed": 1, "deleted": 1})
        self.assertEqual(first["folder"], {"new": 1, "changed": 1, "deleted": 1})
        self.assertEqual([problem["file"] for problem in first["problems"]], ["broken.vcf"])
        files = tree(self.folder)
        self.assertEqual(self.json("status", self.folder, code=PARTLY), first)
        self.assertEqual(tree(self.folder), files)
        done = self.sync(code=PARTLY)["summary"]
        self.assertEqual((done["sent"], done["received"], done["deletedOnDevice"], done["deletedInFolder"]), (2, 1, 1, 1))

    def test_of_two_agreed_sides_is_empty(self):
        self.people("Ada Lovelace")
        self.sync()
        self.assertEqual(
            self.out("status", self.folder),
            "on the device 0 new, 0 changed, 0 deleted; in the folder 0 new, 0 changed, 0 deleted; "
            "1 unchanged, 0 conflicts wait\n",
        )

    def test_of_what_a_synchronisation_wrote_is_empty_as_well(self):
        self.people("Ada Lovelace")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.assertEqual(self.sync()["summary"]["sent"], 1)
        self.assertEqual(self.json("status", self.folder)["items"], [])
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Poet")
        [item] = self.json("status", self.folder)["items"]
        self.assertEqual((item["side"], item["change"]), ("device", "changed"))

    def test_before_the_first_synchronisation_everything_is_new(self):
        self.people("Ada Lovelace")
        self.write("folder/b.vcf", card("Alan Turing"))
        status = self.json("status", self.folder)
        self.assertEqual((status["device"]["new"], status["folder"]["new"]), (1, 1))
        self.assertEqual(set(tree(self.folder)), {"b.vcf"})

    def test_partnerships_have_changes_of_their_own(self):
        self.people("Ada Lovelace")
        self.sync()
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.sync()
        self.assertEqual(self.json("status", self.folder)["device"]["changed"], 0)
        self.assertEqual(self.json("status", other, "--partner", 2)["device"]["changed"], 1)

    def test_of_a_missing_folder_names_it(self):
        self.people("Ada Lovelace")
        self.assertIn(str(self.folder), self.error("status", self.folder, code=FAILED))


class Check(CommandTest):
    def setUp(self):
        super().setUp()
        del self.environment["KEZSYNC_DEVICE"]

    def test_names_what_stays_behind_and_what_cannot_be_held(self):
        self.write("folder/whole.vcf", card("Ada Lovelace"))
        self.write("folder/part.vcf", card("Alan Turing", "NICKNAME:Prof", "BDAY:1850-01-01"))
        self.write("folder/broken.vcf", "BEGIN:VCARD\r\nN:no end")
        self.write("folder/twin1.vcf", card("Grace Hopper", uid="same"))
        self.write("folder/twin2.vcf", card("Grace Hopper", uid="same"))
        self.write("folder/notes.txt", "not an item")
        before = tree(self.folder)
        text = self.out("check", self.folder, code=PARTLY)
        self.assertRegex(text, r"stays behind    Alan Turing: .*NICKNAME.* \(part\.vcf\)")
        self.assertRegex(text, r'stays behind    Alan Turing: BDAY "1850-01-01" is outside the years 1900 to 2999')
        self.assertRegex(text, r"cannot be held  broken\.vcf: ")
        self.assertRegex(text, r"cannot be held  .*twin1\.vcf has the same UID same \(twin2\.vcf\)")
        self.assertIn("holds 2 items whole, 1 in part (the rest stays in their files), 2 not at all", text)
        report = self.json("check", self.folder, code=PARTLY)
        self.assertEqual(report["summary"], {"whole": 2, "inPart": 1, "refused": 2})
        codes = {item["file"]: item.get("problem", {}).get("code") for item in report["items"]}
        self.assertEqual(codes, {"part.vcf": None, "broken.vcf": "unreadable", "twin2.vcf": "duplicate"})
        self.assertEqual(tree(self.folder), before)

    def test_of_a_clean_folder_is_done(self):
        self.write("folder/a.vcf", card("Ada Lovelace"))
        self.assertIn("holds 1 items whole", self.out("check", self.folder))
        self.assertEqual(self.out("check", self.folder, "--quiet"), "")

    def test_of_no_folder_fails(self):
        self.assertIn("no such folder", self.error("check", self.folder, code=FAILED))


class ExitCodes(CommandTest):
    def test_a_wrong_command_line_is_wrong_usage(self):
        self.init()
        for words in (
            [],
            ["frobnicate"],
            ["sync"],
            ["sync", self.folder, "--partner", "3"],
            ["sync", self.folder, "--conflict", "coin"],
            ["sync", self.folder, "--durability", "forever"],
            ["sync", self.folder, "--log-level", "101"],
            ["sync", self.folder, "--packet-size", "3"],
            ["sync", self.folder, "--packet-size", "260001"],
            ["sync", self.folder, "--max-deleted", "101"],
            ["sync", self.folder, "--type", "notes"],
            ["list", "notes"],
            ["list", "--color", "blue"],
            ["show", "Ada"],
            ["resolve", self.folder, "Ada", "neither"],
            ["purge", "everything"],
            ["completion", "tcsh"],
            ["packet"],
            ["packet", "diff", "one"],
        ):
            self.assertTrue(self.run_command(*words, code=WRONG_USAGE).stderr, words)

    def test_a_command_that_there_is_not_is_named(self):
        self.assertIn("there is no command syn;", self.error("syn", code=WRONG_USAGE))

    def test_a_command_without_a_device_says_how_to_name_one(self):
        del self.environment["KEZSYNC_DEVICE"]
        self.assertIn("--device", self.error("list", code=WRONG_USAGE))

    def test_a_folder_that_is_no_device_is_named(self):
        self.folder.mkdir()
        for words in (["list"], ["sync", self.place / "f"], ["sync", self.place / "f", "--dry-run"], ["log"]):
            message = self.error(*words, "--device", self.folder, code=FAILED)
            self.assertIn(str(self.folder), message)
            self.assertIn("device folder", message)

    def test_a_device_is_not_made_where_something_is(self):
        self.write("device/letter.txt", "mine")
        self.assertIn("not empty", self.error("init", self.device, code=FAILED))
        self.assertEqual(set(tree(self.device)), {"letter.txt"})

    def test_an_unknown_time_zone_makes_no_device(self):
        self.assertIn("Mars/Olympus", self.error("init", self.device, "--time-zone", "Mars/Olympus", code=FAILED))
        self.assertFalse(self.device.exists())

    def test_a_folder_that_cannot_be_written_is_named(self):
        self.people("Ada Lovelace")
        self.write("file", "no folder")
        self.assertIn(str(self.place / "file"), self.error("sync", self.place / "file", code=FAILED))
        self.assertIn("/proc/tty", self.error("sync", "/proc/tty", code=FAILED))
        self.assertIn("/proc/none", self.error("sync", "/proc/none", code=FAILED))

    def test_a_broken_card_stops_itself_and_nothing_else(self):
        self.init()
        self.write("in/a.vcf", card("Ada Lovelace"))
        self.write("in/b.vcf", "BEGIN:VCARD\r\nVERSION:3.0\r\nN:no end")
        result = self.run_command("import", self.place / "in", code=PARTLY)
        self.assertIn("b.vcf", result.stderr)
        self.assertIn("imported 1, refused 1", result.stdout)
        self.assertEqual(self.titles(), ["Ada Lovelace"])
        shutil.copytree(self.place / "in", self.folder)
        before = (self.folder / "b.vcf").read_bytes()
        report = self.sync(code=PARTLY)
        self.assertEqual(report["summary"]["matched"], 1)
        [broken] = [item for item in report["items"] if item["outcome"] == "unresolved"]
        self.assertEqual((broken["file"], broken["problem"]["code"]), ("b.vcf", "unreadable"))
        self.assertEqual((self.folder / "b.vcf").read_bytes(), before)

    def test_nothing_but_broken_cards_is_a_failure(self):
        self.init()
        self.run_command("import", self.write("b.vcf", "garbage"), code=FAILED)
        self.run_command("import", self.place / "missing.vcf", code=FAILED)

    def test_an_unknown_item_is_a_failure_that_names_it(self):
        self.people("Ada Lovelace")
        for words in (["show", 77], ["set", 77, "JobTitle=x"], ["fingerprint", 77]):
            self.assertIn("77", self.error(*words, code=FAILED))
        self.assertIn("FirstName", self.error("set", self.oid("Ada Lovelace"), "Shoe=43", code=FAILED))
        self.run_command("delete", 77, self.oid("Ada Lovelace"), code=PARTLY)
        self.assertEqual(self.titles(), [])

    def test_one_uid_twice_stops_the_second_file_only(self):
        self.init()
        self.write("folder/1.vcf", card("Ada Lovelace", uid="same"))
        self.write("folder/2.vcf", card("Alan Turing", uid="same"))
        self.write("folder/3.vcf", card("Emmy Noether"))
        report = self.sync(code=PARTLY)
        self.assertEqual(self.titles(), ["Ada Lovelace", "Emmy Noether"])
        [twin] = [item for item in report["items"] if item["outcome"] == "unresolved"]
        self.assertEqual((twin["file"], twin["problem"]["code"]), ("2.vcf", "duplicate"))

    def test_the_second_synchronisation_says_who_holds_the_device(self):
        self.people("Ada Lovelace")
        self.sync()
        for place in (self.device, self.folder):
            with open(place / ".kezsync.lock", "w") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX)
                lock.write("4711")
                lock.flush()
                for more in ([], ["--dry-run"]):
                    message = self.error("sync", self.folder, *more, code=FAILED)
                    self.assertIn("process 4711", message)
                    self.assertIn(str(place), message)
        self.sync()


class Safety(CommandTest):
    def test_an_emptied_folder_is_refused(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        for path in self.folder.glob("*.vcf"):
            path.unlink()
        self.assertIn("2 of 2 items", self.error("sync", self.folder, code=REFUSED))
        self.assertEqual(self.titles(), ["Ada Lovelace", "Alan Turing"])
        self.assertEqual(self.sync("--force")["summary"]["deletedOnDevice"], 2)

    def test_a_vanished_folder_is_refused_and_not_made_again(self):
        self.people("Ada Lovelace")
        self.sync()
        self.folder.rename(self.place / "elsewhere")
        self.assertIn("is not there", self.error("sync", self.folder, code=REFUSED))
        self.assertFalse(self.folder.exists())
        self.folder.mkdir()  # the empty place where something else was mounted
        self.assertIn("has lost its marker", self.error("sync", self.folder, code=REFUSED))
        self.assertEqual(list(self.folder.glob("*.vcf")), [])
        self.assertEqual(self.titles(), ["Ada Lovelace"])
        shutil.rmtree(self.folder)
        self.assertEqual(self.sync("--force")["summary"]["received"], 1)

    def test_a_partnership_belongs_to_one_folder(self):
        self.people("Ada Lovelace")
        self.sync()
        other = self.place / "other"
        message = self.error("sync", other, code=REFUSED)
        self.assertIn(str(self.folder), message)
        self.assertIn("--partner 2", message)
        self.assertEqual(self.json("sync", other, "--partner", 2)["summary"]["received"], 1)
        self.assertEqual(self.json("sync", other, "--force")["summary"]["received"], 1 - 1)

    def test_too_many_deletions_are_refused_by_share_and_count(self):
        self.people(*(f"Person N{number:02}" for number in range(30)))
        self.sync()
        files = sorted(self.folder.glob("*.vcf"))
        for path in files[:10]:
            path.unlink()
        self.assertIn("10 of 30 items", self.error("sync", self.folder, code=REFUSED))
        self.assertEqual(self.sync("--max-deleted", 40)["summary"]["deletedOnDevice"], 10)
        for path in files[10:19]:  # 9 of 20: a great share, and too few to be a catastrophe
            path.unlink()
        self.assertEqual(self.sync()["summary"]["deletedOnDevice"], 9)

    def test_purge_asks_for_force(self):
        self.people("Ada Lovelace")
        self.assertIn("--force", self.error("purge", "contacts", code=REFUSED))
        self.assertEqual(self.titles(), ["Ada Lovelace"])
        self.out("purge", "contacts", "--force")
        self.assertEqual(self.titles(), [])

    def test_what_a_device_cannot_hold_stays_in_the_file(self):
        self.init()
        self.write("folder/a.vcf", card("Ada Lovelace", "X-FAVOURITE-NUMBER:7", "NICKNAME:Countess", "TEL;TYPE=CELL:1"))
        self.sync()
        self.run_command("set", self.oid("Ada Lovelace"), "MobileTelephoneNumber=2")
        self.sync()
        text = (self.folder / "a.vcf").read_text()
        for line in ("X-FAVOURITE-NUMBER:7", "NICKNAME:Countess", "TEL;TYPE=CELL:2"):
            self.assertIn(line, text)

    def test_nothing_is_written_outside_device_and_folder(self):
        self.people("Ada Lovelace")
        before = {name for name in tree(self.place) if not name.startswith(("device", "folder"))}
        self.sync()
        self.out("status", self.folder)
        self.out("sync", self.folder, "--dry-run")
        self.assertEqual({name for name in tree(self.place) if not name.startswith(("device", "folder"))}, before)


class Sync(CommandTest):
    def test_carries_new_changed_and_deleted_items_both_ways(self):
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether")
        self.assertEqual(self.sync()["summary"]["received"], 3)
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.run_command("delete", self.oid("Emmy Noether"))
        self.write("folder/new.vcf", card("Grace Hopper"))
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"], done["deletedInFolder"]), (2, 1, 1))
        self.assertEqual(self.fields("Ada Lovelace")["JobTitle"], "Countess")
        self.assertIn("TITLE:Reader", self.file("Alan Turing").read_text())
        self.assertEqual(self.titles(), ["Ada Lovelace", "Alan Turing", "Grace Hopper"])
        before = {path: path.stat().st_mtime_ns for path in self.folder.glob("*.vcf")}
        done = self.sync()["summary"]
        self.assertEqual(done.pop("unchanged"), 3)
        done.pop("seconds")
        self.assertEqual(set(done.values()), {0})
        self.assertEqual({path: path.stat().st_mtime_ns for path in self.folder.glob("*.vcf")}, before)

    def test_a_picture_of_3_megabytes_travels_both_ways(self):
        picture = b"\xff\xd8\xff\xe0" + random.Random(1).randbytes(3 << 20)
        text = base64.b64encode(picture).decode()
        self.init()
        self.run_command("import", self.write("in.vcf", card("Ada Lovelace", "PHOTO;ENCODING=b;TYPE=JPEG:" + text)))
        self.sync()
        unfolded = re.sub(r"\r\n[ \t]", "", self.file("Ada Lovelace").read_bytes().decode())
        self.assertIn(text, unfolded)
        other = self.place / "other"
        self.run_command("init", other)
        self.json("sync", self.folder, "--device", other)
        [item] = self.json("list", "--device", other)
        self.assertEqual(item["fields"]["Picture"]["bytes"], len(picture))
        [first] = self.json("list")
        self.assertEqual(item["fields"]["Picture"], first["fields"]["Picture"])
        self.assertEqual(self.json("sync", self.folder, "--device", other)["summary"]["unchanged"], 1)

    def dispute(self):
        self.people("Ada Lovelace")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")

    def titles_of_work(self):
        return sorted(item["fields"]["JobTitle"] for item in self.json("list"))

    def test_conflict_both_keeps_two_items(self):
        self.dispute()
        self.assertIn("second item", self.out("sync", self.folder))
        self.assertEqual(self.titles_of_work(), ["Countess", "Programmer"])

    def test_conflict_device_takes_the_devices_value(self):
        self.dispute()
        self.sync("--conflict", "device")
        self.assertEqual(self.titles_of_work(), ["Programmer"])
        self.assertIn("TITLE:Programmer", self.file("Ada Lovelace").read_text())

    def test_conflict_folder_takes_the_folders_value(self):
        self.dispute()
        self.sync("--conflict", "folder")
        self.assertEqual(self.titles_of_work(), ["Countess"])

    def test_conflict_skip_waits_until_it_is_resolved(self):
        self.dispute()
        self.assertEqual(self.sync("--conflict", "skip", code=PARTLY)["summary"]["unresolved"], 1)
        [waiting] = self.json("conflicts", self.folder)
        self.assertEqual((waiting["title"], waiting["fields"]), ("Ada Lovelace", ["JobTitle"]))
        self.assertIn("Ada Lovelace", self.out("conflicts", self.folder))
        self.assertIn("Nobody", self.error("resolve", self.folder, "Nobody", "device", code=FAILED))
        self.out("resolve", self.folder, "Ada Lovelace", "device")
        self.sync("--conflict", "skip")
        self.assertEqual(self.titles_of_work(), ["Programmer"])
        self.assertEqual(self.out("conflicts", self.folder), "no conflict waits\n")

    def test_a_conflict_may_be_resolved_for_both(self):
        self.dispute()
        self.sync("--conflict", "skip", code=PARTLY)
        told = self.out("resolve", self.folder, "Ada Lovelace", "both")
        self.assertEqual(told, "Ada Lovelace: both are kept in the next sync\n")
        self.sync("--conflict", "skip")
        self.assertEqual(self.titles_of_work(), ["Countess", "Programmer"])

    def test_conflict_ask_asks(self):
        self.dispute()
        result = self.run_command("sync", self.folder, "--conflict", "ask", input="what\nf\n")
        self.assertIn("device  Programmer", result.stderr)
        self.assertIn("folder  Countess", result.stderr)
        self.assertEqual(self.titles_of_work(), ["Countess"])

    def test_conflict_ask_without_an_answer_leaves_it(self):
        self.dispute()
        self.run_command("sync", self.folder, "--conflict", "ask", input="", code=PARTLY)

    def test_conflicts_of_a_folder_that_never_was_synchronised(self):
        self.init()
        self.folder.mkdir()
        self.assertIn("has not been synchronised", self.error("conflicts", self.folder, code=FAILED))

    def test_other_options_change_nothing_in_the_result(self):
        self.people("Ada Lovelace", "Alan Turing")
        for index, words in enumerate(
            (
                ["--durability", "item"],
                ["--durability", "none"],
                ["--durability", "batch"],
                ["--packet-size", 4],
                ["--packet-size", 260000],
                ["--type", "contacts"],
                ["--type", "contacts", "--type", "tasks"],
                ["--type", "contacts", "--type", "contacts"],
            )
        ):
            done = self.json("sync", self.place / f"f{index}", "--force", *words)["summary"]
            self.assertEqual((done["received"], done["failed"]), (2, 0), words)

    def test_a_type_that_is_not_named_is_left_alone(self):
        self.people("Ada Lovelace")
        self.assertEqual(self.sync("--type", "tasks")["summary"]["received"], 0)

    def test_khard_lists_the_same_people(self):
        self.people("Ada Lovelace", "Alan Turing", "Grace Hopper")
        self.sync()
        configuration = self.write("khard.conf", f"[addressbooks]\n[[people]]\npath = {self.folder}\n")
        listed = subprocess.run(
            ["khard", "-c", configuration, "list", "--parsable"], capture_output=True, text=True, env=self.environment
        )
        self.assertEqual(listed.returncode, 0, listed.stderr)
        names = sorted(line.split("\t")[1] for line in listed.stdout.splitlines())
        self.assertEqual(names, self.titles())


    def test_a_signal_ends_it_after_the_items_under_way_and_says_what_is_left(self):
        self.people(*(f"Person N{number:03}" for number in range(300)))
        other = self.place / "other"
        for end in (signal.SIGTERM, signal.SIGINT):
            before = len(list(other.glob("*.vcf")))
            process = subprocess.Popen(
                [KEZSYNC, "sync", other, "--partner", "2", "--json"],
                env=self.environment,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                text=True,
            )
            while len(list(other.glob("*.vcf"))) == before:
                self.assertIsNone(process.poll())
            process.send_signal(signal.SIGSTOP)
            process.send_signal(end)
            process.send_signal(signal.SIGCONT)
            said, errors = process.communicate(timeout=20)
            self.assertEqual((process.returncode, errors), (PARTLY, ""))
            made = len(list(other.glob("*.vcf")))
            report = json.loads(said)
            self.assertEqual(report["summary"]["received"], made - before)
            left = f"the synchronisation was stopped; {300 - made} items wait for the next one"
            self.assertEqual([finding["text"] for finding in report["findings"]], [left])
            self.assertEqual(list(other.glob(".kez-*")), [])
        self.json("sync", other, "--partner", "2")
        self.assertEqual(len(list(other.glob("*.vcf"))), 300)
        self.assertEqual(len(self.titles()), 300)


class Calendar(CommandTest):
    EVENT = "\r\n".join(
        [
            "BEGIN:VCALENDAR",
            "VERSION:2.0",
            "BEGIN:VEVENT",
            "UID:weekly",
            "SUMMARY:Weekly planning",
            "X-OWN:kept",
            "DTSTART;TZID=Europe/Berlin:20260302T100000",
            "DTEND;TZID=Europe/Berlin:20260302T110000",
            "RRULE:FREQ=WEEKLY",
            "EXDATE;TZID=Europe/Berlin:20260316T100000",
            "END:VEVENT",
            "BEGIN:VEVENT",
            "UID:weekly",
            "RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000",
            "SUMMARY:Later",
            "DTSTART;TZID=Europe/Berlin:20260309T140000",
            "DTEND;TZID=Europe/Berlin:20260309T150000",
            "END:VEVENT",
            "END:VCALENDAR",
            "",
        ]
    )
    TITLE = "Weekly planning (2026-03-02 10:00)"

    def test_import_takes_times_to_the_zone_of_the_device(self):
        self.init()
        self.environment["TZ"] = "America/New_York"
        self.run_command("import", self.write("weekly.ics", self.EVENT))
        self.assertEqual(self.titles(), [self.TITLE])

    def test_a_series_with_exceptions_is_sent_once_and_its_file_left_alone(self):
        self.init()
        path = self.write("folder/weekly.ics", self.EVENT)
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"]), (1, 0))
        self.assertEqual(
            self.fields(self.TITLE)["ExceptionDates"].split("\t"), ["2026-03-09 10:00:00", "2026-03-16 10:00:00"]
        )
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"], done["unchanged"]), (0, 0, 1))
        self.assertEqual(path.read_bytes().decode(), self.EVENT)

    def test_a_change_on_the_device_changes_its_line_and_keeps_the_changed_occurrence(self):
        self.init()
        path = self.write("folder/weekly.ics", self.EVENT)
        self.sync()
        self.run_command("set", self.oid(self.TITLE), "Subject=Weekly talk")
        self.assertEqual(self.sync()["summary"]["received"], 1)
        text = path.read_bytes().decode()
        self.assertEqual(text, self.EVENT.replace("Weekly planning", "Weekly talk"))

    def test_the_end_of_a_series_can_be_set_alone_and_of_a_single_event_not(self):
        self.init()
        path = self.write("folder/weekly.ics", self.EVENT)
        self.sync()
        self.run_command("set", self.oid(self.TITLE), "PatternEndDate=2026-05-04")
        self.assertEqual(self.fields(self.TITLE)["PatternEndDate"][:10], "2026-05-04")
        self.sync()
        self.assertIn("UNTIL=20260504", path.read_text())
        single = "\r\n".join(line for line in self.EVENT.split("\r\n")[:9] if not line.startswith("RRULE"))
        single = single.replace("weekly", "once").replace("Weekly", "One")
        self.write("folder/single.ics", single + "\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
        self.sync()
        oid = self.oid("One planning (2026-03-02 10:00)")
        self.assertIn("the item does not recur", self.error("set", oid, "PatternEndDate=2026-05-04", code=FAILED))
        self.assertIn("Interval: the item", self.error("set", oid, "Interval=2", code=FAILED))

    def test_a_changed_occurrence_on_the_device_becomes_one_in_the_file(self):
        self.init()
        self.run_command("import", self.write("weekly.ics", self.EVENT))
        self.assertEqual(self.sync()["summary"]["received"], 1)
        text = next(self.folder.glob("*.ics")).read_text()
        self.assertIn("RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000", text)
        self.assertIn("SUMMARY:Later", text)
        done = self.sync()["summary"]
        self.assertEqual((done["sent"], done["received"], done["unchanged"]), (0, 0, 1))


class Output(CommandTest):
    def test_the_device_can_be_named_in_three_ways(self):
        self.people("Ada Lovelace")
        expected = self.out("list")
        device = self.environment.pop("KEZSYNC_DEVICE")
        self.assertEqual(self.out("list", "--device", device), expected)
        self.write("config/kezsync/config", f"device={device}\n")
        self.assertEqual(self.out("list"), expected)
        (self.place / "config/kezsync/config").unlink()
        self.assertEqual(self.out("list", "--config", self.write("mine", f"device={device}\n")), expected)

    def test_json_is_one_document_of_every_command(self):
        made = self.json("init", self.device, "--time-zone", "Europe/Berlin")
        self.assertEqual(made, {"device": str(self.device), "timeZone": "Europe/Berlin"})
        people = "".join(card(name) for name in ("Ada Lovelace", "Alan Turing", "Emmy Noether"))
        self.assertEqual(len(self.json("import", self.write("people.vcf", people))), 3)
        oid = self.oid("Ada Lovelace")
        self.assertEqual(self.json("set", oid, "JobTitle=Countess")["fields"]["JobTitle"], "Countess")
        self.assertEqual(self.json("show", oid)["title"], "Ada Lovelace")
        self.assertEqual(self.json("delete", oid, 77, code=PARTLY), {"deleted": [oid], "missing": [77]})
        self.assertEqual(self.json("delete", 77, code=FAILED), {"deleted": [], "missing": [77]})
        done = self.json("export", self.place / "copy")
        self.assertEqual(done, {"folder": str(self.place / "copy"), "exported": 2, "problems": []})
        self.sync()
        self.edit("Alan Turing", "END:VCARD", "TITLE:Reader\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Fellow")
        self.sync("--conflict", "skip", code=PARTLY)
        self.assertEqual(self.json("resolve", self.folder, "Alan Turing", "device")["choice"], "device")
        self.assertEqual(self.json("conflicts", self.folder)[0]["choice"], "device")
        self.assertEqual(self.json("purge", "all", "--force"), {"purged": "all"})
        self.assertEqual(self.json("list"), [])

    def test_quiet_says_nothing_and_verbose_says_all(self):
        self.people("Ada Lovelace")
        self.assertEqual(self.out("sync", self.folder, "--quiet"), "")
        self.assertEqual(self.out("list", "--quiet"), self.out("list"))
        many = self.write("many.vcf", "".join(card(f"Person N{number}") for number in range(45)))
        self.assertEqual(len(self.out("import", many, "--verbose").splitlines()), 46)
        self.assertEqual(len(self.out("sync", self.folder, "--verbose").splitlines()), 46)

    def test_a_long_list_of_new_items_is_a_count(self):
        self.people(*(f"Person N{number}" for number in range(45)))
        self.assertEqual(len(self.out("sync", self.folder).splitlines()), 1)

    def test_color_is_for_terminals_or_when_asked_for(self):
        self.people("Ada Lovelace")
        self.assertNotIn("\x1b", self.out("sync", self.folder, "--dry-run"))
        self.assertIn("\x1b", self.out("sync", self.folder, "--dry-run", "--color", "always"))
        self.assertNotIn("\x1b", self.out("sync", self.folder, "--dry-run", "--color", "never"))
        self.assertIn("\x1b", self.out("sync", self.folder, "--color", "always"))

    def test_every_command_explains_itself_with_an_example(self):
        overview = self.out("--help")
        commands = self.help_commands()
        self.assertGreaterEqual(len(commands), 19)
        for command in [*commands, "packet dump", "packet diff"]:
            text = self.out(*command.split(), "--help")
            self.assertIn(f"kezsync {command}", text, command)
            self.assertIn("Example:", text, command)
        self.assertIn("Exit codes:", overview)

    def test_the_version_is_told(self):
        self.assertRegex(self.out("--version"), r"^kezsync \d+\.\d+\.\d+\n$")

    def test_show_set_and_fingerprint(self):
        self.people("Ada Lovelace")
        oid = self.oid("Ada Lovelace")
        first = self.json("fingerprint", oid)
        self.assertRegex(first["fingerprint"], "^0x[0-9A-F]{8}$")
        self.out("set", oid, "JobTitle=Countess", "HomeAddressCity=London")
        self.assertIn("JobTitle: Countess", self.out("show", oid))
        self.assertNotEqual(self.json("fingerprint", oid), first)
        self.out("set", oid, "JobTitle=", "HomeAddressCity=")
        self.assertNotIn("JobTitle", self.json("show", oid)["fields"])
        self.assertEqual(self.json("fingerprint", oid), first)

    def test_export_copies_the_device_and_changes_nothing_for_the_next_sync(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        self.out("export", self.place / "copy")
        self.assertEqual(len(list((self.place / "copy").glob("*.vcf"))), 2)
        self.assertIn("not empty", self.error("export", self.place / "copy", code=FAILED))
        self.assertEqual(self.sync()["summary"]["unchanged"], 2)

    def test_the_log_is_written_when_asked_for(self):
        self.people("Ada Lovelace")
        self.sync()
        self.assertIn("--log-level", self.error("log", code=FAILED))
        self.sync("--log-level", 100)
        everything = self.out("log").splitlines()
        found = self.out("log", "--contains", "FindObjects").splitlines()
        self.assertTrue(0 < len(found) < len(everything))
        self.assertTrue(all("FindObjects" in line for line in found))
        self.sync("--log-level", 0)
        self.assertEqual(len(self.out("log").splitlines()), len(everything))


class Log(CommandTest):
    LINES = [
        "",
        "************************ 2026/03/02 10:00:00.000 *******************",
        "",
        "0302 10:00:00.001 FindObjects +",
        "0302 10:00:00.002   Open +",
        "0302 10:00:00.003     Opened Delta table: 7",
        "0302 10:00:00.004   Open -",
        "0302 10:00:00.005   two",
        "lines",
        "0302 10:00:00.006 FindObjects -",
        "0302 10:00:00.007 Open (nothing to do)",
        "0302 10:00:00.008   Stray",
        "0302 10:00:00.009 FindObjects +",
        "0302 10:00:00.010 ReportStatus",
    ]

    def setUp(self):
        super().setUp()
        self.init()
        self.log(self.LINES)

    def log(self, lines, name="DevLog.txt"):
        return self.write(f"device/{name}", "".join(line + "\r\n" for line in lines))

    def shown(self, *words):
        """The numbers of the lines that are shown."""
        return [self.LINES.index(line) for line in self.out("log", *words).splitlines()]

    def test_is_shown_as_it_is(self):
        self.assertEqual(self.out("log").splitlines(), self.LINES)

    def test_of_before_is_kept(self):
        self.log(["0301 10:00:00.000 Yesterday"], "DevLog-.txt")
        self.assertEqual(self.out("log", "--previous"), "0301 10:00:00.000 Yesterday\n")

    def test_an_operation_is_shown_with_what_it_called(self):
        self.assertEqual(self.shown("--operation", "FindObjects"), [3, 4, 5, 6, 7, 8, 9, 12])
        self.assertEqual(self.shown("--operation", "Open"), [4, 5, 6, 10])
        self.assertEqual(self.shown("--operation", "Nothing"), [])

    def test_a_level_is_a_depth_of_calls(self):
        self.assertEqual(self.shown("--level", 0), [0, 1, 0, 3, 9, 10, 12, 13])
        self.assertEqual(self.shown("--operation", "FindObjects", "--level", 0), [3, 9, 12])
        self.assertEqual(self.shown("--operation", "FindObjects", "--level", 1), [3, 4, 6, 7, 8, 9, 12])
        self.assertEqual(self.shown("--operation", "Opened", "--level", 0), [5])

    def test_a_last_trace_without_a_first_one_ends_no_operation(self):
        lines = ["  Db::Get+", "  Packet::Next -", "  Db::Get step", "Db::Get done -", "After"]
        self.log(["0302 10:00:00.000 " + line for line in lines])
        shown = [line["text"] for line in self.json("log", "--operation", "Get", "--level", 0)]
        self.assertEqual(shown, ["Db::Get+", "Db::Get done -"])
        shown = [line["text"] for line in self.json("log", "--operation", "Get")]
        self.assertEqual(shown, [line.strip() for line in lines[:4]])

    def test_lines_are_picked_by_text_and_by_pattern(self):
        self.assertEqual(self.shown("--contains", "Open"), [4, 5, 6, 10])
        self.assertEqual(self.shown("--grep", "^Open.*[+-]$"), [4, 6])
        self.assertEqual(self.shown("--grep", "table: [0-9]+", "--operation", "FindObjects"), [5])
        self.assertEqual(self.shown("--contains", "0302", "--level", 0), [3, 9, 10, 12, 13])
        self.assertIn("--grep", self.error("log", "--grep", "(", code=WRONG_USAGE))

    def test_json_tells_time_depth_and_text(self):
        lines = self.json("log")
        self.assertEqual(len(lines), len(self.LINES))
        self.assertEqual(lines[5], {"time": "0302 10:00:00.003", "depth": 2, "text": "Opened Delta table: 7"})
        self.assertEqual(lines[8], {"time": "", "depth": 1, "text": "lines"})

    def test_is_followed_as_it_grows_and_begins_anew(self):
        process = subprocess.Popen(
            [KEZSYNC, "log", "--follow", "--contains", "0302"], env=self.environment, stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        wanted = [line for line in self.LINES if "0302" in line]
        self.assertEqual([process.stdout.readline().rstrip("\n") for _ in wanted], wanted)
        path = self.device / "DevLog.txt"
        with open(path, "ab") as log:
            log.write(b"0302 10:00:01.000 Half")
            log.flush()
            log.write(b" a line\r\n")
        self.assertEqual(process.stdout.readline(), "0302 10:00:01.000 Half a line\n")
        path.rename(self.device / "DevLog-.txt")
        self.log(["0302 10:00:02.000 A new log"])
        self.assertEqual(process.stdout.readline(), "0302 10:00:02.000 A new log\n")

    def test_nests_what_a_synchronisation_did(self):
        self.run_command("import", self.write("people.vcf", card("Ada Lovelace")), "--quiet")
        self.sync("--log-level", 100)
        whole = self.json("log")
        self.assertGreater(max(line["depth"] for line in whole), 2)
        part = self.json("log", "--operation", "GetPacket", "--level", 0)
        self.assertTrue(part and all("GetPacket" in line["text"] for line in part))
        self.assertLess(len(part), len(self.json("log", "--operation", "GetPacket")))


class Undo(CommandTest):
    def items(self):
        return {item["oid"]: item["fields"] for item in self.json("list")}

    def files(self):
        return {path.name: path.read_bytes() for path in self.folder.glob("*.vcf")}

    def synchronise_changes_of_both_sides(self):
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether", "Grace Hopper")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nX-A:1\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.run_command("delete", self.oid("Emmy Noether"))
        self.file("Grace Hopper").unlink()
        self.write("folder/new.vcf", card("Sofja Kowalewskaja"))
        self.run_command("import", self.write("more.vcf", card("Kurt Goedel")), "--quiet")
        before = self.items(), self.files()
        self.sync()
        self.assertNotEqual((self.items(), self.files()), before)
        return before

    def test_puts_both_sides_back(self):
        before = self.synchronise_changes_of_both_sides()
        done = self.json("undo", self.folder)
        self.assertEqual(done, {"restoredFiles": 2, "removedFiles": 1})
        self.assertEqual((self.items(), self.files()), before)
        self.assertIn("no synchronisation", self.error("undo", self.folder, code=FAILED))

    def test_leaves_a_state_from_which_the_same_synchronisation_follows(self):
        self.synchronise_changes_of_both_sides()
        after = self.items().values()
        self.out("undo", self.folder)
        done = self.sync()["summary"]
        self.assertEqual(
            [done[name] for name in ("sent", "received", "deletedOnDevice", "deletedInFolder", "failed")], [2, 2, 1, 1, 0]
        )
        key = lambda fields: fields["LastName"]
        self.assertEqual(sorted(self.items().values(), key=key), sorted(after, key=key))
        self.assertEqual(self.sync()["summary"]["unchanged"], 4)

    def test_is_of_the_last_synchronisation_that_did_something(self):
        before = self.synchronise_changes_of_both_sides()
        self.sync()
        for path in self.folder.glob("*.vcf"):
            path.touch()
        self.sync()
        self.out("undo", self.folder)
        self.assertEqual((self.items(), self.files()), before)

    def test_refuses_where_an_item_on_the_device_changed_since(self):
        before = self.synchronise_changes_of_both_sides()
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        trees = self.items(), self.files()
        self.assertIn("the device's Contacts Database was changed", self.error("undo", self.folder, code=REFUSED))
        self.assertEqual((self.items(), self.files()), trees)
        self.out("undo", self.folder, "--force")
        self.assertEqual((self.items(), self.files()), before)

    def test_refuses_where_a_file_that_it_would_touch_changed_since(self):
        before = self.synchronise_changes_of_both_sides()
        name = self.file("Alan Turing").name
        self.edit("Alan Turing", "TITLE:Reader", "TITLE:Fellow")
        self.assertIn(name, self.error("undo", self.folder, code=REFUSED))
        self.out("undo", self.folder, "--force")
        self.assertEqual((self.items(), self.files()), before)

    def test_keeps_files_that_it_has_nothing_to_do_with(self):
        self.synchronise_changes_of_both_sides()
        self.edit("Ada Lovelace", "X-A:1", "X-A:2")  # was read by the synchronisation, not written
        self.write("folder/later.vcf", card("Lise Meitner"))
        self.out("undo", self.folder)
        self.assertIn("X-A:2", self.file("Ada Lovelace").read_text())
        self.assertTrue((self.folder / "later.vcf").exists())

    def test_refuses_after_the_other_partnership_heard_of_it(self):
        self.people("Ada Lovelace")
        self.sync()
        other = self.place / "other"
        self.json("sync", other, "--partner", 2)
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.sync()
        self.json("sync", other, "--partner", 2)
        self.assertIn("other partnership", self.error("undo", self.folder, code=REFUSED))

    def test_of_another_folder_is_refused_by_name(self):
        self.people("Ada Lovelace")
        self.sync()
        other = self.place / "other"
        other.mkdir()
        self.assertIn(str(self.folder), self.error("undo", other, code=FAILED))

    def test_an_interrupted_undo_goes_on(self):
        before = self.synchronise_changes_of_both_sides()
        # As far as it gets before the volumes are put back.
        (self.device / ".kezundo" / "1" / "restoring").touch()
        (self.folder / self.file("Kurt Goedel").name).unlink()
        self.out("undo", self.folder)
        self.assertEqual((self.items(), self.files()), before)

    def test_with_a_copy_missing_changes_nothing(self):
        self.synchronise_changes_of_both_sides()
        after = self.items(), self.files()
        record = self.device / ".kezundo" / "1"
        copies = [path for path in record.iterdir() if path.name.isdigit()]
        self.assertEqual(len(copies), 2)
        for path in [*copies, record / "pim.vol", record / "state.db"]:
            away = path.rename(path.with_suffix(".away"))
            # Also for one that goes on.
            for restoring in (False, True):
                if restoring:
                    (record / "restoring").touch()
                self.assertIn(f"{path.name} is missing", self.error("undo", self.folder, "--force", code=FAILED))
                self.assertEqual((self.items(), self.files()), after)
            (record / "restoring").unlink()
            away.rename(path)

    def test_what_is_left_of_a_record_is_none(self):
        self.synchronise_changes_of_both_sides()
        after = self.items(), self.files()
        (self.device / ".kezundo" / "1" / "about.json").unlink()
        self.assertIn("no synchronisation", self.error("undo", self.folder, "--force", code=FAILED))
        self.assertEqual((self.items(), self.files()), after)

    def test_what_the_owner_edits_while_it_is_synchronised_is_not_taken_for_its_work(self):
        self.people("Ada Lovelace")
        self.sync()
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.sync()
        # As if the edit had come between the write and the end: the record knows what was written.
        record = self.device / ".kezundo" / "1"
        [line] = [json.loads(line) for line in (record / "files").read_text().splitlines()]
        self.assertEqual(line[2], json.loads((record / "about.json").read_text())["files"][line[1]])
        self.edit("Ada Lovelace", "TITLE:Countess", "TITLE:Reader")
        self.assertIn(line[1], self.error("undo", self.folder, code=REFUSED))

    def test_a_synchronisation_with_nothing_to_do_keeps_nothing(self):
        self.init()
        self.sync()
        self.assertFalse((self.device / ".kezundo").exists())


class Install(CommandTest):
    def test_what_is_installed_works_where_it_was_put(self):
        build = pathlib.Path(KEZSYNC).parents[1]
        prefix = self.place / "usr"
        for room in ("cli", "platform/changewriter"):
            subprocess.run(
                ["cmake", "-DCMAKE_INSTALL_PREFIX=" + str(prefix), "-P", build / room / "cmake_install.cmake"],
                check=True,
                capture_output=True,
            )
        for name in (
            "bin/kezsync",
            "lib/kezsync/libkezdevice.so",
            "lib/kezsync/DevKEZASPContact.so",
            "share/man/man1/kezsync.1",
            "share/bash-completion/completions/kezsync",
            "share/doc/kezsync/guide.md",
        ):
            self.assertTrue((prefix / name).is_file(), name)
        for program in ("kezsync", "kezchangewriter"):
            libraries = subprocess.run(["ldd", prefix / "bin" / program], capture_output=True, text=True).stdout
            self.assertIn(str(prefix), libraries, program)
            self.assertNotIn("not found", libraries, program)
        self.people("Ada Lovelace")
        done = subprocess.run(
            [prefix / "bin/kezsync", "sync", self.folder, "--json"],
            capture_output=True,
            text=True,
            env={**self.environment, "LD_LIBRARY_PATH": ""},
        )
        self.assertEqual((done.returncode, done.stderr), (DONE, ""))
        self.assertEqual(json.loads(done.stdout)["summary"]["received"], 1)


class Watch(CommandTest):
    def start(self, *words):
        process = subprocess.Popen(
            [KEZSYNC, "watch", self.folder, *words], env=self.environment, stdout=subprocess.PIPE, text=True
        )
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def await_line(self, process, text):
        for line in process.stdout:
            if text in line:
                return
        self.fail(f"watch ended without saying {text}")

    def test_carries_changes_of_either_side_and_ends_on_a_signal(self):
        self.people("Ada Lovelace")
        self.sync()
        for end in (signal.SIGTERM, signal.SIGINT):
            process = self.start()
            self.write(f"folder/new{end.value}.vcf", card(f"Alan Turing{end.value}"))
            self.await_line(process, f"Alan Turing{end.value}")
            self.run_command("set", self.oid("Ada Lovelace"), f"JobTitle=Countess {end.value}")
            self.await_line(process, "Ada Lovelace  (JobTitle)")
            self.assertIn(f"TITLE:Countess {end.value}", self.file("Ada Lovelace").read_text())
            process.send_signal(end)
            self.assertEqual(process.wait(20), DONE)

    def test_ends_when_nothing_changes(self):
        self.people("Ada Lovelace")
        self.assertIn("Ada Lovelace", self.out("watch", self.folder, "--once-idle", 1))

    def test_ends_where_safety_refuses(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        process = self.start("--once-idle", "20")
        for path in self.folder.glob("*.vcf"):
            path.unlink()
        self.assertEqual(process.wait(20), REFUSED)

    def test_a_signal_in_its_first_synchronisation_ends_it_in_order(self):
        self.people(*(f"Person N{number:03}" for number in range(200)))
        for end in (signal.SIGTERM, signal.SIGINT):
            process = self.start("--quiet")
            lock = self.folder / ".kezsync.lock"
            while not lock.exists() or lock.read_text() != str(process.pid):
                self.assertIsNone(process.poll())
            process.send_signal(end)
            self.assertEqual(process.wait(20), DONE)
            self.assertEqual(list(self.folder.glob(".kez-*")), [])
        self.sync()
        self.assertEqual(len(list(self.folder.glob("*.vcf"))), 200)
        self.assertEqual(len(self.titles()), 200)

    def test_takes_the_options_of_sync(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.out("watch", self.folder, "--once-idle", 1, "--conflict", "folder", "--type", "contacts")
        self.assertEqual(self.fields("Ada Lovelace")["JobTitle"], "Countess")
        for path in self.folder.glob("*.vcf"):
            path.unlink()
        self.run_command("watch", self.folder, "--once-idle", 1, "--max-deleted", 90, code=REFUSED)
        self.out("watch", self.folder, "--once-idle", 1, "--force", "--durability", "none", "--log-level", 50)
        self.assertEqual(self.titles(), [])
        self.assertTrue(self.out("log"))

    def test_forces_its_first_synchronisation_only(self):
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        process = self.start("--force", "--once-idle", "20")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.await_line(process, "Ada Lovelace")
        for path in self.folder.glob("*.vcf"):
            path.unlink()
        self.assertEqual(process.wait(20), REFUSED)
        self.assertEqual(self.titles(), ["Ada Lovelace", "Alan Turing"])

    def test_has_nobody_to_ask(self):
        self.init()
        result = self.run_command("watch", self.folder, "--conflict", "ask", code=WRONG_USAGE)
        self.assertIn("--conflict", result.stderr)
