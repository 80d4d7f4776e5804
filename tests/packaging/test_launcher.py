"""The shell at a terminal, as the documents recommend it: Ctrl-D does nothing, and the terminal is
as it was afterwards."""

import os
import subprocess
import termios

import pytest
from conftest import BOARDCTL, BUILD, GENERATED, ROOT, run
from limits import HANG
from posix_shells import SHELLS, search_path
from terminal import Terminal

CTRL_C, CTRL_D = "\x03", "\x04"
LINE = "boardctl-shell -m oob_manifest.json"
QUESTION = "get gpu 0 gpu.pcie.maxWidth\r"
ANSWER = "Device[gpu0](gpu.pcie.maxWidth) 16"
MODES = {
    "rlwrap": ([], {}, LINE),
    "plain": ([], {"RLWRAP": ""}, LINE),
    "no rlwrap": ([], {"RLWRAP": "not-installed"}, LINE),
    "busybox": (SHELLS["busybox"], {"RLWRAP": ""}, LINE),
    "simulated board": ([], {}, "boardctl-sim -m oob_manifest.json shell"),
    "simulated board, rlwrap": (["rlwrap"], {}, "boardctl-sim -m oob_manifest.json shell"),
}


@pytest.fixture(scope="module")
def prefix(tmp_path_factory):
    folder = tmp_path_factory.mktemp("installed")
    for component in "tool", "sim":
        run("cmake", "--install", str(BUILD), "--prefix", str(folder), "--component", component)
    return folder


def environment(prefix, home, shell="dash"):
    return {
        "PATH": search_path(shell, prefix / "bin"),
        "LD_LIBRARY_PATH": str(next(prefix.glob("lib/**/sim"))),
        "HOME": str(home),
        "TERM": "vt100",
        "LC_ALL": "C",
    }


@pytest.fixture(params=MODES)
def session(request, prefix, tmp_path):
    """The line at a terminal; `settings()` are those of the terminal, also when it has ended."""
    before, more, line = MODES[request.param]
    program, *words = line.split()
    shell = "busybox" if request.param == "busybox" else "dash"
    terminal = Terminal(
        ["setsid", "-c", *before, prefix / "bin" / program, *words],
        settings=["cols", "200", "rows", "50"],
        cwd=ROOT / "examples",
        env=environment(prefix, tmp_path, shell) | more,
    )
    held = os.open(terminal.name, os.O_RDWR | os.O_NOCTTY)
    terminal.settings = lambda: termios.tcgetattr(held)
    terminal.read_until("> ")
    yield terminal
    terminal.process.kill()
    terminal.process.wait()
    os.close(held)
    terminal.close()


@pytest.fixture
def default_settings():
    terminal = Terminal(["true"], settings=["cols", "200", "rows", "50"])
    held = os.open(terminal.name, os.O_RDWR | os.O_NOCTTY)
    settings = termios.tcgetattr(held)
    terminal.process.wait()
    os.close(held)
    terminal.close()
    return settings


def test_ctrl_d_does_nothing(session, default_settings):
    for typed in CTRL_D, CTRL_D * 3, "get gpu 0 gpu.pcie." + CTRL_D, "maxWidth\r":
        session.type(typed)
    seen = session.read_until(ANSWER)
    session.type(QUESTION)
    seen += session.read_until(ANSWER)
    assert seen.count("> ") < 30, "prompts without end"
    session.type("quit\r")
    assert session.process.wait(timeout=HANG) == 0
    assert session.settings() == default_settings


def test_the_terminal_is_restored_after_an_interrupt(session, default_settings):
    session.type(QUESTION)
    session.read_until(ANSWER)
    assert session.settings() != default_settings
    session.type(CTRL_C)
    assert session.process.wait(timeout=HANG) in (-2, 130)
    assert session.settings() == default_settings


@pytest.mark.parametrize("built", [False, True])
def test_rlwrap_gets_the_word_list(prefix, tmp_path, built):
    program = GENERATED / "boardctl-shell" if built else prefix / "bin/boardctl-shell"
    terminal = Terminal(
        ["setsid", "-c", program, "-m", "oob_manifest.json"],
        settings=["cols", "200", "rows", "50"],
        cwd=ROOT / "examples",
        env=environment(prefix, tmp_path) | ({"BOARDCTL": BOARDCTL} if built else {}),
    )
    terminal.read_until("> ")
    terminal.type("get gpu 0 gpu.pcie.maxW\t\r")
    terminal.read_until(ANSWER)
    terminal.type("quit\r")
    assert terminal.process.wait(timeout=HANG) == 0
    terminal.close()
    assert (tmp_path / ".boardctl_history").exists()


@pytest.mark.parametrize("shell", SHELLS)
def test_through_a_pipe_it_is_the_shell_and_no_more(prefix, tmp_path, shell):
    done = subprocess.run(
        [*SHELLS[shell], prefix / "bin/boardctl-shell", "-m", "missing.json"],
        cwd=tmp_path,
        env=environment(prefix, tmp_path, shell),
        input="",
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )
    assert (done.returncode, done.stderr) == (0, "[E]File missing.json not exist!\n")
    printed = run(
        *[*SHELLS[shell], str(prefix / "bin/boardctl-shell"), *LINE.split()[1:]],
        cwd=ROOT / "examples",
        env=environment(prefix, tmp_path, shell),
        input="get gpu 0 gpu.pcie.maxWidth\nquit\n",
    )
    assert printed == f"> {ANSWER}\n> "


def test_help(prefix, tmp_path):
    command = [str(prefix / "bin/boardctl-shell"), "-h"]
    assert run(*command, env=environment(prefix, tmp_path)).startswith("usage: boardctl-shell -m")


@pytest.mark.parametrize("document", ["docs/cookbook.md", "docs/man/boardctl.1.in"])
def test_the_documents_recommend_it(document):
    assert LINE in (ROOT / document).read_text()
