#!/usr/bin/env python3
"""The completion for zsh, requested with the tab key in a pseudo-terminal."""

import unittest

from shells import SOURCES, ShellTest

# The inner shell writes down what it offers, and ends when it has completed.
SETUP = r"""
fpath=({completions} $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {{
    builtin compadd "$@"
    local result=$?
    # Some calls only ask what would match.
    if [[ ${{@[1,(i)(-|--)]}} != *-(O|A|D)\ * ]]; then
        local -a hits directory
        builtin compadd -O hits "$@"
        zparseopts -E p:=directory
        for hit in $hits; do print -r -- "${{(Q)directory[2]}}${{(Q)hit}}"; done >> offers
    fi
    return result
}}
finish() {{ exit 0 }}
comppostfuncs=(finish)
bindkey '^I' complete-word
touch offers ready
"""

SCRIPT = r"""
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell 'source ../setup'
until [[ -e ready ]]; do sleep 0.02; done
zpty -w -n shell "$1"$'\t'
# Its output ends when it does.
while zpty -r shell chunk; do :; done 2>/dev/null
cat offers
"""


class Zsh(ShellTest):
    """_ztmake"""

    # As it is the custom in zsh, all files are offered where no project file matches.
    other_files = ["sub/notes.txt"]

    def complete(self, line):
        """What is offered for a line."""
        for name in "offers", "ready":
            (self.dir / name).unlink(missing_ok=True)
        (self.dir.parent / "setup").write_text(SETUP.format(completions=SOURCES / "completions"))
        offers = self.run_shell("zsh", "-f", "-c", SCRIPT, "zsh", line).splitlines()
        return [f"{offer}/" if (self.dir / offer).is_dir() else offer for offer in offers]


del ShellTest

if __name__ == "__main__":
    unittest.main()
