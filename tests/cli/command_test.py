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
