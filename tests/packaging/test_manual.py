"""The manual pages: well-formed, and in agreement with the program."""

import json
import os
import re
import subprocess

import pytest
from conftest import BOARD, BOARDCTL, BUILD, GENERATED, ROOT, run
from limits import HANG

PAGES = {
    "boardctl(1)": GENERATED / "boardctl.1",
    "boardctl-export(1)": GENERATED / "boardctl-export.1",
    "boardctl-journal(1)": ROOT / "docs/man/boardctl-journal.1",
    "boardctl-record(1)": ROOT / "docs/man/boardctl-record.1",
    "boardctl-report(1)": ROOT / "docs/man/boardctl-report.1",
    "boardctl-shell(1)": ROOT / "docs/man/boardctl-shell.1",
    "boardctl-sim(7)": ROOT / "docs/man/boardctl-sim.7",
    "devmgr-check(1)": ROOT / "docs/man/devmgr-check.1",
}
OTHERS = {"exit(3)", "rlwrap(1)", "stty(1)", "systemd(1)"}


def rendered(page):
    text = run("mandoc", "-T", "utf8", "-O", "width=400", str(PAGES[page]))
    return re.sub(".\b", "", text)


@pytest.mark.parametrize("page", PAGES)
def test_lint_finds_nothing_but_pages_that_are_not_installed(page):
    command = ["mandoc", "-T", "lint", str(PAGES[page])]
    done = subprocess.run(command, capture_output=True, text=True, timeout=HANG, check=False)
    absent = r"(?:referenced manual not found: Xr|outdated mandoc\.db lacks) ([\w-]+)[ (](\d)"
    for finding in (done.stdout + done.stderr).splitlines():
        missing = re.search(absent, finding)
        assert missing, finding
        assert f"{missing[1]}({missing[2]})" in {*PAGES, *OTHERS}, finding


def test_options_and_commands_are_those_of_the_usage(usage):
    page = rendered("boardctl(1)")
    lists = page[page.index("\nOPTIONS\n") : page.index("\n   Device types\n")]
    items = {
        re.sub(r"\s{2,}.*", "", item): None
        for item in re.findall(r"^ {5}(-.*|[a-z].*)$", lists, re.M)
    }
    expected = [re.sub(r"[<>]", "", re.sub(r"\s{2,}.*", "", line)) for line in usage]
    assert [item for item in items if item in expected] == expected
    assert {item.split()[0] for item in items if item.startswith("-")} == {
        line.split()[0] for line in usage if line.startswith("-")
    }


def test_the_words_of_a_session_are_those_of_the_shell():
    page = rendered("boardctl(1)")
    part = page[page.index("   The shell") : page.index("\nFILES\n")]
    for word in ("snapshot refresh_status", "help", "quit, exit"):
        assert re.search(rf"^ {{5}}{word}(?:  |$)", part, re.M), word


def test_the_options_of_boardctl_export_are_those_of_its_help():
    page = rendered("boardctl-export(1)")
    items = re.findall(r"^ {5}(?:-\w, )?--(\S.*?)(?:  .*)?$", page, re.M)
    shown = run(str(BUILD / "tools/boardctl-export/boardctl-export"), "--help")
    assert items == [line.strip() for line in re.findall(r"^  (?:-\w,|   ) --(.*)$", shown, re.M)]


STRING = r'"((?:[^"\\]|\\.)*)"'
# What the program prints that is no message: usage texts, names and the log's lines.
NO_MESSAGE = r"""(?sx)
    \# include [^\n]* | // [^\n]*
    | BOARDCTL_LOG \( .*? \);
    | (?:printMissingWords|pthread_setname_np) \( .*? \);
    | k\w*Usage \s* = .*? ;
    | kHelp \s* = .*? ;
    | \.(?:usage|name) \s* = .*? ,\n
"""


def messages():
    """The pieces of all messages, as the sources spell them."""
    sources = [*(ROOT / "tools/boardctl").glob("*.cpp"), *(ROOT / "cli").glob("*.cpp")]
    for source in sources:
        if source.name in ("registry.cpp", "usage.cpp"):
            continue
        text = re.sub(NO_MESSAGE, "", source.read_text())
        text = re.sub(r'"\s*\n\s*"', "", text)
        for literal in re.findall(STRING, text):
            pieces = re.split(r"%\w+|\\n", literal)
            for piece in pieces:
                if re.search(r"\w.* | .*\w", piece):
                    yield source.name, piece
    yield "output.cpp", "Missing params!"


