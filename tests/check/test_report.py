"""Which files devmgr-check refuses, and where its report goes."""

import os
import pathlib
import re
import shutil
import struct
import subprocess

import pytest
from built_program import ROOT, readelf
from checking import (
    CHECK,
    LIVE,
    LIVE_ROWS,
    SOUND,
    broken,
    check,
    command,
    environment,
    failures,
    outcome,
    refusal,
    row,
    rows,
)
from limits import HANG


@pytest.fixture
def special(tmp_path):
    os.mkfifo(tmp_path / "fifo")
    (tmp_path / "empty").touch()
    return tmp_path


@pytest.mark.parametrize(
    ("name", "reason"),
    [
        (".", "not a regular file"),
        ("/dev/zero", "not a regular file"),
        ("empty", "the file is empty"),
        ("fifo", "not a regular file"),
        ("missing", "No such file or directory"),
        (ROOT / "README.md", "not a shared library"),
        (CHECK, "a program, not a shared library"),
    ],
)
def test_what_is_no_library_leaves_the_question_open(special, name, reason):
    refusal(check(name, cwd=special), f"{name}: {reason}")


def test_an_empty_name_is_refused():
    refusal(check(""), "the name of the library is empty")


def test_a_name_without_a_slash_is_a_file_in_this_folder(tmp_path):
    path = (("LD_LIBRARY_PATH", SOUND.parent),)
    refusal(
        check("libdevmgr.so.0", cwd=tmp_path, more=path),
        "libdevmgr.so.0: No such file or directory",
    )
    shutil.copy(broken("ENTRY_POINT_MISSING"), tmp_path)
    run = check("libdevmgr.so.0", cwd=tmp_path, more=path)
    assert failures(run) == ["TesselCmd                         missing"]


def test_a_name_that_the_loader_changes_never_passes(tmp_path):
    other = tmp_path / str(pathlib.Path(CHECK).resolve().parent).lstrip("/") / "libdevmgr.so.0"
    for file in tmp_path / "$ORIGIN/libdevmgr.so.0", other:
        file.parent.mkdir(parents=True)
        shutil.copy(SOUND, file)
    run = check("./$ORIGIN/libdevmgr.so.0", cwd=tmp_path)
    taken = (
        f"the dynamic loader took another file: ./{pathlib.Path('/') / other.relative_to(tmp_path)}"
    )
    assert outcome(run) == (rows() + row("?", "loading", taken), "", 2)


def part_ends():
    """Where the parts of the sound library end, with their names in the messages."""
    header = readelf("-h", SOUND)
    program, sections = (
        int(re.search(rf"Start of {part} headers: +(\d+)", header)[1])
        for part in ("program", "section")
    )
    sizes = [int(size) for size in re.findall(r"Size of .* headers?: +(\d+)", header)]
    counts = [int(count) for count in re.findall(r"Number of .* headers: +(\d+)", header)]
    return {
        "headers": sizes[0],
        "program headers": program + sizes[1] * counts[0],
        "section headers": sections + sizes[2] * counts[1],
    }


@pytest.mark.parametrize("part", ["headers", "program headers", "section headers"])
def test_a_truncated_file_is_named_as_such(tmp_path, part):
    end = part_ends()[part]
    assert part != "section headers" or end == SOUND.stat().st_size
    copy = tmp_path / "libdevmgr.so.0"
    copy.write_bytes(SOUND.read_bytes()[: end - 1])
    reason = f"truncated: it has {end - 1} bytes, and its {part} end at byte {end}"
    refusal(check(copy), f"{copy}: {reason}")


def without_section_headers(content):
    """As the loader does not need them."""
    wide = content[4] == 2
    header = bytearray(content)
    struct.pack_into("<Q" if wide else "<I", header, 0x28 if wide else 0x20, 0)
    struct.pack_into("<H", header, 0x3C if wide else 0x30, 0)
    return bytes(header)


