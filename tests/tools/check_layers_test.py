#!/usr/bin/env python3
"""Shows small trees to tools/check_layers.py: what it has to find, and what it has to let pass."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "tools" / "check_layers.py"


def look(files):
    """The exit status and the lines of the check over a tree of these files."""
    with tempfile.TemporaryDirectory() as top:
        for name, text in files.items():
            file = pathlib.Path(top, name)
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
        run = subprocess.run([sys.executable, CHECK, top], capture_output=True, text=True, check=False)
    return run.returncode, run.stdout.splitlines()


class Layers(unittest.TestCase):
    def test_downwards_is_fine(self):
        self.assertEqual(look({"provider/a.cpp": '#include <windows.h>\n#include <new>\n#include "database/b.h"\n',
                               "database/b.h": "", "platform/include/windows.h": ""}), (0, []))

    def test_upwards_is_found_with_its_line(self):
        self.assertEqual(look({"database/b.cpp": '\n#include "provider/a.h"\n', "provider/a.h": ""}),
                         (1, ["database/b.cpp:2: database may not use provider/a.h"]))

    def test_a_header_beside_the_file_is_of_its_room(self):
        self.assertEqual(look({"sync/a.cpp": '#include "b.h"\n', "sync/b.h": ""}), (0, []))

    def test_the_provider_may_not_see_the_host(self):
        status, lines = look({"poom/a.cpp": "#include <unistd.h>\n#ifdef __linux__\n#endif\n"})
        self.assertEqual((status, len(lines)), (1, 2))

    def test_the_agreement_uses_no_other_room(self):
        status, lines = look({"sync/a.cpp": '#include "packet/p.h"\n', "packet/p.h": ""})
        self.assertEqual((status, lines), (1, ["sync/a.cpp:1: sync may not use packet/p.h"]))

    def test_only_the_dump_of_packets_looks_upwards(self):
        line = '#include "packet/p.h"\n'
        self.assertEqual(look({"trace/dump_packet.cpp": line, "packet/p.h": ""}), (0, []))
        self.assertEqual(look({"trace/trace_log.cpp": line, "packet/p.h": ""})[0], 1)

    def test_a_folder_without_sources_is_no_success(self):
        self.assertEqual(look({"README.md": ""})[0], 1)


unittest.main()
