"""Records a session of the program, and replays it in a folder without any board."""

import json
import os
import re

from built_program import BOARDCTL, EMULATOR, SKIP_WAIT, STAMP, Boardctl

RECORDING = "calls.jsonl"
# What the library itself logs, which is no part of a recording, may stand within a line.
LIBRARY_LINE = re.compile(STAMP + r"[EWDI](?!\[(?:tools/|N))[^\n]*\n")


def with_profile(words, profile):
    """The command line with that profile in place of its own, if it has one."""
    words = list(words)
    if "-p" in words:
        words[words.index("-p") + 1] = profile
        return words
    return ["-p", profile, *words]


def profile_of(words):
    return words[words.index("-p") + 1] if "-p" in words else None


class ByTheBoard:
    """The simulated board writes the recording itself, as its journal."""

    program = staticmethod(lambda board: board)

    @staticmethod
    def words(folder, words, recording=RECORDING):
        """Prepares the folder for a command line, and returns the one that records it."""
        profile = profile_of(words)
        content = json.loads((folder / profile).read_text()) if profile else {}
        name = f"{recording}.recorded.json"
        (folder / name).write_text(json.dumps(content | {"journal": recording}))
        return with_profile(words, name)

    @staticmethod
    def hangs(folder):
        """Whether the recording says that a call does."""
        file = folder / RECORDING
        return file.exists() and file.read_text().endswith('"hang":1}\n')

    @staticmethod
    def line_of_the_hang(folder):
        return len((folder / RECORDING).read_text().splitlines())


class ByTheRecorder:
    """The recorder writes it, as it would of a real board."""

    class program(Boardctl):
        def __init__(self, board):
            super().__init__(board.folder)

        def environment(self):
            environment = super().environment() | {
                "BOARDCTL_RECORD": str(self.folder / RECORDING),
                "BOARDCTL_RECORD_KEEP_IDENTITIES": "1",
            }
            if not EMULATOR:
                environment["LD_PRELOAD"] = f"{SKIP_WAIT}:{os.environ['BOARDCTL_RECORDER']}"
            return environment

        def command(self, *words):
            if not EMULATOR:
                return [str(BOARDCTL), *words]
            preload = f"LD_PRELOAD={SKIP_WAIT}:{os.environ['BOARDCTL_RECORDER']}"
            return [*EMULATOR, "-E", preload, str(BOARDCTL), *words]

    @staticmethod
    def words(folder, words):
        (folder / RECORDING).write_bytes(b"")
        return words

    @staticmethod
    def hangs(folder):
        """Whether the second line, that of the call under way, says so."""
        lines = (folder / RECORDING).read_text().splitlines()
        return len(lines) > 1 and '"call":"DeviceGetData"' in lines[1]

    @staticmethod
    def line_of_the_hang(_):
        return 2


def replay_words(folder, words, recording=RECORDING, **settings):
    """Prepares the folder for a command line, and returns the one that replays it."""
    name = f"{recording}.replayed.json"
    replay = {"journal": recording, **settings}
    (folder / name).write_text(json.dumps({"about": "a recording", "replay": replay}))
    return with_profile(words, name)


def replayer(folder, recorded):
    """The program in a folder that holds a recording, and empty files in place of a board's."""
    folder.mkdir(exist_ok=True)
    (folder / RECORDING).write_bytes((recorded / RECORDING).read_bytes())
    for path in recorded.rglob("*.json"):
        empty = folder / path.relative_to(recorded)
        empty.parent.mkdir(exist_ok=True)
        empty.touch()
    return Boardctl(folder)


def comparable(text):
    """What is the same in a replay."""
    return re.sub(STAMP, "[...]", LIBRARY_LINE.sub("", text))
