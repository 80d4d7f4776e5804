"""Records a session of the program, and replays it in a folder without any board."""

import json
import re

from built_program import STAMP, Boardctl

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
