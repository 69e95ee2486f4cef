"""A device or a folder that was put back to an older copy of itself is recognised, and nothing is lost by it."""

from command import *


class OlderCopies(CommandTest):
    def setUp(self):
        super().setUp()
        self.people("Ada Lovelace", "Alan Turing", "Emmy Noether")
        self.sync()

    def later(self):
        """What happens between the copy and its return: an edit on each side, somebody new, somebody gone."""
        self.edit("Ada Lovelace", "END:VCARD", "TITLE:Countess\r\nEND:VCARD")
        self.run_command("set", self.oid("Alan Turing"), "JobTitle=Reader")
        self.file("Emmy Noether").unlink()
        self.write("folder/new.vcf", card("Grace Hopper"))
        self.sync()

    def put_back(self, path):
        shutil.rmtree(path)
        shutil.copytree(self.place / "copy", path, symlinks=True)

    def jobs(self):
        return {item["title"]: item["fields"].get("JobTitle") for item in self.json("list")}

    def assert_agreed(self):
        again = self.sync()
        self.assertEqual(again["items"], [])
        files = {path.name: path.read_text() for path in self.folder.glob("*.vcf")}
        self.assertEqual(len(files), len(self.titles()))
        for title, job in self.jobs().items():
            self.assertEqual(f"TITLE:{job}" in self.file(title).read_text(), job is not None)

    def test_an_older_device_gets_back_what_it_lost(self):
        shutil.copytree(self.device, self.place / "copy")
        self.later()
        self.put_back(self.device)
        report = self.sync(code=PARTLY)
        self.assertIn("is an older copy of itself", report["findings"][0]["text"])
        self.assertEqual(report["findings"][0]["where"], str(self.device))
        self.assertEqual(
            self.jobs(),
            {"Ada Lovelace": "Countess", "Alan Turing": "Reader", "Emmy Noether": None, "Grace Hopper": None},
        )
        self.assert_agreed()

    def test_an_older_volume_of_items_is_an_older_device(self):
        for name in ("pim.vol", "pim.vol-wal", "pim.vol-shm"):
            if (self.device / name).exists():
                shutil.copy(self.device / name, self.place / name)
        self.later()
        for name in ("pim.vol", "pim.vol-wal", "pim.vol-shm"):
            (self.device / name).unlink(missing_ok=True)
            if (self.place / name).exists():
                shutil.copy(self.place / name, self.device / name)
        self.assertIn("older copy", self.sync(code=PARTLY)["findings"][0]["text"])
        jobs = self.jobs()
        self.assertEqual(jobs["Ada Lovelace"], "Countess")
        self.assertEqual(jobs["Alan Turing"], "Reader")
        self.assertIn("Grace Hopper", jobs)
        self.assert_agreed()

    def test_an_older_folder_takes_over_what_the_device_has(self):
        shutil.copytree(self.folder, self.place / "copy")
        self.later()
        self.put_back(self.folder)
        report = self.sync(code=PARTLY)
        self.assertEqual(report["findings"][0]["where"], str(self.folder))
        self.assertEqual(
            self.jobs(),
            {"Ada Lovelace": "Countess", "Alan Turing": "Reader", "Emmy Noether": None, "Grace Hopper": None},
        )
        self.assert_agreed()

    def test_a_rehearsal_tells_it_as_well_and_the_synchronisation_after_it(self):
        shutil.copytree(self.device, self.place / "copy")
        self.later()
        self.put_back(self.device)
        before = tree(self.folder)
        self.assertIn("is an older copy of itself", self.out("sync", self.folder, "--dry-run", code=PARTLY))
        self.assertEqual(tree(self.folder), before)
        self.assertIn("is an older copy of itself", self.out("sync", self.folder, code=PARTLY))

    def test_one_that_was_undone_is_none(self):
        self.later()
        self.run_command("undo", self.folder)
        self.sync()
        self.assert_agreed()

    def test_the_other_partnership_is_not_disturbed(self):
        other = self.place / "other"
        self.run_command("sync", other, "--partner", "2")
        self.later()
        self.run_command("sync", other, "--partner", "2")
        self.assertEqual(self.sync()["findings"], [])


if __name__ == "__main__":
    unittest.main()
