"""Runs every command of the guide and compares what it prints."""

import re
import shutil
import subprocess

import pytest
from built_program import ROOT, STAMP, Boardctl
from limits import HANG

GUIDE = (ROOT / "docs/simulated-board.md").read_text()
BLOCKS = re.findall(r"^```(\w+)(?: (\S+))?\n(.*?)^```$", GUIDE, re.M | re.S)


def commands():
    """The commands of the guide with what they print, and the files to write before each."""
    files = []
    for language, name, text in BLOCKS:
        if language == "json" and name:
            files.append((name, text))
        if language == "console":
            for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
                command, _, output = part.partition("\n")
                yield pytest.param(list(files), command, output, id=command[:60])


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """The folder that the guide's reader is in."""
    root = tmp_path_factory.mktemp("tree")
    shutil.copytree(ROOT / "examples", root / "examples", symlinks=True)
    shutil.copytree(ROOT / "schemas", root / "schemas")
    program = root / "examples/boardctl"
    program.unlink(missing_ok=True)
    Boardctl(None).script(program)
    return root / "examples"


@pytest.mark.parametrize(("files", "command", "expected"), commands())
def test_command(folder, files, command, expected):
    for name, text in files:
        (folder / name).write_text(text)
    done = subprocess.run(
        ["/bin/sh", "-c", command],
        cwd=folder,
        env=Boardctl.environment(),
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=HANG,
        check=False,
        text=True,
    )
    printed = re.sub(STAMP, "[...]", done.stdout)
    if printed.endswith("> "):  # the last prompt stands before "quit"
        printed += "\n"
    assert printed == expected


def test_the_guide_has_commands():
    assert len(list(commands())) >= 15


def test_the_codes_are_those_of_the_source():
    source = (ROOT / "sim/base/codes.h").read_text()
    values = dict(re.findall(r"(k\w+) = (\d+),", source))
    known = {
        (values[constant], name, meaning)
        for constant, name, meaning in re.findall(
            r'CodeInfo\{(k\w+),\s*"(\w+)",\s*"([^"]+)"', source
        )
    }
    assert len(known) == len(values)
    assert set(re.findall(r"^\| (\d+) \| `(\w+)` \| (.*) \|$", GUIDE, re.M)) == known


def test_all_example_files_are_in_the_table():
    named = set(re.findall(r"`([\w/]+\.json)`", GUIDE))
    examples = ROOT / "examples"
    assert {str(p.relative_to(examples)) for p in examples.rglob("*.json")} <= named
