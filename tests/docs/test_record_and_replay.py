"""Runs every command of the page about recordings and compares what it prints."""

import os
import pathlib
import re
import shutil
import subprocess

import pytest
from built_program import BOARDCTL, ROOT, STAMP, Boardctl
from limits import HANG

PAGE = (ROOT / "docs/record-and-replay.md").read_text()
BLOCKS = re.findall(r"^```(\w+)(?: (\S+))?\n(.*?)^```$", PAGE, re.M | re.S)
RECORD, JOURNAL = (
    pathlib.Path(os.environ[name]) for name in ("BOARDCTL_RECORD_COMMAND", "BOARDCTL_JOURNAL")
)
TABLE = "slowest calls\n"


def steps():
    """The files and commands of the page in their order: what to write, or to run and to see."""
    for language, name, text in BLOCKS:
        if language == "json":
            yield pytest.param(name, text, None, id=name)
        else:
            for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
                command, _, output = part.partition("\n")
                if command.startswith("cat "):
                    yield pytest.param(command[4:], output, None, id=command)
                else:
                    yield pytest.param(None, command, output, id=command[:60])


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("tree") / "examples"
    shutil.copytree(ROOT / "examples", folder, ignore=lambda *_: ["boardctl"])
    (folder / "boardctl").symlink_to(BOARDCTL)
    return folder


def comparable(printed):
    """What is the same in every run: no build ids and times, and calls in an order of their own."""
    text = re.sub(STAMP, "[...]", printed)
    text = re.sub(r"\b[0-9a-f]{40}\b", "(build id)", text)
    text = re.sub(r"^\d+\.\d{6} ", "(time) ", text, flags=re.M)
    head, mark, calls = text.partition(TABLE)
    return head + mark + "".join(sorted(calls.splitlines(keepends=True)))


@pytest.mark.parametrize(("file", "text", "expected"), steps())
def test_step(folder, file, text, expected):
    if file is not None:
        (folder / file).write_text(text)
        return
    environment = Boardctl.environment()
    environment["PATH"] = f"{RECORD.parent}:{JOURNAL.parent}:{environment['PATH']}"
    done = subprocess.run(
        ["/bin/sh", "-c", text],
        cwd=folder,
        env=environment,
        capture_output=True,
        timeout=HANG,
        check=False,
        text=True,
    )
    assert done.stderr == ""
    printed = done.stdout + ("\n" if done.stdout.endswith("> ") else "")
    assert comparable(printed) == comparable(expected)


def test_the_page_has_steps():
    assert len(list(steps())) >= 8
