"""With a stepped clock a run repeats to the byte, here and on every other machine.

The golden files are what tests/golden/repeatable/ says; write them anew with
BOARDCTL_WRITE_GOLDEN=1 in the environment.
"""

import os
import pathlib
import shlex
import subprocess

from limits import HANG

ROOT = pathlib.Path(__file__).resolve().parents[2]
GOLDEN = ROOT / "tests/golden/repeatable"
PROGRAM = [*shlex.split(os.environ.get("BOARDCTL_EMULATOR", "")), os.environ["BOARDCTL"]]


def session(folder):
    """What a session prints, and the journal without the lines that name files of this machine."""
    done = subprocess.run(
        [
            *PROGRAM,
            "-m",
            ROOT / "examples/oob_manifest.json",
            "-p",
            GOLDEN / "profile.json",
            "shell",
        ],
        cwd=folder,
        stdin=(GOLDEN / "session.in").open(),
        capture_output=True,
        timeout=HANG,
        check=True,
        text=True,
    )
    assert done.stderr == ""
    journal = (folder / "calls.jsonl").read_text().splitlines(keepends=True)
    assert journal.pop(0).startswith('{"journal":2,"seed":2026,"clock":"stepped",')
    assert '"call":"GPUManagerInit"' in journal.pop(0)
    return done.stdout, "".join(journal)


def test_two_runs_and_the_golden_files_are_the_same_bytes(tmp_path):
    printed, journal = session(tmp_path)
    assert session(tmp_path) == (printed, journal)
    if os.environ.get("BOARDCTL_WRITE_GOLDEN"):
        (GOLDEN / "session.out").write_text(printed)
        (GOLDEN / "session.jsonl").write_text(journal)
    assert printed == (GOLDEN / "session.out").read_text()
    assert journal == (GOLDEN / "session.jsonl").read_text()
