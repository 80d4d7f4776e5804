"""Surroundings that fail: standard streams, signals, the log file, file names."""

import os
import re
import resource
import signal
import subprocess
import time

import pytest
from built_program import BOARD, STAMP, STARTING, USAGE
from conftest import MANIFEST
from limits import HANG

NO_SPACE = "boardctl: standard output: No space left on device\n"
CLOSED = "boardctl: standard output: Bad file descriptor\n"
SESSION = b"help\nlist gpu\nsnapshot\nquit\n"


def start(program, *words, **streams):
    streams = {
        "stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **streams
    }  # fmt: skip
    return subprocess.Popen(
        program.command(*words), cwd=program.folder, env=program.environment(), **streams
    )


def finish(process, stdin=None):
    out, err = process.communicate(stdin, timeout=HANG)
    return out, (err or b"").decode(), process.returncode


# Words, what standard error says before the line about the output, status.
RUNS = [
    (("-h",), "", 255),
    (("bogus",), "[E]Uknown argument: bogus!\n", 0),
    ((*MANIFEST, "list", "gpu"), "", 0),
    ((*MANIFEST, "get", "gpu", "0", "nothing.there", "0"), "", 3),
    ((*MANIFEST, "raw", "hsc", *"012345678901"), "", 255),
]


@pytest.mark.parametrize("words, before, status", RUNS)
def test_output_that_cannot_be_written_is_reported_once(boardctl, words, before, status):
    with open("/dev/full", "wb") as full:
        assert finish(start(boardctl, *words, stdout=full)) == (None, before + NO_SPACE, status)
    closed = start(boardctl, *words, stdout=None, preexec_fn=lambda: os.close(1))
    assert finish(closed) == (None, before + CLOSED, status)


def test_a_shell_with_a_full_output_reports_it_once_at_its_end(boardctl):
    with open("/dev/full", "wb") as full:
        shell = start(boardctl, *MANIFEST, "shell", stdin=subprocess.PIPE, stdout=full)
        assert finish(shell, SESSION * 100) == (None, NO_SPACE, 0)


FILE_LIMIT = 1024


def limit_files():
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))


def test_output_that_fills_up_half_way(boardctl):
    file = boardctl.folder / "out"
    with file.open("wb") as out:
        run = finish(start(boardctl, "-h", stdout=out, preexec_fn=limit_files))
    assert run == (None, "boardctl: standard output: File too large\n", 255)
    assert file.read_text() == USAGE[:FILE_LIMIT]


def test_a_broken_pipe_kills_quietly(boardctl):
    shell = start(boardctl, *MANIFEST, "shell", stdin=subprocess.PIPE)
    shell.stdout.close()
    shell.stdin.write(SESSION * 100)
    shell.stdin.flush()
    assert shell.wait(timeout=HANG) == -signal.SIGPIPE
    assert shell.stderr.read() == b""


def test_a_broken_pipe_that_is_ignored_is_a_failed_write(boardctl):
    read, write = os.pipe()
    os.close(read)
    ignore = {"restore_signals": False}  # the interpreter ignores the signal, and so does its child
    run = finish(start(boardctl, "-h", stdout=write, **ignore))
    os.close(write)
    assert run == (None, "boardctl: standard output: Broken pipe\n", 255)


def test_a_closed_output_is_not_taken_over_by_the_log(hostile):
    words = (*MANIFEST, "-l", "4", "-L", "log", "get", "gpu", "0", "x", "0")
    run = finish(start(hostile, *words, stdout=None, preexec_fn=lambda: os.close(1)))
    assert run == (None, CLOSED, 0)
    lines = (hostile.folder / "log").read_text().splitlines()
    assert len(lines) == 2
    assert all(line.startswith("[") for line in lines)


def test_an_error_does_not_go_into_the_log_when_its_own_stream_is_closed(hostile):
    words = (*MANIFEST, "-l", "4", "-L", "log", "get", "gpu", "x", "y", "0")
    run = finish(start(hostile, *words, stderr=None, preexec_fn=lambda: os.close(2)))
    assert run == (USAGE.encode(), "", 0)
    lines = (hostile.folder / "log").read_text().splitlines()
    assert len(lines) == 1
    assert lines[0].endswith("[getGpuData]: Entry().")


def test_a_log_does_not_take_the_place_of_a_closed_input(hostile):
    words = (*MANIFEST, "-l", "5", "-L", "log")
    closed = {"stdin": None, "preexec_fn": lambda: os.close(0)}
    run = finish(start(hostile, *words, "get", "gpu", "0", "x", "0", **closed))
    assert run == ((STARTING + "Device[gpu0](x) value\n").encode(), "", 0)
    log = hostile.folder / "log"
    assert log.read_text().count("\n") == 2
    # A shell goes on prompting, so that its descriptors can be looked at.
    shell = start(hostile, *words, "shell", **closed)
    os.read(shell.stdout.fileno(), 1)
    descriptors = f"/proc/{shell.pid}/fd"
    names = {int(fd): os.readlink(f"{descriptors}/{fd}") for fd in os.listdir(descriptors)}
    read_prompts(shell)
    assert names[0] == "/dev/null"
    assert [fd > 2 for fd, name in names.items() if name == str(log)] == [True]


