"""What the shells' completions offer: exactly what the command line takes."""

from command import *


class Completion(CommandTest):
    def setUp(self):
        super().setUp()
        self.work = self.place / "work"
        for name in ("a folder", "other"):
            (self.work / name).mkdir(parents=True)
        for name in ("a file.vcf", "people.vcf"):
            (self.work / name).touch()

    def script(self, shell):
        return self.write(f"completion.{shell}", self.out("completion", shell))

    def shell(self, *words):
        done = subprocess.run(words, capture_output=True, text=True, cwd=self.work, env=self.environment, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return done.stdout

    def bash(self, *words):
        """What bash offers for the last of these words."""
        listed = " ".join(f"'{word}'" for word in ("kezsync", *words))
        text = self.shell(
            "bash",
            "-c",
            f". {self.script('bash')}; COMP_WORDS=({listed}); COMP_CWORD={len(words)}; _kezsync;"
            ' printf "%s\\n" "${COMPREPLY[@]}"',
        )
        return sorted(line for line in text.split("\n") if line)

    def fish(self, line):
        text = self.shell("fish", "--no-config", "-c", f'source {self.script("fish")}; complete -C "kezsync {line}"')
        return sorted(line.split("\t")[0] for line in text.splitlines())

    def commands(self):
        """Every command with the options that its help names."""
        names = self.help_commands()
        self.assertGreaterEqual(len(names), 19)
        names.remove("packet")
        return {name: self.help_options(*name.split()) for name in [*names, "packet dump", "packet diff"]}

    def test_bash_offers_commands(self):
        self.assertEqual(self.bash("sta"), ["status"])
        self.assertEqual(self.bash(""), sorted(self.help_commands()))
        self.assertEqual(self.bash("--quiet", ""), sorted(self.help_commands()))
        self.assertEqual(self.bash("--color", "never", "sta"), ["status"])
        self.assertEqual(self.bash("packet", ""), ["diff", "dump"])
        self.assertIn("--version", self.bash("--"))
        told = self.shell("bash", "-c", f". {self.script('bash')}; complete -p kezsync")
        self.assertEqual(told, "complete -F _kezsync kezsync\n")

    def test_bash_offers_each_commands_options_and_the_common_ones(self):
        common = self.help_options() - {"-h", "--help"}
        for command, options in self.commands().items():
            self.assertEqual(set(self.bash(*command.split(), "-")), options | common, command)
        self.assertEqual(self.bash("sync", "--du"), ["--durability"])

    def test_bash_offers_the_values_of_options(self):
        policies = ["ask", "both", "device", "folder", "newest", "skip"]
        types = ["appointments", "contacts", "tasks"]
        for words, values in (
            (["sync", "--conflict", ""], policies),
            (["sync", "--conflict", "d"], ["device"]),
            (["sync", "--conflict", "=", ""], policies),
            (["sync", "--conflict", "="], policies),
            (["watch", "--conflict", ""], [policy for policy in policies if policy != "ask"]),
            (["sync", "--type", ""], types),
            (["sync", "other", "--durability", ""], ["batch", "item", "none"]),
            (["packet", "dump", "--type", ""], types),
            (["list", "--color", ""], ["always", "auto", "never"]),
            (["--partner", ""], ["1", "2"]),
            (["sync", "--packet-size", ""], []),
            (["--device", ""], ["a folder", "other"]),
            (["sync", "--config", "p"], ["people.vcf"]),
        ):
            self.assertEqual(self.bash(*words), values, words)

    def test_bash_offers_what_may_stand_without_an_option(self):
        for words, values in (
            (["sync", ""], ["a folder", "other"]),
            (["sync", "--type", "tasks", "--color", "=", "never", ""], ["a folder", "other"]),
            (["sync", "other", ""], []),
            (["import", ""], ["a file.vcf", "a folder", "other", "people.vcf"]),
            (["import", "people.vcf", "a"], ["a file.vcf", "a folder"]),
            (["packet", "diff", "people.vcf", "a"], ["a file.vcf", "a folder"]),
            (["list", "contacts", "t"], ["tasks"]),
            (["resolve", "other", "Ada Lovelace", ""], ["both", "device", "folder"]),
            (["resolve", "other", ""], []),
            (["purge", "ca"], ["categories"]),
            (["completion", ""], ["bash", "fish", "zsh"]),
            (["show", ""], []),
        ):
            self.assertEqual(self.bash(*words), values, words)

    def test_fish_offers_the_same(self):
        self.assertEqual(self.fish("sta"), ["status"])
        self.assertEqual(self.fish("packet "), ["diff", "dump"])
        for line in ("sync --conflict ", "list --color ", "list ", "completion ", "watch --conflict "):
            self.assertEqual(self.fish(line), self.bash(*line.split(), ""), line)
        self.assertEqual(self.fish("sync "), ["a folder/", "other/"])
        common = self.help_options() - {"-h", "--help"}
        for command, options in self.commands().items():
            wanted = {name for name in options | common if name.startswith("--")}
            self.assertEqual(set(self.fish(f"{command} --")), wanted, command)

    def zsh(self, *words):
        """The specifications that the script hands to zsh's own functions for these words."""
        return self.shell(
            "zsh",
            "-fc",
            "compdef() {}\n"
            "_describe() { print -rl -- ${(P)2} }\n"
            "_arguments() { if [[ $1 == -C ]]; then state=$wanted; else print -rl -- $@; fi }\n"
            f"source {self.script('zsh')}\n"
            f"wanted={'argument' if words else 'command'}; words=({' '.join(words)}); _kezsync",
        ).splitlines()

    def test_zsh_offers_the_same(self):
        self.shell("zsh", "-n", self.script("zsh"))
        self.assertEqual([line.split(":")[0] for line in self.zsh()], self.help_commands())
        common = self.help_options()
        for command, options in self.commands().items():
            offered = {re.match(r"(-[^=\[]*)", line)[1] for line in self.zsh(*command.split()) if line[0] == "-"}
            self.assertEqual(offered, options | common, command)
        self.assertIn("1:FOLDER:_files -/", self.zsh("sync"))
        self.assertIn("*:FILE|FOLDER:_files", self.zsh("import"))
        self.assertTrue(any(":value:(item batch none)" in line for line in self.zsh("sync")))
        self.assertIn("3:CHOICE:(device folder both)", self.zsh("resolve"))
        self.assertIn("1: :(dump diff)", self.zsh("packet", ""))
