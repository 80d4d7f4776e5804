"""Completion in real shells, and that it offers what the program takes."""

import os
import re
import subprocess

import pytest
import shells
from conftest import BOARD, BOARDCTL, BUILD, GENERATED, ROOT, run
from limits import HANG
from terminal import Terminal

ROWS = [line.split() for line in (ROOT / "tests/data/api_properties.txt").read_text().splitlines()]
APIS = {name for row in ROWS for name in row[1:]}
LISTS = (ROOT / "catalogue/property_groups.h").read_text()
PAGED = set(re.findall(r'^    "([\w.]+)",$', LISTS.partition("kLinkLogic1")[0], re.M))
PROPERTIES = {name for name in {*(row[0] for row in ROWS), *PAGED} if "." in name}


@pytest.fixture(scope="module", params=["bash", "zsh"])
def shell(request, tmp_path_factory):
    folder = tmp_path_factory.mktemp("typist")
    (folder / "oob manifest.json").write_text("{}")
    (folder / "profiles").mkdir()
    started = getattr(shells, request.param)(folder, GENERATED / f"boardctl.{request.param}")
    yield started
    started.close()


def entries(usage):
    return {name.rstrip(",") for line in usage for name in re.findall(r"^\S+|(?<=, )--\S+", line)}


def test_every_option_and_command(shell, usage):
    assert len(usage) == 15
    assert shell.candidates("boardctl ") == entries(usage)
    options = {name for name in entries(usage) if name.startswith("-")}
    assert shell.candidates("boardctl -") == options
    assert shell.candidates("boardctl -m x list gpu ") == options
    assert shell.candidates("boardctl -l 3 get gpu 0 gpu.pcie.vendorId 0 -") == options
    assert shell.candidates("boardctl -h ") == set()


def test_files_after_the_options_that_take_them(shell):
    for option in "-m", "-p", "-t", "-L":
        line = shell.complete(f"boardctl {option} oo")
        assert line.rstrip() == f"boardctl {option} oob\\ manifest.json", option
    assert shell.complete("boardctl -L pro").rstrip("/ ") == "boardctl -L profiles"
    assert shell.complete("boardctl list oo") == "boardctl list oo"


def test_levels_are_those_that_are_accepted(shell):
    # The level is looked at before the manifest.
    errors = [
        subprocess.run(
            [BOARDCTL, "-l", str(level), "-m", "missing", "shell"],
            capture_output=True, text=True, timeout=HANG, check=False,
        ).stderr
        for level in range(10)
    ]  # fmt: skip
    accepted = {
        str(level) for level, error in enumerate(errors) if error == "[E]File missing not exist!\n"
    }
    assert len(accepted) == 6
    assert shell.candidates("boardctl -l ") == accepted


def test_device_words_are_those_that_are_known(shell, session):
    offered = shell.candidates("boardctl -m x get ")
    assert len(offered) == 24
    assert shell.candidates("boardctl list ") == offered | {"all"}
    words = sorted(offered | {"all"})
    refused = "Get property list failed, rc = 4"
    answers = session([f"list {word}" for word in [*words, "gpux"]])
    assert [refused in answer for answer in answers] == [False] * len(words) + [True]
    in_usage = set(re.findall(r"\w+", session(["list"])[0].partition("<DeviceType>")[2]))
    assert in_usage == offered - {"hostBmc"} | {"all"}


@pytest.mark.parametrize("command", ["raw", "rawSyncCmd", "rawAsyncCmd"])
def test_raw_commands_offer_the_devices_that_have_a_post_box(shell, session, command):
    words = sorted(shell.candidates("boardctl get "))
    answers = session([f"{command} {word} 0" + " 1" * 15 for word in words])
    taken = {word for word, answer in zip(words, answers) if "Unknown device" not in answer}
    assert shell.candidates(f"boardctl {command} ") == taken
    assert shell.candidates(f"boardctl {command} gpu ") == set()


def test_properties_of_the_kind_that_was_typed(shell):
    for kind in "gpu", "baseboard", "korlinkBridgeConn":
        expected = {name for name in PROPERTIES if name.startswith(f"{kind}.")}
        assert expected, kind
        assert shell.candidates(f"boardctl -m x get {kind} 0 ") == expected | {"all"}, kind
        assert shell.candidates(f"boardctl set 0 {kind}.") == expected, kind
        assert shell.candidates(f"boardctl clear 3 {kind}.") == expected, kind
    assert shell.candidates("boardctl get cpu 0 ") == {"all"}
    assert shell.candidates("boardctl get gpu 0 gpu.pcie.vendorId ") == {"0", "1"}


def test_every_property_can_be_reached_from_set(shell):
    kinds = shell.candidates("boardctl set 0 ")
    reached = {name for kind in kinds for name in shell.candidates(f"boardctl set 0 {kind}")}
    assert reached == PROPERTIES
    assert shell.complete("boardctl set 0 standby") == "boardctl set 0 standbyhsc."
    assert (
        shell.complete("boardctl set 0 gpu.power.limit.t")
        == "boardctl set 0 gpu.power.limit.total "
    )


def test_api_names_of_callbacks(shell):
    assert len(APIS) == 491
    assert shell.candidates("boardctl set_callback 0 ") == APIS


def test_the_simulated_board_is_completed_alike(shell):
    assert shell.complete("boardctl-sim -m x she") == "boardctl-sim -m x shell "


