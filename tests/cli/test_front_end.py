"""What an operator sees of the command line itself."""

import re
import subprocess

import pytest
from built_program import BOARD, STARTING, USAGE
from limits import HANG


def test_help_is_the_golden_text(boardctl):
    assert boardctl("-h") == (USAGE, "", 255)
    assert boardctl("--help") == (USAGE, "", 255)


def test_help_wins_over_everything_it_is_reached_before(boardctl):
    assert boardctl("-m", "missing.json", "-h", "nonsense") == (USAGE, "", 255)


ERRORS = [
    ((), "Arg -m is needed!"),
    (("list", "all"), "Arg -m is needed!"),
    (("-m", "oob_manifest.json"), "Arg cmd is needed!"),
    (("-m", "oob_manifest.json", "bogus"), "Uknown argument: bogus!"),
    (("-x", "-h"), "Uknown argument: -x!"),
    (("-m",), "Argument -m needs parameter!"),
    (("-m", "oob_manifest.json", "get", "gpu", "0", "x"), "Argument get needs parameter!"),
    (("-m", "oob_manifest.json", "list", "-5"), "Argument list needs parameter!"),
    (("-m", "missing.json", "list", "all"), "File missing.json not exist!"),
    (("-m", "oob_manifest.json", "-p", "no%s.json", "list", "all"), "File no%s.json not exist!"),
    (("-m", "oob_manifest.json", "-t", "", "list", "all"), "File  not exist!"),
    (("-m", "oob_manifest.json", "-l", "6", "list", "all"), "Level of our range[0-5]!"),
    (("-m", "oob_manifest.json", "-l", "abc", "list", "all"), "stoi"),
    (("-m", "oob_manifest.json", "-L", "", "list", "all"), "Need a file name!"),
    ((*BOARD, "get", "gpu", "x", "gpu.inventory.gpuPartNumber", "0"), "stoi"),
    ((*BOARD, "get", "gpu", "2147483648", "gpu.inventory.gpuPartNumber", "0"), "stoi"),
    ((*BOARD, "set", "0", "gpu.firmware.writeProtectMode", "x"), "stoi"),
]


@pytest.mark.parametrize("words, message", ERRORS)
def test_an_error_is_followed_by_the_usage_and_status_0(boardctl, words, message):
    assert boardctl(*words) == (USAGE, f"[E]{message}\n", 0)


def test_the_error_line_comes_before_the_usage(boardctl):
    assert boardctl.merged("bogus") == "[E]Uknown argument: bogus!\n" + USAGE


def test_what_a_command_has_printed_comes_before_its_error(boardctl):
    printed = boardctl.merged(*BOARD, "shell", stdin="get gpu x y\n")
    assert printed == "> [E]stoi\n" + USAGE


def test_a_refused_line_runs_no_option(boardctl):
    run = boardctl("-L", "log", "-l", "5", "-m", "oob_manifest.json", "bogus")
    assert run == (USAGE, "[E]Uknown argument: bogus!\n", 0)
    assert not (boardctl.folder / "log").exists()


def test_a_failing_option_stops_those_after_it(boardctl):
    run = boardctl("-L", "log", "-l", "9", "-m", "missing.json", "list", "all")
    assert run == (USAGE, "[E]Level of our range[0-5]!\n", 0)
    assert (boardctl.folder / "log").exists()


def test_only_the_last_value_of_a_repeated_option_is_looked_at(boardctl):
    command = ("list", "fpga")
    assert boardctl("-m", "missing.json", *BOARD, *command) == boardctl(*BOARD, *command)


def test_the_order_on_the_line_does_not_matter(boardctl):
    assert boardctl("list", "fpga", *BOARD) == boardctl(*BOARD, "list", "fpga")


def example_lines():
    return re.findall(r"\$ (\./boardctl .*)", USAGE)


def test_the_usage_shows_four_examples():
    assert len(example_lines()) == 4


@pytest.mark.parametrize("line", example_lines())
def test_the_examples_of_the_usage_run_as_printed(boardctl, line):
    boardctl.script(boardctl.folder / "boardctl")
    done = subprocess.run(
        ["sh", "-c", line],
        cwd=boardctl.folder,
        env=boardctl.environment(),
        input=b"quit\n",
        capture_output=True,
        timeout=HANG,
        check=False,
    )
    expected = {
        "list": "Device Property List: \n",
        "get": STARTING + "Device[gpu0](gpu.inventory.gpuPartNumber) ",
        "set": STARTING + "Set done.\n",
        "shell": "> ",
    }[line.split()[5]]
    assert done.stdout.decode().startswith(expected)
    assert (done.stderr, done.returncode) == (b"", 0)
