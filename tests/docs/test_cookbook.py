"""Runs every command of the cookbook, with what it defines before, and compares what it prints."""

import re
import shutil
import subprocess

import pytest
from built_program import ROOT, Boardctl
from limits import HANG

COOKBOOK = (ROOT / "docs/cookbook.md").read_text()
BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```$", COOKBOOK, re.M | re.S)


def commands():
    """Each command with the definitions before it and what it prints."""
    definitions = ""
    for language, text in BLOCKS:
        if language == "sh":
            definitions += text
            continue
        assert language == "console"
        for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
            typed, printed = re.fullmatch(r"(.*\n(?:> .*\n)*)((?:.*\n)*)", part).groups()
            command = re.sub("^> ", "", typed, flags=re.M)
            yield pytest.param(definitions, command, printed, id=command[:50].strip())


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """The folder that the cook is in, with the program in the path."""
    root = tmp_path_factory.mktemp("cook")
    shutil.copytree(ROOT / "examples", root / "examples", ignore=lambda *_: ["boardctl"])
    (root / "bin").mkdir()
    Boardctl(None).script(root / "bin/boardctl")
    return root / "examples"


@pytest.mark.parametrize(("definitions", "command", "expected"), commands())
def test_command(folder, definitions, command, expected):
    environment = Boardctl.environment()
    environment["PATH"] = f"{folder.parent / 'bin'}:{environment['PATH']}"
    environment["HOME"] = str(folder)
    done = subprocess.run(
        ["/bin/sh", "-c", definitions + command],
        cwd=folder,
        env=environment,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        timeout=HANG,
        check=False,
        text=True,
    )
    assert done.stdout == expected


def test_every_definition_is_used():
    shown = "".join(command.values[1] for command in commands())
    texts = "".join(text for language, text in BLOCKS if language == "sh")
    names = re.findall(r"^(\w+)(?:\(\)|=)", texts, re.M)
    assert len(names) == 7
    for name in names:
        assert name in shown or f"${name}" in texts, name
