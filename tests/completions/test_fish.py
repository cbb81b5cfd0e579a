#!/usr/bin/env python3
"""The completion for fish."""

import unittest

from shells import SOURCES, ShellTest, program_of

SCRIPT = "source $argv[1]; complete -C $argv[2]"


class Fish(ShellTest):
    """ztmake.fish"""

    def complete(self, line):
        """What is offered for a line."""
        # Behind a tab, fish has the description.
        return [offer.split("\t")[0] for offer in self.offers(line)]

    def offers(self, line):
        """What fish itself says that it offers."""
        return self.run_shell("fish", "--no-config", "-c", SCRIPT,
                              SOURCES / f"completions/{program_of(line)}.fish", line).splitlines()

    def test_options_are_described(self):
        self.assertEqual(self.offers("ztmake --rep"),
                         ["--report\tPrint translation statistics afterwards"])


del ShellTest

if __name__ == "__main__":
    unittest.main()
