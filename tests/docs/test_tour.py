"""The demo's second half: what it shows, and the commands that it ends with."""

import re
import shutil
import subprocess

import pytest
from built_program import ROOT, Boardctl
from limits import HANG

BOARD = "./boardctl -m oob_manifest.json"


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("newcomer") / "examples"
    shutil.copytree(ROOT / "examples", folder, ignore=lambda *_: ["boardctl"])
    Boardctl(None).script(folder / "boardctl")
    return folder


def run(command, folder):
    done = subprocess.run(
        ["/bin/sh", "-c", command],
        cwd=folder,
        env=Boardctl.environment(),
        capture_output=True,
        timeout=HANG,
        check=False,
        text=True,
    )
    assert (done.stderr, done.returncode) == ("", 0)
    return done.stdout


@pytest.fixture(scope="module")
def shown(folder):
    return run("examples/tour", folder.parent)


def test_it_lists_a_few_properties_and_how_many_there_are(folder, shown):
    listing = run(f"{BOARD} list gpu", folder).splitlines(keepends=True)
    names = [line for line in listing if line.startswith("gpu.")]
    few = [line for line in listing if line not in names[5:]]
    few.insert(-1, f"... {len(names)} properties\n")
    assert shown.startswith("".join([f"$ {BOARD} list gpu\n", *few, f"$ {BOARD} get gpu 0 "]))


def test_it_says_that_it_waits_and_shows_one_reading(folder, shown):
    command, _, rest = shown.partition("$ ")[2].partition("$ ")[2].partition("\n")
    assert "six seconds" in command
    assert rest.startswith(run(command, folder) + "\n")


def test_the_commands_to_try_next(folder, shown):
    step, first, second = re.findall(r"^  (.*)", shown, re.MULTILINE)
    assert step == "cd examples"
    assert len(run(first, folder).splitlines()) > 100
    readme = (ROOT / "README.md").read_text()
    assert f"$ {second}\n" in readme  # where a test types into it