def test_a_file_that_is_truncated_anywhere_never_passes(tmp_path):
    content = without_section_headers(SOUND.read_bytes())
    segments = re.findall(r"^ +LOAD +(\w+) \w+ \w+ (\w+)", readelf("-l", SOUND), re.M)
    end = max(int(offset, 16) + int(size, 16) for offset, size in segments)
    copy = tmp_path / "libdevmgr.so.0"
    copy.write_bytes(content[:end])
    assert outcome(check(copy)) == (rows(), "", 0)
    for size in [*range(4, end, end // 10), end - 1]:
        copy.write_bytes(content[:size])
        run = check(copy)
        assert (run.stdout, run.returncode) == ("", 2), size
        assert re.fullmatch(
            rf"devmgr-check: {copy}: truncated: it has {size} bytes, and its "
            r"(headers|program headers|segments) end at byte \d+\n",
            run.stderr,
        ), size


@pytest.mark.parametrize(
    ("offset", "value", "reason"),
    [
        (4, 3, "made for another machine"),
        (5, 2, "made for another machine"),
        (18, 99, "made for another machine"),
        (16, 1, "not a shared library"),
    ],
    ids=["width", "byte order", "machine", "kind"],
)
def test_a_file_for_something_else_is_named_as_such(tmp_path, offset, value, reason):
    content = bytearray(SOUND.read_bytes())
    content[offset] = value
    copy = tmp_path / "libdevmgr.so.0"
    copy.write_bytes(content)
    refusal(check(copy), f"{copy}: {reason}")


def test_a_library_that_needs_a_missing_one_leaves_the_question_open(tmp_path):
    copy = tmp_path / "libdevmgr.so.0"
    content = broken("SHIM").read_bytes()
    copy.write_bytes(content.replace(b"libdevmgr.so.1\0", b"libdevmgr.so.9\0"))
    run = check(copy)
    assert (run.stderr, run.returncode) == ("", 2)
    assert run.stdout.splitlines()[1:] == [
        "?     loading                           libdevmgr.so.9: cannot open shared object file: "
        "No such file or directory"
    ]


@pytest.mark.parametrize("words", [(SOUND,), (SOUND, *LIVE), ("--help",)], ids=len)
def test_a_report_that_cannot_be_written_is_no_success(words):
    with open("/dev/full", "w", encoding="utf-8") as full:
        run = check(*words, stdout=full)
    reason = "devmgr-check: standard output: No space left on device\n"
    assert (run.stderr, run.returncode) == (reason, 2)


def test_a_report_that_nobody_reads_is_no_success():
    reader, writer = os.pipe()
    os.close(reader)
    run = check(SOUND, stdout=writer)
    os.close(writer)
    assert (run.stderr, run.returncode) == ("devmgr-check: standard output: Broken pipe\n", 2)


def test_a_report_without_a_file_is_no_success():
    run = subprocess.run(
        ["bash", "-c", '"$@" >&-', "bash", *command(SOUND, *LIVE)],
        env=environment(),
        stderr=subprocess.PIPE,
        text=True,
        timeout=HANG,
        check=False,
    )
    reason = "devmgr-check: standard output: Bad file descriptor\n"
    assert (run.stderr, run.returncode) == (reason, 2)


@pytest.mark.parametrize(
    ("closed", "printed", "status"),
    [("<&- >&- 2>&-", "", 2), ("<&- 2>&-", "rows", 0), ("2>&-", "rows", 0)],
)
def test_standard_files_that_are_closed_are_not_mistaken_for_others(closed, printed, status):
    run = subprocess.run(
        ["bash", "-c", f'"$@" {closed}', "bash", *command(SOUND, *LIVE)],
        env=environment(),
        stdout=subprocess.PIPE,
        text=True,
        timeout=HANG,
        check=False,
    )
    assert (run.stdout, run.returncode) == (rows() + LIVE_ROWS if printed else "", status)


@pytest.mark.parametrize(
    "words", [(), ("a", "b"), ("a", "--live"), ("a", "--live", "1", "2", "3", "4")]
)
def test_a_wrong_call_shows_the_usage(words):
    run = check(*words)
    assert (run.stdout, run.returncode) == ("", 2)
    assert run.stderr.startswith("usage: devmgr-check LIBRARY [--live MANIFEST")


def test_help_is_no_error():
    run = check("--help")
    assert (run.stderr, run.returncode) == ("", 0)