def test_all_standard_streams_closed(hostile):
    for command in (("bogus",), ("get", "gpu", "0", "x", "0")):
        process = start(
            hostile, *MANIFEST, "-l", "4", "-L", "log", *command,
            stdin=None, stdout=None, stderr=None,
            preexec_fn=lambda: [os.close(fd) for fd in range(3)],
        )  # fmt: skip
        assert finish(process) == (None, "", 0), command
    lines = (hostile.folder / "log").read_text().splitlines()
    assert len(lines) == 2
    assert lines[0].endswith("[getGpuData]: Entry().")
    assert lines[1].endswith("accMode : 0, devType : 0.")


def read_prompts(shell):
    got = b""
    while len(got) < 1 << 16:
        piece = os.read(shell.stdout.fileno(), 1 << 16)
        assert piece, shell.stderr.read()
        got += piece
    shell.stdout.close()
    assert shell.wait(timeout=HANG) == -signal.SIGPIPE
    return got


def test_a_shell_without_standard_input_prompts_without_end(hostile):
    closed = start(hostile, *MANIFEST, "shell", stdin=None, preexec_fn=lambda: os.close(0))
    assert set(read_prompts(closed).split(b" ")) == {b">", b""}
    folder = os.open(hostile.folder, os.O_RDONLY)
    shell = start(hostile, *MANIFEST, "shell", stdin=folder)
    os.close(folder)
    assert set(read_prompts(shell).split(b" ")) == {b">", b""}


def test_binary_input(hostile):
    every = bytes(range(256)).replace(b"\n", b"")
    lines = [every, b"get gpu 0 " + every.replace(b" ", b""), b"\0get gpu 0 x", b"get\0 gpu 0 x",
             b"get gpu 0 x\0y", b"\xff" * 100, b"quit\0", b"quit"]  # fmt: skip
    shell = start(hostile, *MANIFEST, "shell", stdin=subprocess.PIPE)
    out, err, status = finish(shell, b"\n".join(lines))
    name = every.replace(b" ", b"")
    assert out == (b"> > Device[gpu0](" + name + b") value\n> > > Device[gpu0](x\0y) value\n> > > ")
    assert (err, status) == ("", 0)


def test_a_line_of_10_mib(hostile):
    long = b"y" * (10 << 20)
    lines = [long, b"get gpu 0 " + long, b"get" + b" " * (10 << 20) + b"gpu 0 x",
             b"get gpu 0 x " + b"1 " * (1 << 20), b"quit"]  # fmt: skip
    shell = start(hostile, *MANIFEST, "shell", stdin=subprocess.PIPE)
    out, err, status = finish(shell, b"\n".join(lines))
    x = b"> Device[gpu0](x) value\n"
    assert out == b"> > Device[gpu0](" + long + b") value\n" + x + x + b"> "
    assert (err, status) == ("", 0)


def test_signals_do_not_cut_the_wait_short(hostile):
    hostile.orders = "handler=1"
    hostile.extra = {"LD_PRELOAD": ""}
    began = time.monotonic()
    run = start(hostile, *MANIFEST, "get", "gpu", "0", "x", "0")
    while "GPUManagerRun" not in hostile.calls():
        time.sleep(0.01)
    for _ in range(10):
        run.send_signal(signal.SIGUSR1)
        time.sleep(0.05)
    run.send_signal(signal.SIGSTOP)
    time.sleep(0.5)
    run.send_signal(signal.SIGCONT)
    run.send_signal(signal.SIGUSR1)
    run.send_signal(signal.SIGWINCH)
    out, err, status = finish(run)
    assert time.monotonic() - began >= 6
    assert (out, err, status) == (STARTING.encode() + b"Device[gpu0](x) value\n", "", 0)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_that_kills_during_the_wait(hostile, number):
    hostile.extra = {"LD_PRELOAD": ""}
    run = start(hostile, *MANIFEST, "get", "gpu", "0", "x", "0", restore_signals=True)
    while "GPUManagerRun" not in hostile.calls():
        time.sleep(0.01)
    run.send_signal(number)
    out, err, status = finish(run)
    assert (err, status) == ("", -number)
    assert b"Device" not in out


def test_signals_do_not_cut_lines_of_the_shell(hostile):
    hostile.orders = "handler=1"
    shell = start(hostile, *MANIFEST, "shell", stdin=subprocess.PIPE)
    while "GPUManagerRun" not in hostile.calls():
        time.sleep(0.01)
    for piece in (b"ge", b"t gpu", b" 0 x", b"\nget gp", b"u 1 y\nqu", b"it"):
        shell.stdin.write(piece)
        shell.stdin.flush()
        for _ in range(3):
            time.sleep(0.02)
            shell.send_signal(signal.SIGUSR1)
    out, err, status = finish(shell)
    assert out == b"> Device[gpu0](x) value\n> Device[gpu1](y) value\n> "
    assert (err, status) == ("", 0)


