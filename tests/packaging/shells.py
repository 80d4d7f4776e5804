"""Interactive shells on a pseudo-terminal, asked what they complete."""

import os

from terminal import Terminal

DONE = "<done>"

BASH_SETUP = r"""
bind 'set enable-bracketed-paste off'
bind -x '"\C-xp": printf "%s" "$READLINE_LINE" >result; READLINE_LINE=; printf "<%s>" done'
bind '"\C-xa": insert-completions'
source COMPLETION
"""

ZSH_SETUP = r"""
unset zle_bracketed_paste
fpath=(FUNCTIONS $fpath)
autoload -Uz compinit && compinit -D -u
zle -C all-matches complete-word _generic
zstyle ':completion:all-matches::::' completer _all_matches _complete
zstyle ':completion:all-matches:*' insert yes
bindkey '^Xa' all-matches
show() { print -rn -- "$BUFFER" >result; BUFFER=; printf '<%s>' done }
zle -N show
bindkey '^Xp' show
"""


class Shell(Terminal):
    """A shell in a folder, with the completion loaded."""

    def __init__(self, command, setup, folder):
        self.folder = folder
        super().__init__(
            command,
            cwd=folder,
            env={"PATH": os.environ["PATH"], "TERM": "dumb", "LC_ALL": "C", "HOME": str(folder)},
            start_new_session=True,
        )
        (folder / "setup").write_text(setup)
        self.type(". ./setup; printf '<%s>' done\n")
        self.read_until(DONE)

    def close(self):
        self.process.kill()
        self.process.wait()
        super().close()

    def line_after(self, typed, key):
        """The line as it stands after `typed` and a key."""
        self.type(typed + key + "\x18p")
        self.read_until(DONE)
        return (self.folder / "result").read_text()

    def complete(self, typed):
        """What one press of the completion key makes of the line."""
        return self.line_after(typed, "\t")

    def candidates(self, typed):
        """All words that could stand at the end of `typed`."""
        line = self.line_after(typed, "\x18a")
        return set(line.split()[len(typed.split(" ")) - 1 :])


def bash(folder, completion):
    command = ["bash", "--norc", "--noprofile", "-i"]
    return Shell(command, BASH_SETUP.replace("COMPLETION", str(completion)), folder)


def zsh(folder, completion):
    functions = folder / "functions"
    functions.mkdir()
    (functions / f"_{completion.stem}").write_text(completion.read_text())
    return Shell(["zsh", "-f", "-i"], ZSH_SETUP.replace("FUNCTIONS", str(functions)), folder)
