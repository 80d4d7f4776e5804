"""The suite as it runs on an image: from what is installed, without the build tree."""

import os
import shutil
import subprocess

import pytest
from conftest import BUILD, run
from limits import HANG


@pytest.fixture
def image(tmp_path):
    for component in "tool", "sim", "ptest":
        run("cmake", "--install", str(BUILD), "--prefix", str(tmp_path), "--component", component)
    return tmp_path


def run_ptest(image):
    temporary = image / "temporary"
    temporary.mkdir()
    environment = {
        "PATH": f"{image}/bin:{os.environ['PATH']}",
        "LC_ALL": "C",
        "HOME": str(image),
        "TMPDIR": str(temporary),
    }
    (script,) = image.glob("lib/**/ptest/run-ptest")
    done = subprocess.run(
        [script], env=environment, capture_output=True, text=True, timeout=HANG, check=False
    )
    assert done.stderr == ""
    assert not list(temporary.iterdir())
    return done.returncode, done.stdout.splitlines()


def test_every_test_passes(image):
    status, lines = run_ptest(image)
    assert [line for line in lines if not line.startswith(("PASS: ", "SKIP: "))] == []
    assert status == 0
    names = [line.removeprefix("PASS: ") for line in lines]
    assert len(names) == len(set(names)) > 290
    for part in "ShellTest.", "tests/cli/test_shell.py::", "tests/docs/test_repeatable.py::":
        assert any(name.startswith(part) for name in names), part


def replace_programs(image, script):
    for name in "boardctl_unit_tests", "sim_board_tests", "sim_unit_tests", "sim_selftest":
        (program,) = image.glob(f"lib/**/{name}")
        program.write_text(f"#!/bin/sh\n{script}\n")


def test_what_differs_or_does_not_run_has_failed(image):
    replace_programs(image, "exit 0")
    (program,) = image.glob("lib/**/sim_selftest")
    program.unlink()
    (golden,) = image.glob("lib/**/shell_session.out")
    golden.write_text(golden.read_text().replace("Set done.", "Set.", 1))
    status, lines = run_ptest(image)
    assert status == 1
    failed = [line.partition(" - ")[0] for line in lines if line.startswith("FAIL: ")]
    assert failed == [
        "FAIL: sim_selftest",
        "FAIL: pytest",
        "FAIL: tests/cli/test_shell.py::test_a_session_through_a_pipe_is_the_golden_text",
    ]


def test_a_skipped_unit_test_is_named(image):
    replace_programs(image, "echo '[  SKIPPED ] Threads.AreCounted (0 ms)'")
    for folder in image.glob("lib/**/tests/docs"):
        shutil.rmtree(folder)
        folder.mkdir()
    status, lines = run_ptest(image)
    assert status == 0
    assert lines.count("SKIP: Threads.AreCounted") == 4