def test_each_message_of_the_program_is_explained():
    page = rendered("boardctl(1)")
    part = page[page.index("\nDIAGNOSTICS\n") : page.index("\nSEE ALSO\n")]
    found = set(messages())
    assert len(found) > 30
    assert {piece for _, piece in found} > {
        "Set done.",
        "Get Failed, rc = 0x",
        "Arg ",
        " not exist!",
    }
    for source, piece in sorted(found):
        assert piece.strip().removesuffix("0x").strip() in part, (source, piece)


def answers(*words, lines=(), **options):
    return subprocess.run(
        [BOARDCTL, *BOARD, *words], input="".join(f"{line}\n" for line in [*lines, "quit"]),
        capture_output=True, text=True, timeout=HANG, check=False, **options,
    )  # fmt: skip


def test_the_caveats_are_what_happens(session, tmp_path):
    protection, limit = "gpu.firmware.writeProtectMode", "gpu.power.limit.total"
    lines = [f"set 0 {protection} 1", f"set 0 {protection} 0x1", f"get gpu 0 {protection} 1"]
    assert session(lines)[1:] == ["Set done.\n", f"Device[gpu0]({protection}) 0\n"]
    for value in "450W", "450.9":
        lines = [f"set 0 {limit} {value}", f"get gpu 0 {limit} 1"]
        assert session(lines) == ["Set done.\n", f"Device[gpu0]({limit}) 450\n"], value
    assert session(["get korswitch 0 gpu.pcie.maxWidth"]) == [
        "Device[korswitch0](gpu.pcie.maxWidth) 16\n"
    ]
    profile = tmp_path / "profile.json"
    profile.write_text('{"journal": "calls.jsonl"}')
    for line in "get gpu zz x", "set 0 gpu.x 99999999999":
        done = answers("-p", str(profile), "shell", lines=[line, "list gpu"], cwd=tmp_path)
        assert (done.returncode, done.stderr) == (0, "[E]stoi\n"), line
        assert done.stdout.startswith("> A Tool for OOB"), line
        assert "GPUManagerStop" not in (tmp_path / "calls.jsonl").read_text(), line


def test_list_does_not_wait(tmp_path):
    page = re.sub(r"\s+", " ", rendered("boardctl(1)"))
    assert "other than list, waits six seconds" in page
    profile = tmp_path / "profile.json"
    profile.write_text('{"journal": "calls.jsonl"}')
    waited = {}
    for words in ["list", "gpu"], ["get", "gpu", "0", "gpu.pcie.maxWidth", "1"]:
        environment = {"LD_PRELOAD": os.environ["BOARDCTL_SKIP_WAIT"], "PATH": os.environ["PATH"]}
        answers("-p", str(profile), *words, cwd=tmp_path, env=environment)
        calls = [json.loads(line) for line in (tmp_path / "calls.jsonl").open()]
        times = {call["call"]: call["at"] for call in calls if "call" in call}
        waited[words[0]] = (times["GPUManagerStop"] - times["GPUManagerRun"]) / 1e6
    assert waited["list"] < 6 <= waited["get"]


def test_the_simulated_boards_codes_are_those_of_the_source():
    source = (ROOT / "sim/base/codes.h").read_text()
    values = {name: int(value) for name, value in re.findall(r"(k\w+) = (\d+),", source)}
    rows = re.findall(r'CodeInfo\{(k\w+),\s*"(\w+)",\s*"([^"]+)"', source)
    assert len(rows) == len(values)
    expected = [(f"{values[key]:#x}", str(values[key]), *row) for key, *row in rows]
    shown = re.findall(r"^ {5}(0x\w+) +(\d+) +(\w+) +(.*)$", rendered("boardctl-sim(7)"), re.M)
    assert shown == expected


@pytest.mark.parametrize("page", PAGES)
def test_every_page_is_a_page_for_man_too(page):
    done = subprocess.run(
        ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(PAGES[page])],
        env={**os.environ, "MANROFFSEQ": "", "LC_ALL": "C.UTF-8"},
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )
    assert (done.returncode, done.stderr) == (0, "")


@pytest.mark.parametrize("columns", [20, 30, 40, 80])
@pytest.mark.parametrize("page", PAGES)
def test_every_page_can_be_read_on_a_narrow_terminal(page, columns):
    environment = {**os.environ, "MANWIDTH": str(columns), "LC_ALL": "C.UTF-8"}
    text = run("man", "-l", str(PAGES[page]), env=environment)
    assert len(text.splitlines()) > 30
