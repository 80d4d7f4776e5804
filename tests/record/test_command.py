"""The command that records another one."""

import os
import pathlib
import shutil
import subprocess

import pytest
from built_program import SANITIZED, SIM_LIBRARY
from conftest import MANIFEST
from limits import HANG

COMMAND = pathlib.Path(os.environ["BOARDCTL_RECORD_COMMAND"])
LIMITS = "--limit takes a number of bytes from 65536 to 67108864"
HELP = "usage: boardctl-record [--keep-identities] [--limit BYTES] FILE COMMAND [ARGUMENT...]\n"


@pytest.fixture
def command(recorded):
    """Runs the command with words, of which `boardctl` stands for the program."""
    recorded.records = False

    def run(*words, check_file=True, **options):
        environment = recorded.environment() | options.pop("env", {})
        program = recorded.command()[0]
        words = [program if word == "boardctl" else word for word in words]
        done = subprocess.run(
            [options.pop("program", COMMAND), *words],
            cwd=recorded.folder, env=environment, capture_output=True, text=True, timeout=HANG,
            check=False, **options,
        )  # fmt: skip
        return done.stdout, done.stderr, done.returncode

    return run


def test_it_records_the_command(command, recorded):
    assert command("recording", "boardctl", *MANIFEST, "set", "0", "p0nnnnnn", "1") == (
        "Starting GPU Manager...\nSet done.\n", "", 0)  # fmt: skip
    assert len(recorded.recording.calls) == 5
    assert recorded.recording.head["redacted"]
    assert recorded.recording.path.stat().st_mode & 0o7777 == 0o600


@pytest.mark.parametrize("mask", [0, 0o777])
def test_the_file_is_its_owners_alone_whatever_the_mask(command, recorded, mask):
    words = ("recording", "boardctl", *MANIFEST, "list", "gpu")
    assert command(*words, preexec_fn=lambda: os.umask(mask))[1:] == ("", 0)
    assert recorded.recording.path.stat().st_mode & 0o7777 == 0o600


def test_the_status_is_that_of_the_command(command, recorded):
    recorded.orders = "names=1;code.DeviceGetData=77"
    words = ("boardctl", *MANIFEST, "get", "gpu", "0", "x", "0")
    assert command("--keep-identities", "--", "recording", *words)[2] == 77
    assert "redacted" not in recorded.recording.head


def test_a_script_that_starts_the_program_is_passed_over(command, recorded):
    script = recorded.folder / "script"
    program = recorded.command()[0]
    script.write_text(f'#!/bin/sh\ncd /\ntrue | cat\n"{program}" -h >/dev/null\n')
    script.chmod(0o755)
    status = 1 if SANITIZED else 255
    assert command("recording", "./script", env={"LD_PRELOAD": ""}) == ("", "", status) or SANITIZED
    if not SANITIZED:
        assert recorded.recording.end == {"end": "exit", "status": 255, "calls": 0}


@pytest.mark.parametrize("limit", ["65536", "67108864"])
def test_the_limits_of_the_limit(command, recorded, limit):
    words = ("--limit", limit, "recording", "boardctl", *MANIFEST, "list", "gpu")
    assert command(*words)[1:] == ("", 0)
    assert recorded.recording.end["end"] == "exit"


def test_the_limit_is_handed_on(command, recorded):
    words = ("--limit", "65536", "recording", "boardctl", *MANIFEST, "shell")
    assert (
        "the limit of its size is reached"
        in command(*words, input="get gpu 0 x\n" * 999 + "quit\n")[1]
    )
    assert recorded.recording.path.stat().st_size <= 65536


@pytest.mark.parametrize(
    "words, status, message",
    [
        (("there", "boardctl"), 125, "there: File exists"),
        (("no/folder", "boardctl"), 125, "no/folder: No such file or directory"),
        (("new", "no-such-command"), 127, "no-such-command: No such file or directory"),
        (("new", "./there"), 126, "./there: Permission denied"),
        (("new", "./static"), 126, "./static: cannot be recorded: it is linked statically"),
        (("--odd", "new", "boardctl"), 125, "--odd: unknown option; see boardctl-record --help"),
        (("--limit", "1k", "new", "boardctl"), 125, f"1k: {LIMITS}"),
        (("--limit", "", "new", "boardctl"), 125, f": {LIMITS}"),
        (("--limit", "-1", "new", "boardctl"), 125, f"-1: {LIMITS}"),
        (("--limit", "65535", "new", "boardctl"), 125, f"65535: {LIMITS}"),
        (("--limit", "67108865", "new", "boardctl"), 125, f"67108865: {LIMITS}"),
        (("--limit", f"{2**64}", "new", "boardctl"), 125, f"{2**64}: {LIMITS}"),
    ],
)
def test_what_cannot_be_recorded_is_refused_in_one_line(command, recorded, words, status, message):
    (recorded.folder / "there").write_text("kept")
    if "./static" in words:
        source = recorded.folder / "static.c"
        source.write_text("int main(void) { return 0; }\n")
        subprocess.run(["gcc", "-static", "-o", recorded.folder / "static", source], check=True)
    assert command(*words) == ("", f"boardctl-record: {message}\n", status)
    assert not (recorded.folder / "new").exists()
    assert (recorded.folder / "there").read_text() == "kept"


def test_help_and_a_missing_command(command):
    out, err, status = command("--help")
    assert (out.startswith(HELP), err, status) == (True, "", 0)
    for words in (), ("recording",), ("--limit", "65536"):
        out, err, status = command(*words)
        assert (out, status) == ("", 125), words
        assert "usage" in err or "unknown option" in err, words


@pytest.mark.parametrize("name", ["a b", "a:b", "a$b"])
def test_a_folder_that_the_loader_cannot_take_is_named(command, recorded, name):
    folder = recorded.folder / name
    shutil.copytree(COMMAND.parents[1], folder, symlinks=True)
    program = folder / COMMAND.relative_to(COMMAND.parents[1])
    out, err, status = command("new", "boardctl", program=program)
    assert (out, status, err.count("\n")) == ("", 125, 1)
    assert "the loader does not find a library with ' ', ':' or '$' in its name" in err
    assert not (recorded.folder / "new").exists()


def test_the_simulated_board_can_be_recorded(command, recorded):
    environment = {"LD_LIBRARY_PATH": str(SIM_LIBRARY.parent)}
    out, err, status = command("recording", "boardctl", *MANIFEST, "list", "gpu", env=environment)
    assert (err, status) == ("", 0) and "gpu.pcie.vendorId" in out
