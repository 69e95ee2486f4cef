"""The Debian package, from what is built: taken apart into a root of its own, and run from there."""

import json
import pathlib
import subprocess

from clients import ClientTest
from command import DONE, KEZSYNC

BUILD = pathlib.Path(KEZSYNC).parents[1]


class Package(ClientTest):
    def setUp(self):
        super().setUp()
        installed = self.place / "installed"
        for room in ("cli", "platform/changewriter"):
            self.client("cmake", f"-DCMAKE_INSTALL_PREFIX={installed}/usr", "-P", BUILD / room / "cmake_install.cmake")
        # What is installed already is packed; a package of the build folder would build everything first.
        self.client(
            "cpack",
            *["--config", BUILD / "CPackConfig.cmake", "-G", "DEB", "-B", self.place],
            *["-D", "CPACK_INSTALL_CMAKE_PROJECTS=", "-D", f"CPACK_INSTALLED_DIRECTORIES={installed};/"],
            *["-D", f"CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS={installed}/usr/lib/kezsync"],
        )
        (self.package,) = self.place.glob("kezsync_*.deb")
        self.root = self.place / "root"
        self.client("dpkg-deb", "-x", self.package, self.root)

    def test_holds_all_that_belongs_to_it_and_runs_where_it_was_put(self):
        for name in (
            "bin/kezsync",
            "bin/kezchangewriter",
            "lib/kezsync/libkezdevice.so",
            "lib/kezsync/DevKEZASPContact.so",
            "share/man/man1/kezsync.1",
            "share/bash-completion/completions/kezsync",
            "share/zsh/vendor-completions/_kezsync",
            "share/fish/vendor_completions.d/kezsync.fish",
            "share/doc/kezsync/guide.md",
            "share/doc/kezsync/json.md",
        ):
            self.assertTrue((self.root / "usr" / name).is_file(), name)
        control = self.client("dpkg-deb", "-f", self.package)
        for fact in ("Package: kezsync", "Section: utils", "libical3", "libsqlite3-0", "tzdata", "Suggests: khard"):
            self.assertIn(fact, control)

        self.people("Ada Lovelace")
        done = subprocess.run(
            [self.root / "usr/bin/kezsync", "sync", self.folder, "--json"],
            capture_output=True,
            text=True,
            env={**self.environment, "LD_LIBRARY_PATH": ""},
        )
        self.assertEqual((done.returncode, done.stderr), (DONE, ""))
        self.assertEqual(json.loads(done.stdout)["summary"]["received"], 1)
