"""The interactive shell, through a pipe and on a terminal."""

import os
import select
import subprocess
import time

from built_program import ROOT, USAGE
from limits import HANG
from terminal import Terminal

GOLDEN = ROOT / "tests/golden"
SESSION_BOARD = (
    "-m", str(GOLDEN / "shell_board/manifest.json"),
    "-t", str(GOLDEN / "shell_board/properties.json"),
)  # fmt: skip


def test_a_session_through_a_pipe_is_the_golden_text(boardctl):
    session = (GOLDEN / "shell_session.in").read_text()
    assert boardctl(*SESSION_BOARD, "shell", stdin=session) == (
        (GOLDEN / "shell_session.out").read_text(),
        "",
        0,
    )


def test_an_init_failure_gives_the_librarys_code(boardctl):
    (boardctl.folder / "bad.json").write_text("[]")
    run = boardctl("-m", "bad.json", "shell", stdin="quit\n")
    assert (run.stdout, run.status) == ("GPU Manager Init failed!!\n", 14)


def test_an_error_inside_a_command_ends_the_shell(boardctl):
    run = boardctl(*SESSION_BOARD, "shell", stdin="get gpu 0x y\nset 0 x zz\nquit\n")
    assert run == ("> Device[gpu0](y) Get Failed, rc = 0x3\n> " + USAGE, "[E]stoi\n", 0)


def test_prompts_come_without_end_when_input_has_ended(boardctl):
    shell = subprocess.Popen(
        boardctl.command(*SESSION_BOARD, "shell"),
        cwd=boardctl.folder,
        env=boardctl.environment(),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
    )
    shell.stdin.write(b"snapshot nonsense")
    shell.stdin.close()
    limit = 1 << 20
    output = b""
    while len(output) < limit:
        assert select.select([shell.stdout], [], [], 60)[0], "no more output"
        output += os.read(shell.stdout.fileno(), limit)
    assert shell.poll() is None
    shell.stdout.close()
    assert shell.wait(timeout=HANG) == -13  # killed by the broken pipe
    assert output[:limit] == b"> " * (limit // 2)


def test_input_that_does_not_wait_is_waited_for(boardctl):
    reading, writing = os.pipe2(os.O_NONBLOCK)
    shell = subprocess.Popen(
        boardctl.command(*SESSION_BOARD, "shell"),
        cwd=boardctl.folder,
        env=boardctl.environment(),
        stdin=reading,
        stdout=subprocess.PIPE,
    )
    os.close(reading)
    for piece in (b"snapshot non", b"sense\n", b"quit\n"):
        time.sleep(0.05)
        os.write(writing, piece)
    assert shell.communicate(timeout=HANG)[0] == b"> > "
    assert shell.returncode == 0
    os.close(writing)


def test_a_session_on_a_terminal(boardctl):
    terminal = Terminal(
        boardctl.command(*SESSION_BOARD, "shell"),
        settings=["-echo", "-onlcr"],
        cwd=boardctl.folder,
        env=boardctl.environment(),
    )
    # Each prompt is there before anything is typed, and each answer before the next line.
    assert terminal.read_until("> ") == "> "
    terminal.type("get gpu 0 gpu.inventory.serialNumber\n")
    assert terminal.read_until("> ") == "Device[gpu0](gpu.inventory.serialNumber) S0017\n> "
    terminal.type("get gpu 0 gpx\x7fu.nothing\n")
    assert terminal.read_until("> ") == "Device[gpu0](gpu.nothing) Get Failed, rc = 0x3\n> "
    terminal.type("snapshot refresh_status\n")
    assert terminal.read_until("> ") == "Snapshot Refresh Status: 0\n> "
    terminal.type("quit\n")
    assert terminal.process.wait(timeout=HANG) == 0
    terminal.close()
