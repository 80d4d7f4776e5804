"""The recorder in surroundings that fail: full disks, closed streams, no memory."""

import fcntl
import itertools
import os
import resource
import signal
import subprocess

import pytest
from built_program import SANITIZED, SKIP_WAIT
from conftest import MANIFEST, RECORDER
from limits import HANG

SESSION = "".join(f"get gpu {i} some.name\n" for i in range(200)) + "quit\n"
INCOMPLETE = "boardctl-record: {}: the recording is not complete: {}\n"
LIMIT = "the limit of its size is reached"


def check_cut(recorded, run, without, reason):
    assert run[1] == without[1]
    assert run[0].stdout == without[0].stdout
    assert run[0].status == without[0].status
    assert run[0].stderr == without[0].stderr + INCOMPLETE.format(recorded.recording.path, reason)
    recording = recorded.recording
    assert 0 < len(recording.calls) < 200
    assert [call["n"] for call in recording.calls] == list(range(1, len(recording.calls) + 1))
    assert recording.slot is None
    return recording


def test_at_the_limit_the_recording_ends_and_the_program_goes_on(recorded):
    recorded.extra = {"BOARDCTL_RECORD_LIMIT": "20000"}
    without, with_recorder = recorded.both(*MANIFEST, "shell", stdin=SESSION)
    recording = check_cut(recorded, with_recorder, without, LIMIT)
    assert recording.path.stat().st_size <= 20000
    assert recording.end["end"] == "limit"
    # The call at which it ended is counted.
    assert recording.end["calls"] == len(recording.calls) + 1


@pytest.mark.parametrize("ignored", [False, True])
def test_the_systems_limit_of_a_file_raises_no_signal(recorded, ignored):
    limits = {"preexec_fn": lambda: limit_files(20000, ignored)}
    seen = []
    for recorded.records in (False, True):
        recorded.prepare()
        done = subprocess.run(
            recorded.command(*MANIFEST, "shell"),
            cwd=recorded.folder, env=recorded.environment(), input=SESSION, text=True,
            capture_output=True, timeout=HANG, check=False, **limits,
        )  # fmt: skip
        seen.append((done.stdout, done.stderr, done.returncode))
    message = INCOMPLETE.format(recorded.recording.path, LIMIT)
    assert seen[1] == (seen[0][0], seen[0][1] + message, 0)
    assert recorded.recording.path.stat().st_size <= 20000
    assert recorded.recording.lines


def limit_files(size, ignored):
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN if ignored else signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))


def can_mount(folder):
    command = ["mount", "-t", "tmpfs", "-o", "size=32k", "tmpfs", folder]
    return subprocess.run(command, capture_output=True, check=False).returncode == 0


def test_on_a_full_disk_the_recording_ends_and_the_program_goes_on(recorded):
    disk = recorded.folder / "disk"
    disk.mkdir()
    if not can_mount(disk):
        pytest.skip("no file system may be mounted here")
    try:
        recorded.recording.path = disk / "recording"
        without, with_recorder = recorded.both(*MANIFEST, "shell", stdin=SESSION)
        check_cut(recorded, with_recorder, without, "No space left on device")
    finally:
        subprocess.run(["umount", disk], check=True)


CLOSED = [
    " ".join(some)
    for count in (1, 2, 3)
    for some in itertools.combinations(("<&-", ">&-", "2>&-"), count)
]
STREAMS = [*CLOSED, ">/dev/full", "2>/dev/full", ">/dev/full 2>&1"]


@pytest.mark.parametrize("streams", STREAMS)
@pytest.mark.parametrize("words", ["get gpu 0 x 0", "bogus", "-h", "set 0 p0nnnnnn 1"])
def test_closed_and_full_streams_stay_so(recorded, streams, words):
    seen = []
    for recorded.records in (False, True):
        recorded.prepare()
        environment = recorded.environment()
        preload = environment.pop("LD_PRELOAD")
        line = " ".join(recorded.command(*MANIFEST, "-l", "4", "-L", "log", *words.split()))
        (recorded.folder / "log").unlink(missing_ok=True)
        done = subprocess.run(
            ["sh", "-c", f"LD_PRELOAD={preload} exec {line} {streams}"],
            cwd=recorded.folder, env=environment, capture_output=True, timeout=HANG, check=False,
            stdin=subprocess.DEVNULL,
        )  # fmt: skip
        log = recorded.folder / "log"
        lines = log.read_text().count("\n") if log.exists() else None
        seen.append((done.stdout, done.stderr, done.returncode, recorded.library_calls(), lines))
    assert seen[1] == seen[0]
    assert recorded.recording.end["status"] == seen[0][2]