def test_the_word_list_holds_what_a_session_takes(session):
    words = (GENERATED / "boardctl.rlwrap").read_text().split()
    assert words == sorted(set(words), key=str.encode)
    assert set(words) >= APIS | PROPERTIES
    rest = sorted(set(words) - APIS - PROPERTIES)
    listings = session([f"list {word}" for word in rest])
    devices = {word for word, text in zip(rest, listings) if "rc = 4" not in text}
    assert len(devices) == 25
    commands = set(rest) - devices - {"exit", "quit", "refresh_status"}
    assert all(session(sorted(commands)))
    assert commands == {*session(["help"])[0].split(), "list", "snapshot"} - {"quit"}


def test_rlwrap_completes_and_remembers(tmp_path):
    wrapped = Terminal(
        ["setsid", "--ctty", "rlwrap", "-b", " ", "-f", GENERATED / "boardctl.rlwrap"]
        + [BOARDCTL, *BOARD, "shell"],
        settings=["cols", "200", "rows", "50"],
        env={"PATH": os.environ["PATH"], "TERM": "vt100", "HOME": str(tmp_path), "LC_ALL": "C"},
    )

    def answer(typed, expected):
        wrapped.type(typed)
        wrapped.read_until(expected)

    answer("", "> ")
    answer("get gpu 0 gpu.power.limit.to\t\r", "Device[gpu0](gpu.power.limit.total) 500")
    answer("set 0 gpu.power.limit.to\t 450\r", "Set done.")
    answer("\x1b[A\x1b[A\r", "Device[gpu0](gpu.power.limit.total) 450")
    wrapped.type("quit\r")
    assert wrapped.process.wait(timeout=HANG) == 0
    wrapped.close()
    history = next(tmp_path.glob(".*_history")).read_text()
    assert history.splitlines()[-1] == "quit"


def companion_shell(shell, folder, program, *files):
    for name in files:
        (folder / name).touch()
    completion = ROOT / f"packaging/completion/{program}.{shell}"
    started = getattr(shells, shell)(folder, completion)
    yield started
    started.close()


@pytest.fixture(scope="module", params=["bash", "zsh"])
def check_shell(request, tmp_path_factory):
    folder = tmp_path_factory.mktemp("integrator")
    files = "libdevmgr.so.0", "oob_manifest.json"
    yield from companion_shell(request.param, folder, "devmgr-check", *files)


@pytest.fixture(scope="module", params=["bash", "zsh"])
def journal_shell(request, tmp_path_factory):
    folder = tmp_path_factory.mktemp("analyst")
    yield from companion_shell(request.param, folder, "boardctl-journal", "calls.jsonl")


def test_devmgr_check(check_shell):
    assert check_shell.candidates("devmgr-check -") == {"-h", "--help"}
    assert check_shell.complete("devmgr-check lib").rstrip() == "devmgr-check libdevmgr.so.0"
    line = "devmgr-check libdevmgr.so.0 "
    assert check_shell.complete(line + "-").rstrip() == line + "--live"
    assert check_shell.complete(line).rstrip() == line + "--live"
    for words in "--live", "--live a", "--live a b":
        assert check_shell.complete(f"{line}{words} oob").rstrip() == (
            f"{line}{words} oob_manifest.json"
        )
    for words in "-h ", line + "--live a b c oob":
        assert check_shell.complete(words).rstrip() == words.rstrip()


def test_boardctl_journal(journal_shell):
    usage = run(str(BUILD / "tools/boardctl-journal/boardctl-journal"), "--help")
    commands = set(re.findall("boardctl-journal (\\w+) FILE", usage))
    assert len(commands) == 4
    assert journal_shell.candidates("boardctl-journal ") == commands
    options = {"-h", "--help", "-V", "--version"}
    assert journal_shell.candidates("boardctl-journal -") == options
    for command in commands:
        line = f"boardctl-journal {command} calls.jsonl"
        assert journal_shell.complete(line[:-6]).rstrip() == line
        second = f"{line} ca"
        taken = f" {command} FILE " in usage
        expected = f"{line} calls.jsonl" if taken else second
        assert journal_shell.complete(second).rstrip() == expected
        assert journal_shell.complete(f"{line} x ca").rstrip() == f"{line} x ca"


def test_devmgr_check_takes_what_is_completed():
    check = BUILD / "tools/devmgr-check/devmgr-check"
    usage = run(str(check), "--help")
    assert usage.startswith("usage: devmgr-check LIBRARY [--live MANIFEST [PROFILE] [PROPERTIES]]")


@pytest.fixture(scope="module", params=["bash", "zsh"])
def export_shell(request, tmp_path_factory):
    folder = tmp_path_factory.mktemp("operator")
    (folder / "oob_manifest.json").touch()
    started = getattr(shells, request.param)(folder, GENERATED / f"boardctl-export.{request.param}")
    yield started
    started.close()


def test_boardctl_export(export_shell):
    usage = run(str(BUILD / "tools/boardctl-export/boardctl-export"), "--help")
    options = set(re.findall(r"^  (?:-\w,|   ) (--\S+)", usage, re.M))
    letters = set(re.findall(r"^  (-\w),", usage, re.M))
    assert export_shell.candidates("boardctl-export --") == options
    assert export_shell.candidates("boardctl-export -m x ") == options | letters
    assert export_shell.candidates("boardctl-export --mode ") == {"0", "1"}
    assert export_shell.candidates("boardctl-export --format ") == {"prometheus", "json"}
    assert export_shell.candidates("boardctl-export --every ") == set()
    for option in "-m", "--manifest", "--names", "--output":
        line = f"boardctl-export {option} "
        assert export_shell.complete(f"{line}oob").rstrip() == f"{line}oob_manifest.json"
