"""What cannot be written, a disk that is full, and options that make no sense: an error that names what it is about,
a code that tells what happened, and nothing lost."""

import contextlib
import resource

from command import *

NOBODY = 65534


def ignore_and_limit(bytes):
    """For a child: no file of it grows beyond this; it is told so, not killed."""

    def prepare():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (bytes, bytes))

    return prepare


class FullDisk(CommandTest):
    SIZES = [0, 1, 500, 1024, 4096, 10_000, 30_000, 50_000, 70_000, 90_000, 120_000, 160_000, 250_000]

    def run_limited(self, bytes, *words):
        """The result of a run on a disk of which each file may have so many bytes."""
        result = subprocess.run(
            [KEZSYNC, *map(str, words)],
            capture_output=True,
            text=True,
            env=self.environment,
            timeout=60,
            preexec_fn=ignore_and_limit(bytes),
            restore_signals=False,
        )
        self.assertIn(result.returncode, (DONE, FAILED, PARTLY), f"{bytes}\n{result.stdout}{result.stderr}")
        if result.returncode == FAILED:
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        return result

    def test_at_any_point_of_a_synchronisation_loses_nothing(self):
        names = [f"Person N{number:02}" for number in range(30)]
        ended = set()
        for bytes in self.SIZES:
            self.device, self.folder = self.place / f"device{bytes}", self.place / f"folder{bytes}"
            self.environment["KEZSYNC_DEVICE"] = str(self.device)
            self.people(*names[:20])
            for name in names[20:]:
                self.write(f"{self.folder.name}/{name[-2:]}.vcf", card(name, "NOTE:" + "n" * 1000))
            ended.add(self.run_limited(bytes, "sync", self.folder, "--quiet").returncode)
            self.sync()
            self.assertEqual(self.titles(), names, bytes)
            self.assertEqual(len(list(self.folder.glob("*.vcf"))), 30)
            self.assertEqual(self.sync()["summary"]["unchanged"], 30)
            self.assertEqual(self.json("doctor")["findings"], [])
        self.assertEqual(ended & {DONE, FAILED}, {DONE, FAILED})

    def test_a_volume_that_cannot_be_copied_for_undo_ends_it_before_anything_is_changed(self):
        self.people("Ada Lovelace")
        todo = "BEGIN:VTODO\r\nUID:{0}\r\nSUMMARY:Task {0}\r\nDESCRIPTION:" + "n" * 3000 + "\r\nEND:VTODO\r\n"
        todos = "".join(map(todo.format, range(100)))
        self.run_command("import", self.write("t.ics", f"BEGIN:VCALENDAR\r\n{todos}END:VCALENDAR\r\n"), "--quiet")
        words = ["sync", self.folder, "--type", "contacts"]
        self.out(*words)
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        before = self.json("list"), self.file("Ada Lovelace").read_bytes()
        result = self.run_limited((self.device / "pim.vol").stat().st_size - 1, *words)
        self.assertEqual(result.returncode, FAILED)
        self.assertIn("pim.vol", result.stderr)
        self.assertEqual((self.json("list"), self.file("Ada Lovelace").read_bytes()), before)
        self.assertEqual(self.json(*words)["summary"]["sent"], 1)
        self.out("undo", self.folder)
        self.assertEqual((self.json("list"), self.file("Ada Lovelace").read_bytes()), before)

    def test_names_what_could_not_be_written(self):
        self.people("Ada Lovelace")
        self.assertIn(str(self.device), self.run_limited(0, "sync", self.folder).stderr)
        self.assertIn("fresh", self.run_limited(0, "init", self.place / "fresh").stderr)
        self.assertIn("device", self.run_limited(4096, "import", self.write("b.vcf", card("Alan Turing"))).stderr)
        self.assertEqual(self.titles(), ["Ada Lovelace"])


