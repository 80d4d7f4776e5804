"""What the tests of everything around the program share."""

import os
import pathlib
import re
import subprocess

import pytest
from limits import HANG

ROOT = pathlib.Path(__file__).resolve().parents[2]
BOARDCTL = os.environ["BOARDCTL"]
BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])
GENERATED = BUILD / "packaging"
BOARD = ["-m", str(ROOT / "examples/oob_manifest.json")]


def run(*command, **options):
    """Runs a command that has to succeed and returns what it prints."""
    done = subprocess.run(
        command, capture_output=True, text=True, timeout=HANG, check=False, **options
    )
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture(scope="session")
def usage():
    """The words before each help text in the usage."""
    command = [BOARDCTL, "-h"]
    text = subprocess.run(command, capture_output=True, text=True, timeout=HANG, check=False).stdout
    table = text[text.index("options & cmds:\n") : text.index("examples:\n")]
    return re.findall(r"(?:^|\n\n)(\S.*)", table.partition("\n")[2])


@pytest.fixture(scope="session")
def session():
    """Runs lines in the program's shell and returns what each of them prints."""

    def answers(lines):
        text = "".join(line + "\n" for line in [*lines, "quit"])
        printed = run(BOARDCTL, *BOARD, "shell", input=text)
        # Usage texts hold the same two characters, behind a word.
        parts = re.split(r"(?<![\w\]])> ", printed)[1:-1]
        assert len(parts) == len(lines)
        return parts

    return answers