@pytest.mark.skipif(SANITIZED, reason="a sanitizer has an allocator of its own")
def test_each_allocation_of_the_recorder_may_fail(recorded):
    words = (*MANIFEST, "get", "gpu", "0", "board.serialNumber", "0")
    report = recorded.folder / "report"
    recorded.preloads = [str(SKIP_WAIT), os.environ["BOARDCTL_FAIL_ALLOCATION"], RECORDER]
    recorded.extra = {"FAIL_REPORT": str(report)}
    recorded.records = False
    normal = recorded(*words)
    calls = recorded.library_calls()
    recorded.records = True
    assert recorded(*words) == normal
    before_main, total = map(int, report.read_text().split())
    whole = len(recorded.recording.calls)
    assert whole == len(calls) == 4
    incomplete = INCOMPLETE.format(recorded.recording.path, "Cannot allocate memory")
    ended = emptied = 0
    for number in range(before_main + 1, total + 1):
        recorded.extra = {"FAIL_AT": str(number)}
        run = recorded(*words)
        if run.stderr == incomplete:
            # The recorder's own: the program did all that it does.
            assert run == (normal.stdout, incomplete, normal.status), number
            assert recorded.library_calls() == calls, number
            end = recorded.recording.end if recorded.recording.path.stat().st_size else None
            assert end is None or end["end"] == "error", number
            ended += 1
        else:
            # The program's own, or the library's, or one that does not count.
            assert "boardctl-record" not in run.stderr, (number, run)
            assert recorded.recording.path.stat().st_size, (number, before_main, total, run)
            assert recorded.recording.end["end"] == "exit", number
        if recorded.recording.path.stat().st_size == 0:
            emptied += 1
            continue
        assert [call["n"] for call in recorded.recording.calls] == list(
            range(1, len(recorded.recording.calls) + 1)
        ), number
    assert ended > 4
    # An identity that cannot be replaced does not stay.
    assert 0 < emptied < ended


def test_a_reader_of_its_message_that_has_left_ends_nothing(recorded):
    recorded.extra = {"BOARDCTL_RECORD_LIMIT": "20000"}
    recorded.prepare()
    read, write = os.pipe()
    os.close(read)
    done = subprocess.run(
        recorded.command(*MANIFEST, "shell"),
        cwd=recorded.folder, env=recorded.environment(), input=SESSION, text=True,
        stdout=subprocess.PIPE, stderr=write, timeout=HANG, check=False,
    )  # fmt: skip
    os.close(write)
    assert done.returncode == 0
    assert recorded.recording.end["end"] == "limit"


def test_another_program_gets_no_descriptor(probe):
    without, with_recorder = probe.both("exec")
    assert with_recorder == without
    assert without[0].status == 0 and "2\n" in without[0].stdout


def test_a_call_is_one_write(probe):
    (without, _), (with_recorder, _) = probe.both("writes")
    assert int(with_recorder.stdout) == int(without.stdout) + 1


@pytest.mark.skipif(SANITIZED, reason="the sanitizers stop where a thread holds a lock in a fork")
def test_a_child_may_leave_while_another_thread_is_recorded(probe):
    probe.extra = {"BOARDCTL_RECORD_LIMIT": "100000000"}
    assert probe("busy fork") == ("100 children\n", "", 0)


def test_a_link_is_not_followed(recorded):
    recorded.prepare()
    target = recorded.recording.path.rename(recorded.folder / "target")
    recorded.recording.path.symlink_to(target)
    recorded.prepare = lambda: None
    run = recorded(*MANIFEST, "list", "gpu")
    reason = "Too many levels of symbolic links"
    assert run.stderr == INCOMPLETE.format(recorded.recording.path, reason)
    assert run.status == 0 and target.read_bytes() == b""


def test_a_file_that_is_being_written_is_left_alone(recorded):
    recorded.prepare()
    recorded.prepare = lambda: None
    with recorded.recording.path.open() as other:
        fcntl.flock(other, fcntl.LOCK_EX)
        run = recorded(*MANIFEST, "list", "gpu")
    reason = "Device or resource busy"
    assert run.stderr == INCOMPLETE.format(recorded.recording.path, reason)
    assert run.status == 0 and recorded.recording.path.read_bytes() == b""


def test_a_second_process_does_not_write_into_the_same_file(recorded):
    recorded(*MANIFEST, "list", "gpu")
    before = recorded.recording.path.read_bytes()
    recorded.prepare = lambda: None
    run = recorded(*MANIFEST, "list", "gpu")
    assert run.stderr == INCOMPLETE.format(recorded.recording.path, "File exists")
    assert recorded.recording.path.read_bytes() == before