class Unwritable(CommandTest):
    """Run by somebody who may not do everything, with a program of their own."""

    @classmethod
    def setUpClass(cls):
        cls.prefix = pathlib.Path(tempfile.mkdtemp(prefix="kezsync-test-"))
        cls.prefix.chmod(0o755)
        cls.addClassCleanup(shutil.rmtree, cls.prefix, ignore_errors=True)
        script = pathlib.Path(KEZSYNC).parents[1] / "cli" / "cmake_install.cmake"
        subprocess.run(
            ["cmake", f"-DCMAKE_INSTALL_PREFIX={cls.prefix}", "-P", script], check=True, capture_output=True
        )

    def setUp(self):
        super().setUp()
        self.bound = 0
        self.place.chmod(0o777)
        self.people("Ada Lovelace", "Alan Turing")
        self.sync()
        self.give_all()

    def give_all(self):
        if os.geteuid() == 0:
            for path in [self.device, self.folder, *self.device.rglob("*"), *self.folder.rglob("*")]:
                os.chown(path, NOBODY, NOBODY)

    def run_command(self, *words, code=DONE, **more):
        if os.geteuid() == 0 and self.bound:
            more = {**more, "user": NOBODY, "group": NOBODY, "extra_groups": []}
        result = subprocess.run(
            [self.prefix / "bin/kezsync", *map(str, words)],
            capture_output=True,
            text=True,
            env={**self.environment, "LD_LIBRARY_PATH": ""},
            timeout=60,
            cwd="/",
            **more,
        )
        self.assertEqual(result.returncode, code, f"{words}\n{result.stdout}{result.stderr}")
        return result

    @contextlib.contextmanager
    def forbidden(self, path, mode=0o555):
        """While this lasts the path cannot be written, and whoever runs the command is bound by that."""
        self.bound += 1
        before = path.stat().st_mode
        path.chmod(mode)
        yield
        path.chmod(before)
        self.bound -= 1
        self.give_all()

    def test_a_folder_that_can_only_be_read_is_named_and_both_sides_stay(self):
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Countess")
        self.give_all()
        before = {path: path.read_bytes() for path in self.folder.glob("*.vcf")}
        with self.forbidden(self.folder):
            self.assertIn(str(self.folder), self.error("sync", self.folder, code=FAILED))
        self.assertEqual({path: path.read_bytes() for path in self.folder.glob("*.vcf")}, before)
        self.assertEqual(self.sync()["summary"]["received"], 1)

    def test_a_folder_that_cannot_be_made_is_named(self):
        inside = self.place / "inside"
        inside.mkdir()
        with self.forbidden(inside):
            for words in (["sync", inside / "new", "--partner", "2"], ["export", inside / "new"], ["init", inside / "new"]):
                self.assertIn(str(inside / "new"), self.error(*words, code=FAILED))
        self.assertEqual(list(inside.iterdir()), [])

    def test_a_folder_that_cannot_be_read_is_no_empty_one(self):
        with self.forbidden(self.folder, 0o000):
            for words in (["sync", self.folder], ["sync", self.folder, "--dry-run"], ["status", self.folder],
                          ["check", self.folder]):
                self.assertIn(str(self.folder), self.error(*words, code=FAILED))
        self.assertEqual(self.sync()["summary"]["unchanged"], 2)

    def test_a_file_that_cannot_be_read_stops_itself_alone(self):
        path = self.file("Ada Lovelace")
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.edit("Alan Turing", "END:VCARD", "TITLE:Reader\r\nEND:VCARD")
        with self.forbidden(path, 0o000):
            report = self.sync(code=PARTLY)
            self.assertEqual((report["summary"]["sent"], report["summary"]["unresolved"]), (1, 1))
            [item] = [item for item in report["items"] if item["outcome"] == "unresolved"]
            self.assertEqual((item["title"], item["file"]), ("Ada Lovelace", path.name))
        self.assertEqual(self.sync()["summary"]["sent"], 1)

    def test_a_device_that_can_only_be_read_is_named_and_can_be_rehearsed_with(self):
        more = self.write("b.vcf", card("Grace Hopper"))
        with self.forbidden(self.device), self.forbidden(self.device / "pim.vol", 0o444):
            for words in (["list"], ["sync", self.folder], ["set", 16777217, "JobTitle=x"], ["import", more]):
                self.assertIn(str(self.device), self.error(*words, code=FAILED))
            self.assertIn("written to", self.error("list", code=FAILED))
            self.assertEqual(self.sync("--dry-run")["summary"]["unchanged"], 2)
        self.assertEqual(self.sync()["summary"]["unchanged"], 2)

    def test_a_device_whose_items_are_none_sends_to_the_doctor(self):
        for bytes in (b"", b"garbage" * 1000):
            (self.device / "pim.vol").write_bytes(bytes)
            text = self.error("list", code=FAILED)
            self.assertIn(str(self.device), text)
            self.assertIn("kezsync doctor", text)


