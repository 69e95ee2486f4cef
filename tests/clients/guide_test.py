"""The commands of README.md, docs/guide.md and of every --help, run as they stand there, with what they are said to
print. Times, numbers of items on the device and names of new files differ from run to run.

    KEZSYNC=build/dev/bin/kezsync tests/clients/guide_test.py --update   puts what is really printed into the guide
"""

import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time

from clients import ClientTest
from command import DONE, KEZSYNC, card

ROOT = pathlib.Path(__file__).parents[2]
GUIDE = ROOT / "docs/guide.md"
HOME = "/home/ada"  # of the guide's reader

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


class Reader(ClientTest):
    """A home with the samples in it, in which a document's steps are taken."""

    def setUp(self):
        super().setUp()
        self.home = self.place / "home"
        self.home.mkdir()
        (self.home / "samples").symlink_to(ROOT / "samples")
        bin_folder = self.place / "bin"
        bin_folder.mkdir()
        (bin_folder / "kezsync").symlink_to(KEZSYNC)
        self.environment = {
            "PATH": f"{bin_folder}:{os.environ['PATH']}",
            "HOME": str(self.home),
            "TMPDIR": str(self.place),
            "TZ": "Europe/Berlin",
            "LANG": "C.UTF-8",
        }

    def put(self, path, content):
        path = pathlib.Path(path.replace("~", str(self.home)))
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content.replace(HOME, str(self.home)).replace("~", str(self.home)))

    def run_all(self, commands):
        """What each command prints, one shell for all of them, and its exit code."""
        script = "".join(f"printf '\\n@@@\\n'\n{command}\nprintf '\\n@@%d\\n' $?\n" for command in commands)
        result = subprocess.run(
            ["bash", "-c", script], cwd=self.home, env=self.environment, capture_output=False, timeout=120, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        )  # fmt: skip
        outputs = result.stdout.replace(str(self.home), HOME).split("\n@@@\n")[1:]
        self.assertEqual(len(outputs), len(commands), result.stdout)
        return [re.fullmatch(r"(?s)(.*)\n@@(\d+)\n", output).groups() for output in outputs]

    def serve(self):
        """A CardDAV server of this test; its address."""
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        log = open(self.place / "radicale.log", "wb")
        self.addCleanup(log.close)
        server = subprocess.Popen(
            ["radicale", "--config", "", "--server-hosts", f"127.0.0.1:{port}", "--auth-type", "none",
             "--storage-filesystem-folder", self.place / "server"],
            stdout=log, stderr=log, env=self.environment,
        )  # fmt: skip
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        for _ in range(300):
            with socket.socket() as door:
                if door.connect_ex(("127.0.0.1", port)) == 0:
                    return f"http://127.0.0.1:{port}"
            time.sleep(0.1)
        self.fail((self.place / "radicale.log").read_text())


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
