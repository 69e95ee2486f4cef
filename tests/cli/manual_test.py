"""What is written about the command against what it says of itself."""

from command import *

DOCS = pathlib.Path(__file__).parents[2] / "docs"


class ManPage(CommandTest):
    def setUp(self):
        super().setUp()
        self.page = (DOCS / "kezsync.1").read_text()
        # As a reader sees it: requests and fonts taken out.
        self.text = re.sub(r"\\f[A-Z]", "", self.page).replace("\\-", "-")

    def entry(self, command):
        """What the page says of a command: from its own line to that of the next."""
        found = re.search(rf'(?m)^\.TP\n\.B[IR]? "?{command}\b', self.text)
        self.assertTrue(found, command)
        end = re.compile(r'(?m)^\.TP\n\.B[IR]? "?(?!-)|^\.S[HS]').search(self.text, found.end())
        return self.text[found.start() : end.start()]

    def test_names_every_command_with_every_option(self):
        for command in self.help_commands():
            entry = self.entry(command)
            subcommands = ("packet dump", "packet diff") if command == "packet" else (command,)
            for name in subcommands:
                self.assertIn(name, entry)
                for option in self.help_options(*name.split()) - {"-h", "--help"}:
                    self.assertIn(option, entry, name)

    def test_names_every_common_option(self):
        options = self.text[self.text.index(".SH OPTIONS") : self.text.index(".SH EXIT STATUS")]
        for option in self.help_options() - {"-h", "--version"}:
            self.assertIn(option, options)

    def test_names_no_option_that_there_is_not(self):
        known = self.help_options()
        for command in [*self.help_commands(), "packet dump", "packet diff"]:
            known |= self.help_options(*command.split())
        self.assertEqual(set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", self.text)) - known, set())

    def test_names_the_words_that_options_take(self):
        for command in self.help_commands():
            for words in re.findall(r"^  --?\S+ ([a-z0-9]+(?:\|[a-z0-9]+)+)", self.out(command, "--help"), re.M):
                self.assertIn(words, self.entry(command))
        for words in re.findall(r"^  --?\S+ ([a-z0-9]+(?:\|[a-z0-9]+)+)", self.out("--help"), re.M):
            self.assertIn(words, self.text)

    def test_names_every_exit_code(self):
        status = self.text[self.text.index(".SH EXIT STATUS") : self.text.index(".SH ENVIRONMENT")]
        self.assertEqual(re.findall(r"(?m)^\.B (\d)$", status), ["0", "1", "2", "3", "4"])


class JsonPage(CommandTest):
    def test_names_every_command_that_prints_json(self):
        page = (DOCS / "json.md").read_text()
        silent = {"completion"}
        for command in set(self.help_commands()) - silent:
            self.assertRegex(page, rf"(?m)^(## .*\b{command}\b|\| .*`{command}\b.* \| )", command)