class Options(CommandTest):
    """Each option of each command, said wrongly."""

    def declared(self, command):
        """The options of a command with the type that its help gives them."""
        text = self.out(*command.split(), "--help")
        return [
            (names.split(",")[-1], kind)
            for names, kind in re.findall(r"^  (-\S+)(?: (\S+))?", text, re.M)
            if not kind.startswith("(")
        ]

    def commands(self):
        names = self.help_commands()
        names.remove("packet")
        return [*names, "packet dump", "packet diff"]

    def test_a_value_that_makes_no_sense_is_named_with_its_option(self):
        self.init()
        tried = 0
        for command in self.commands():
            for option, kind in self.declared(command):
                if "|" in kind or kind == "NUMBER":
                    for value in ("coin", "-1", ""):
                        text = self.run_command(*command.split(), f"{option}={value}", code=WRONG_USAGE).stderr
                        self.assertIn(option, text, (command, value))
                        tried += 1
        self.assertGreater(tried, 40)

    def test_an_option_without_its_value_is_named(self):
        self.init()
        for command in self.commands():
            for option, kind in self.declared(command):
                if kind:
                    text = self.run_command(*command.split(), option, code=WRONG_USAGE).stderr
                    self.assertIn(option, text, command)

    def test_common_options_said_wrongly_are_named(self):
        self.init()
        for words in (["--partner", "3"], ["--partner", "0"], ["--color", "blue"], ["--partner"], ["--device"]):
            self.assertIn(words[0], self.run_command("list", *words, code=WRONG_USAGE).stderr)
        self.assertIn("--frobnicate", self.run_command("list", "--frobnicate", code=WRONG_USAGE).stderr)
        self.assertIn("surplus", self.run_command("show", "1", "surplus", code=WRONG_USAGE).stderr)

    def test_what_stands_without_an_option_and_is_missing_is_named(self):
        self.init()
        for command in self.commands():
            missing = re.findall(r"^  (\S+)(?: x 2| \S+)? REQUIRED", self.out(*command.split(), "--help"), re.M)
            if missing:
                text = self.run_command(*command.split(), code=WRONG_USAGE).stderr
                self.assertTrue(any(name in text for name in missing), (command, text))

    def test_an_empty_name_is_none(self):
        self.init()
        for command in ("sync", "watch", "status", "check", "undo", "conflicts", "export", "import", "init"):
            self.assertIn("names nothing", self.run_command(command, "", code=WRONG_USAGE).stderr)

    def test_the_configuration_has_to_be_right(self):
        self.init()
        missing = self.place / "missing"
        self.assertIn(str(missing), self.run_command("list", "--config", missing, code=WRONG_USAGE).stderr)
        for line in ("devise=x", "garbage", "sync.conflicts=device"):
            path = self.write("mine", line + "\n")
            self.assertIn(str(path), self.error("list", "--config", path, code=WRONG_USAGE), line)
        path = self.write("mine", "partner=7\n")
        self.assertIn("--partner", self.run_command("list", "--config", path, code=WRONG_USAGE).stderr)

    def test_the_configuration_may_set_what_a_command_takes(self):
        self.people("Ada Lovelace")
        self.sync()
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Ada Lovelace"), "JobTitle=Programmer")
        self.out("sync", self.folder, "--config", self.write("mine", "[sync]\nconflict=device\n"))
        self.assertEqual(self.fields("Ada Lovelace")["JobTitle"], "Programmer")

    def test_a_zone_that_there_is_not_is_named(self):
        self.init()
        self.folder.mkdir()
        for words in (["init", self.place / "new"], ["check", self.folder]):
            self.assertIn("Mars", self.error(*words, "--time-zone", "Mars", code=FAILED))

    def test_check_takes_times_to_the_zone_that_is_named(self):
        lines = ["BEGIN:VCALENDAR", "VERSION:2.0", "BEGIN:VEVENT", "UID:a", "SUMMARY:Year's end", "GEO:52.5;13.4",
                 "DTSTART:20251231T230000Z", "DTEND:20251231T233000Z", "END:VEVENT", "END:VCALENDAR", ""]
        self.write("folder/a.ics", "\r\n".join(lines))
        self.init()  # Europe/Berlin
        self.environment["TZ"] = "America/New_York"
        self.assertIn("2026-01-01 00:00", self.out("check", self.folder))
        self.assertIn("2025-12-31 23:00", self.out("check", self.folder, "--time-zone", "UTC"))
        del self.environment["KEZSYNC_DEVICE"]
        self.assertIn("2025-12-31 18:00", self.out("check", self.folder))

    def test_color_is_offered_to_all(self):
        self.people("Ada Lovelace")
        self.environment["NO_COLOR"] = "1"
        self.assertIn("\x1b", self.out("sync", self.folder, "--dry-run", "--color", "always"))
