"""The commands of README.md, docs/guide.md and of every --help, run as they stand there, with what they are said to
print. Times, numbers of items on the device and names of new files differ from run to run.

    KEZSYNC=build/dev/bin/kezsync tests/clients/guide_test.py --update   puts what is really printed into the guide
"""

import os
import re
import shutil
import sys

from clients import ROOT, Reader
from command import DONE, card

GUIDE = ROOT / "docs/guide.md"

MASKS = [
    (r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}", "UUID"),
    (r"\b\d{8}\b", "NUMBER"),
    (r"\b\d+\.\d\d s\b", "T s"),
    (r"\b[0-9a-f]{1,4} *$", "SHORT"),  # as much of a UID as khard needs
    (r" +", " "),
]


def blocks(text):
    """The indented blocks, each with the line before it."""
    before, block = "", []
    for line in [*text.splitlines(), "end"]:
        if line.startswith("    ") or (block and not line):
            block.append(line[4:])
            continue
        if block:
            while block and not block[-1]:
                block.pop()
            yield before, block
            block = []
        if line:
            before = line


def steps(text):
    """What a reader does: ("file", path, content) and ("run", command, lines that it prints)."""
    for before, block in blocks(text):
        named = re.search(r"`(~[^`]*)`[^`]*:$", before)
        if named and not block[0].startswith("$ "):
            yield "file", named[1], "\n".join(block) + "\n"
            continue
        command = None
        for line in block:
            if line.startswith("$ "):
                if command:
                    yield "run", command, shown
                command, shown = line[2:], []
            elif command:
                shown.append(line)
        if command:
            while shown and not shown[-1]:
                shown.pop()
            yield "run", command, shown


def masked(lines):
    out = []
    for line in lines:
        for pattern, name in MASKS:
            line = re.sub(pattern, name, line)
        if line.strip():
            out.append(line.rstrip())
    return sorted(out)  # several items are listed in an order of no meaning


class Guide(Reader):
    def taken(self):
        """The steps of the guide with what really was printed."""
        commands, found = [], []
        for kind, name, content in steps(GUIDE.read_text()):
            if kind == "file":
                # The reader's own server and its password are ours here.
                content = content.replace("https://server.example", self.server)
                content = re.sub(r"password.fetch = .*", 'password = "x"', content)
                self.put(name, content)
            else:
                commands.append(name)
                found.append((name, content))
        return [(name, shown, *result) for (name, shown), result in zip(found, self.run_all(commands))]

    def test_prints_what_it_says(self):
        self.server = self.serve()
        for command, shown, printed, code in self.taken():
            self.assertEqual(masked(printed.splitlines()), masked(shown), f"$ {command}\n{printed}\nexit code {code}")

    def update(self):
        self.server = self.serve()
        before, text = "", GUIDE.read_text()
        for command, shown, printed, _ in self.taken():
            start = text.index(f"    $ {command}\n")
            before, text = before + text[:start], text[start:]
            if masked(printed.splitlines()) == masked(shown):
                continue
            old = "".join(f"    {line}".rstrip() + "\n" for line in [f"$ {command}", *shown])
            assert text.startswith(old), (old, text[:800])
            lines = [line.rstrip() for line in printed.replace(self.server, "https://server.example").splitlines()]
            new = [f"    {line}" for line in [f"$ {command}", *filter(None, lines)]]
            new += [""] * (shown[-1:] == [""])  # between two commands
            before, text = before + "\n".join(new) + "\n", text[len(old) :]
        GUIDE.write_text(before + text)


class Examples(Reader):
    def setUp(self):
        super().setUp()
        shutil.copytree(ROOT / "samples", self.home / "calendar")
        (self.home / "people.vcf").write_text(card("Ada Lovelace"))
        self.run_all(["kezsync init my-device --time-zone UTC && kezsync import --device my-device people.vcf"])
        ((self.oid, _),) = self.run_all(["kezsync list --device my-device | awk '{printf $1}'"])
        shutil.copytree(self.home / "my-device", self.place / "as-made")

    def test_of_each_help_can_be_run(self):
        (overview, _), *_ = self.run_all(["kezsync --help"])
        names = re.findall(r"^  ([a-z]+) ", overview[re.search("(?i)subcommands:", overview).end() :], re.M)
        self.assertGreater(len(names), 15)
        (packets, _), *_ = self.run_all(["kezsync packet --help"])
        names += [f"packet {name}" for name in re.findall(r"^  (dump|diff) ", packets, re.M)]
        for name in names:
            ((text, code),) = self.run_all([f"kezsync {name} --help"])
            example = re.search(r"Examples?:\n +(kezsync .*)", text)
            self.assertTrue(example, text)
            self.assertEqual(code, "0")
            self.check(name, example[1].strip())

    def check(self, name, example):
        # An item of the device that there is; nobody stays to watch, and nothing is missing that a run makes.
        example = re.sub(r"\b16777\d{3}\b", self.oid, example)
        example = re.sub(r"\bnew-device\b|(?<=init )my-device", "other-device", example)
        if name == "watch":
            example += " --once-idle 1"
        if name == "log":
            example = example.replace("--follow", "")
        shutil.rmtree(self.home / "my-device")
        shutil.copytree(self.place / "as-made", self.home / "my-device")
        shutil.rmtree(self.home / "people", ignore_errors=True)
        if name.startswith("packet"):
            return  # of captured packets; those have tests of their own
        before = {
            "undo": "kezsync sync --device my-device ~/people -q && ",
            "conflicts": "kezsync sync --device my-device ~/people -q && ",
            "status": "kezsync sync --device my-device ~/people -q && ",
            "log": "kezsync sync --device my-device ~/people --log-level 50 -q && ",
        }
        ((text, code),) = self.run_all([before.get(name, "") + example])
        self.assertNotEqual(code, "2", f"{example}\n{text}")
        if name not in ("check", "resolve", "delete"):
            self.assertEqual(code, "0", f"{example}\n{text}")


class Readme(Reader):
    def test_names_files_and_folders_that_are_there(self):
        text = (ROOT / "README.md").read_text()
        for link in re.findall(r"\]\(([^)#]+)\)", text):
            self.assertTrue((ROOT / link).exists(), link)
        for folder in re.findall(r"`([a-z]+)/`", text):
            self.assertTrue((ROOT / folder).is_dir(), folder)
        for script in re.findall(r"^    (\./\w+\.sh)", text, re.M):
            self.assertTrue(os.access(ROOT / script, os.X_OK), script)

    def test_commands_that_it_shows_exist(self):
        text = (ROOT / "README.md").read_text()
        words = set(re.findall(r"(?:`kezsync|run\.sh) ([a-z]+)", text)) | {"status", "check", "undo"}
        for word in words:
            ((printed, code),) = self.run_all([f"kezsync {word} --help"])
            self.assertEqual(int(code), DONE, printed)
        self.assertIn("--dry-run", self.run_all(["kezsync sync --help"])[0][0])


if __name__ == "__main__" and "--update" in sys.argv:
    guide = Guide("update")
    guide.setUp()
    try:
        guide.update()
    finally:
        guide.doCleanups()
