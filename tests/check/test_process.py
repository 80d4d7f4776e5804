"""What a device library does to the process in which devmgr-check runs it."""

import pathlib
import signal
import subprocess
import time

import pytest
from checking import (
    LIVE,
    LIVE_ROWS,
    SOUND,
    broken,
    check,
    command,
    environment,
    failures,
    outcome,
    row,
    rows,
)
from limits import HANG

CRASHES = {
    "abort": "Aborted",
    "bad address": "Segmentation fault",
    "bad address in a thread": "Segmentation fault",
    "broken pipe": "Broken pipe",
    "kill": "Killed",
    "overflow": "stack overflow",
    "system call": "Bad system call",
    "trap": "Trace/breakpoint trap",
}
# What is done, the line without its place, and the status.
ENDS = {name: (f"FAIL  crashed in PLACE: {text}\n", 1) for name, text in CRASHES.items()} | {
    "_exit": ("FAIL  called exit in PLACE: status 0\n", 1),
    "close": ("?     closed a file descriptor that is not its own in PLACE\n", 2),
    "exec": ("FAIL  called exit in PLACE: status 0\n", 1),
    "exit": ("FAIL  called exit in PLACE: status 0\n", 1),
    "exit 167": ("FAIL  called exit in PLACE: status 167\n", 1),
    "hang": ("?     no answer from PLACE within 60 seconds\n", 2),
    "hang uninterrupted": ("?     no answer from PLACE within 60 seconds\n", 2),
    "number": ("FAIL  threw an exception in PLACE: not a standard one\n", 1),
    "throw": ("FAIL  threw an exception in PLACE: a reason\\x0Aof two lines\n", 1),
}
# A destructor may close what it likes and end with any status: the last that is given counts.
AT_THE_END = ENDS.keys() - {"close", "exit 167"}


def clock(folder):
    return (("SKIP_WAIT_HALF_MINUTE", str(folder / "half a minute")),)


@pytest.mark.parametrize("fault", ENDS)
def test_how_an_entry_point_ends_the_process_is_told(tmp_path, fault):
    run = check(SOUND, *LIVE, fault=f"GPUManagerInit {fault}", more=clock(tmp_path))
    line, status = ENDS[fault]
    assert outcome(run) == (rows() + line.replace("PLACE", "GPUManagerInit"), "", status)


@pytest.mark.parametrize("fault", ENDS)
def test_how_a_constructor_ends_the_process_is_told(tmp_path, fault):
    run = check(SOUND, fault=f"constructor {fault}", more=clock(tmp_path))
    line, status = ENDS[fault]
    line = line.replace("crashed in PLACE", "crashed while loading")
    assert outcome(run) == (rows() + line.replace("PLACE", "its constructor"), "", status)


@pytest.mark.parametrize("place", ["destructor", "global's destructor"])
@pytest.mark.parametrize("fault", sorted(AT_THE_END))
def test_how_a_destructor_ends_the_process_is_told(tmp_path, fault, place):
    run = check(SOUND, fault=f"{place} {fault}", more=clock(tmp_path))
    line, status = ENDS[fault]
    assert outcome(run) == (rows() + line.replace("PLACE", "its destructor"), "", status)


def test_an_end_after_a_fault_does_not_hide_it():
    run = check(broken("WRONG_SONAME"), fault="destructor _exit")
    assert run.returncode == 1
    assert failures(run) == [
        "soname                            libdevmgr.so.1 instead of libdevmgr.so.0",
        "called exit in its destructor: status 0",
    ]


def test_all_calls_together_have_a_time_limit(tmp_path):
    run = check(SOUND, *LIVE, fault="DeviceGetData slow", more=clock(tmp_path))
    expected = "".join(LIVE_ROWS.splitlines(keepends=True)[:3])
    late = "?     not finished within 600 seconds, in DeviceGetData\n"
    assert outcome(run) == (rows() + expected + late, "", 2)


@pytest.mark.parametrize("place", ["constructor", "GPUManagerInit"])
def test_a_process_that_the_library_leaves_behind_does_not_hold_up_the_end(place):
    run = check(SOUND, *LIVE, fault=f"{place} leave a process")
    assert outcome(run) == (rows() + LIVE_ROWS, "", 0)


def test_a_fork_that_returns_twice_is_found():
    run = check(SOUND, fault="constructor fork")
    twice = row("FAIL", "fork", "both processes returned to the caller")
    assert outcome(run) == (rows() + twice, "", 1)


def test_what_the_library_prints_is_no_part_of_the_report():
    run = check(SOUND, *LIVE, fault="GPUManagerInit print")
    assert outcome(run) == (rows() + LIVE_ROWS, "and an error\nok    printed\n", 0)


def test_what_the_library_writes_everywhere_is_no_part_of_the_report():
    run = check(SOUND, *LIVE, fault="GPUManagerInit write")
    line = "?     wrote into the pipe of this report in GPUManagerInit\n"
    assert (run.stdout, run.returncode) == (rows() + line, 2)


def test_the_library_runs_with_default_signals(tmp_path):
    ignoring = f"import os, signal, sys\nsignal.signal({signal.SIGCHLD:d}, signal.SIG_IGN)\n"
    ignoring += "signal.pthread_sigmask(signal.SIG_BLOCK, range(1, 64))\n"
    ignoring += "os.execvp(sys.argv[1], sys.argv[1:])"
    run = subprocess.run(
        ["python3", "-c", ignoring, *command(SOUND)],
        env=environment("constructor broken pipe"),
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )
    assert run.stdout == rows() + "FAIL  crashed while loading: Broken pipe\n"
    assert run.returncode == 1


def ended(process):
    try:
        stat = pathlib.Path(f"/proc/{process}/stat").read_text()
    except OSError:
        return True
    return stat.rpartition(")")[2].split()[0] in "ZX"


@pytest.mark.parametrize(
    ("number", "fault"),
    [
        (signal.SIGHUP, "start a process and hang"),
        (signal.SIGINT, "start a process and hang"),
        (signal.SIGTERM, "start a process and hang"),
        (signal.SIGKILL, "tell and hang"),
    ],
)
def test_an_interrupt_ends_the_library_as_well(number, fault):
    with subprocess.Popen(
        command(SOUND), env=environment(f"constructor {fault}"), stderr=subprocess.PIPE
    ) as run:
        process = int(run.stderr.readline())
        assert not ended(process)
        run.send_signal(number)
        assert run.wait(HANG) == -number
    while not ended(process):
        time.sleep(0.01)


def test_a_process_that_the_library_has_started_ends_as_well():
    run = check(SOUND, fault="constructor start a process")
    assert (run.stdout, run.returncode) == (rows(), 0)
    while not ended(int(run.stderr)):
        time.sleep(0.01)
