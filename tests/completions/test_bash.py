#!/usr/bin/env python3
"""The completion for bash, called by the machinery of bash-completion."""

import unittest

from shells import SOURCES, ShellTest, program_of

SCRIPT = r"""
source /usr/share/bash-completion/bash_completion
source "$1"
read -ra COMP_WORDS <<< "$2"
[[ $2 == *' ' ]] && COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE=$2 COMP_POINT=${#2}
# Outside of a completion of readline, compopt would complain.
compopt() { :; }
function=$(complete -p "$3")
function=${function#complete -F } function=${function% "$3"}
"$function" "$3" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
for word in "${COMPREPLY[@]}"; do
    # As readline does.
    [ -d "$word" ] && word+=/
    echo "$word"
done
"""


class Bash(ShellTest):
    """ztmake.bash"""

    def complete(self, line):
        """What is offered for a line."""
        return self.run_shell("bash", "--norc", "-c", SCRIPT, "bash",
                              SOURCES / f"completions/{program_of(line)}.bash", line,
                              program_of(line)).splitlines()


del ShellTest

if __name__ == "__main__":
    unittest.main()