def test_the_prompt_still_comes_after_a_signal(hostile):
    hostile.orders = "handler=1"
    shell = start(hostile, *MANIFEST, "shell", stdin=subprocess.PIPE)
    assert os.read(shell.stdout.fileno(), 100) == b"> "
    shell.send_signal(signal.SIGUSR1)
    time.sleep(0.05)
    shell.stdin.write(b"nothing\n")
    shell.stdin.flush()
    assert os.read(shell.stdout.fileno(), 100) == b"> "
    assert finish(shell, b"quit\n") == (b"", "", 0)


GET = ("get", "gpu", "0", "x", "0")
GOT = STARTING + "Device[gpu0](x) value\n"


def test_a_log_file_that_cannot_be_written_changes_nothing(hostile):
    hostile.extra = {}
    (hostile.folder / "folder").mkdir()
    unwritable = hostile.folder / "unwritable"
    unwritable.write_text("kept")
    unwritable.chmod(0o444)
    for name in ("/dev/full", "folder", "missing/log", "/proc/version", "log" * 2000):
        assert hostile(*MANIFEST, "-l", "5", "-L", name, *GET) == (GOT, "", 0), name
    if os.geteuid() != 0:
        assert hostile(*MANIFEST, "-l", "5", "-L", str(unwritable), *GET) == (GOT, "", 0)
        assert unwritable.read_text() == "kept"


@pytest.mark.parametrize("order, kept", [("logfails=3", 3), ("logfails=0", 0), ("", None)])
def test_a_log_stream_that_fails_half_way_changes_nothing(hostile, order, kept):
    hostile.orders = "journal=;" + order
    prepare = limit_files if kept is None else None
    words = (*MANIFEST, "-l", "5", "-L", "log", "shell")
    shell = start(hostile, *words, stdin=subprocess.PIPE, preexec_fn=prepare)
    run = finish(shell, b"get gpu 0 x\n" * 300 + b"get gpu 0\nquit\n")
    printed = b"> Device[gpu0](x) value\n" * 300
    assert run[1:] == ("", 0)
    assert run[0].startswith(printed + b"> Missing params!\n") and run[0].endswith(b"\n> ")
    log = (hostile.folder / "log").read_bytes()
    if kept is None:
        assert len(log) == FILE_LIMIT
    else:
        assert log.count(b"\n") == kept


def test_the_simulated_board_reports_a_log_it_cannot_open(boardctl):
    command = ("get", "gpu", "0", "gpu.inventory.gpuPartNumber", "0")
    usual = boardctl(*BOARD, *command)
    assert (usual.stderr, usual.status) == ("", 0)
    for name, reason in (("missing/log", "No such file or directory"), (".", "Is a directory")):
        for words in (("-l", "5", "-L", name), ("-L", name)):
            run = boardctl(*BOARD, *words, *command)
            assert (run.stdout, run.status) == (usual.stdout, 0), words
            said = f"E{name}: cannot be opened as the log file: {reason}\n"
            assert re.fullmatch(STAMP + re.escape(said), run.stderr), words


def test_the_simulated_board_on_a_full_log_says_nothing(boardctl):
    name = "gpu.inventory.gpuPartNumber"
    session = f"get gpu 0 {name}\nget gpu 99 {name}\n" * 300 + "quit\n"
    expected = boardctl(*BOARD, "shell", stdin=session)
    assert (expected.stderr, expected.status) == ("", 0)
    assert expected.stdout.count("\n") == 600
    full = ("-l", "5", "-L", "/dev/full")
    assert boardctl(*BOARD, *full, "shell", stdin=session) == expected


def test_a_log_file_removed_while_it_is_open(hostile):
    shell = start(hostile, *MANIFEST, "-l", "5", "-L", "log", "shell", stdin=subprocess.PIPE)
    shell.stdin.write(b"get gpu 0 x\n" * 200)
    shell.stdin.flush()
    while "DeviceGetData" not in hostile.calls():
        time.sleep(0.01)
    (hostile.folder / "log").unlink()
    out, err, status = finish(shell, b"get gpu 0 x\n" * 200 + b"quit\n")
    assert out == b"> Device[gpu0](x) value\n" * 400 + b"> "
    assert (err, status) == ("", 0)
    assert not (hostile.folder / "log").exists()


NAMES = [" ", "a b", "new\nline", "%s%n%d", "-", "tab\t", "\x1b[31m", "*", "$(id)", "\xe9" * 100]


@pytest.mark.parametrize("name", NAMES)
def test_file_names_of_any_bytes(hostile, name):
    if name != "-":
        (hostile.folder / name).write_text("{}")
        assert hostile("-m", name, "-t", name, "-l", "4", "-L", "log" + name, *GET) == (GOT, "", 0)
        assert (hostile.folder / ("log" + name)).read_text().count("\n") == 2
    missing = "missing" + name
    run = hostile("-m", missing, "list", "gpu")
    shown = missing.encode().decode("latin-1")
    assert run == (USAGE, f"[E]File {shown} not exist!\n", 0)
