"""Every command of the cookbook prints the same when each session in it is replayed."""

import os
import shutil
import sys

import pytest
from built_program import EMULATOR, ROOT
from test_cookbook import SHELLS, Kitchen, commands

# Stands for the program. Sessions of one command run at the same time, so each goes by what is
# asked of it: such a session gives the same answers each time. The one session of a report goes by
# its log. It is asked while it runs, and looks at itself as a process, so it takes this one's place.
RECORDER = """#!{python}
import hashlib, os, pathlib, subprocess, sys
os.environ |= {built!r}
sys.path.insert(0, {support!r})
from replaying import ByTheBoard, replay_words
folder, words = pathlib.Path.cwd(), sys.argv[1:]
logs = "-L" in words
asked = sys.stdin.buffer.read() if "shell" in words and not logs else b""
name = hashlib.sha256(repr((words, asked)).encode()).hexdigest()[:16] + ".jsonl"
prepare = replay_words if {replays} else ByTheBoard.words
words = prepare(folder, words, name)
if logs:
    os.execv({program!r}, [{program!r}, *words])
sys.exit(subprocess.run([{program!r}, *words], input=asked).returncode)
"""


# A report asks for a log in a temporary folder of its own, at a path that tells the time.
DATE = "#!/bin/sh\necho today\n"
MKTEMP = "#!/bin/sh\nmkdir {folder} && echo {folder}\n"


class RecordingKitchen(Kitchen):
    def __init__(self, root, shell, replays, temporary):
        super().__init__(root, shell)
        built = {name: value for name, value in os.environ.items() if name.startswith("BOARDCTL")}
        program, script = root / "bin/program", root / "bin/boardctl"
        script.rename(program)
        text = RECORDER.format(
            python=sys.executable,
            built=built,
            support=str(ROOT / "tests/support"),
            replays=replays,
            program=str(program),
        )
        script.write_text(text)
        (root / "bin/date").write_text(DATE)
        (root / "bin/mktemp").write_text(MKTEMP.format(folder=temporary))
        for name in "boardctl", "date", "mktemp":
            (root / "bin" / name).chmod(0o755)


@pytest.fixture(scope="module")
def kitchens(tmp_path_factory):
    shell = "busybox" if EMULATOR else next(iter(SHELLS))
    temporary = tmp_path_factory.mktemp("temporary") / "report"
    return [
        RecordingKitchen(tmp_path_factory.mktemp("cook"), shell, replays, temporary)
        for replays in (False, True)
    ]


@pytest.mark.parametrize(("definitions", "command", "expected"), commands())
def test_command(kitchens, definitions, command, expected):
    recording, replaying = kitchens
    assert recording.cook(definitions + command) == expected
    for file in recording.folder.glob("*.jsonl"):
        shutil.copy(file, replaying.folder)
    replayed = replaying.cook(definitions + command)
    # A reader that leaves early ends the program, at another call each time.
    assert replayed == expected or "| head -n" in command


def test_the_commands_were_recorded(kitchens):
    recording, replaying = kitchens
    recorded = {file.stem for file in recording.folder.glob("*.jsonl")}
    replayed = {file.name.split(".")[0] for file in replaying.folder.glob("*.replayed.json")}
    assert len(recorded) > 20
    logs = [file for file in recording.folder.glob("*.jsonl") if "/log.1" in file.read_text()]
    assert len(logs) == 1, "the session of the report"
    assert recorded <= replayed, "a request for help makes no recording"
