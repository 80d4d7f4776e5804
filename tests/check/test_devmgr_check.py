"""The program that checks whether a device library is compatible."""

import functools
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import time

import pytest
from built_program import ROOT, SIM_LIBRARY, Boardctl, readelf
from limits import HANG
from test_linkage import declared_names

CHECK = os.environ["BOARDCTL_CHECK"]
BROKEN = pathlib.Path(os.environ["BOARDCTL_BROKEN_LIBRARIES"])
EXAMPLES = ROOT / "examples"
LIVE = ("--live", "m", "p", "t")


def command(*words):
    program = Boardctl(None)
    return [CHECK if word.endswith("/boardctl") else word for word in program.command()] + [
        str(word) for word in words
    ]


def environment(fault="", **more):
    return Boardctl.environment() | {"DEVMGR_FAULT": fault} | more


def check(*words, fault="", more=(), **options):
    streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options
    run = subprocess.run(
        command(*words),
        env=environment(fault, **dict(more)),
        text=True,
        timeout=HANG,
        check=False,
        **streams,
    )
    # The emulator says that a signal has ended the emulated program.
    run.stderr = re.sub(r"qemu: uncaught target signal .*\n", "", run.stderr)
    return run


def outcome(run):
    return run.stdout, run.stderr, run.returncode


def broken(fault):
    return next((BROKEN / fault).glob("libdevmgr.so.?"))


SOUND = broken("NONE")


def failures(run):
    return [line.split(None, 1)[1] for line in run.stdout.splitlines() if line.startswith("FAIL")]


@functools.cache
def sound_rows():
    return check(SOUND).stdout


def rows(*changed):
    """What is printed for the sound library, with these rows in the place of those of that name."""
    new = {line.split()[1]: line for line in changed}
    return "".join(new.get(line.split()[1], line) for line in sound_rows().splitlines(True))


def row(verdict, what, detail):
    return f"{verdict:4}  {what:32}  {detail}\n"


LIVE_ROWS = (
    "ok    GPUManagerInit\n"
    "ok    SnapShotRefreshStatus\n"
    "ok    DeviceGetAllSupportedProperties\n"
    + row("ok", "listings", "2 names, both forms compared")
    + row("ok", "reads", "2 values, 0 result codes, device 0 of each type")
    + "ok    GPUManagerStop\n"
)


def test_the_simulated_board_fits():
    live = ("--live", EXAMPLES / "oob_manifest.json", "", EXAMPLES / "oob_properties.json")
    run = check(SIM_LIBRARY, *live)
    assert (failures(run), run.stderr, run.returncode) == ([], "", 0)
    lines = run.stdout.splitlines()
    assert all(line.startswith("ok ") for line in lines)
    assert lines[-1].split() == ["ok", "GPUManagerStop"]
    assert any("values, 0 result codes" in line for line in lines), run.stdout


def test_it_looks_at_everything_that_the_interface_declares():
    shown = check(SIM_LIBRARY).stdout
    for name in declared_names():
        if not name.startswith("_Z"):
            assert f" {name}\n" in shown or f" {name} " in shown, name
    # soname, the two functions of C++ linkage, and one line for each other symbol
    assert len(shown.splitlines()) == 1 + len(declared_names())


def test_a_library_without_fault_fits():
    assert outcome(check(SOUND, *LIVE)) == (rows() + LIVE_ROWS, "", 0)


def test_a_library_may_leave_its_entry_points_to_another():
    run = check(broken("SHIM"), *LIVE)
    assert outcome(run) == (rows() + LIVE_ROWS, "", 0)


STATIC_FAULTS = {
    "CXX_LINKAGE": "has C++ linkage instead of C linkage: _Z9TesselCmd",
    "ENTRY_POINT_MISSING": "TesselCmd                         missing",
    "NO_COPY_CONSTRUCTOR": "DataInfo copy constructor         "
    "missing: _ZN9data_info8DataInfoC1ERKS0_",
    "OLD_HASH_TABLE": "has C++ linkage instead of C linkage: _Z9TesselCmd",
    "SMALL_LOGGER": "logger                            8 bytes; boardctl uses ",
    "VECTOR_FORM_MISSING": "missing: _Z28DeviceGetSupportedPropertiesiRSt6vector",
    "WRONG_SONAME": "libdevmgr.so.1 instead of libdevmgr.so.0",
}


@pytest.mark.parametrize("fault", STATIC_FAULTS)
def test_a_fault_of_the_file_is_found(fault):
    run = check(broken(fault))
    assert (run.stderr, run.returncode) == ("", 1)
    assert len(failures(run)) == 1
    assert STATIC_FAULTS[fault] in failures(run)[0]


def test_the_libraries_have_the_hash_tables_that_they_are_named_for():
    assert "(GNU_HASH)" in readelf("-d", broken("CXX_LINKAGE"))
    assert "(HASH)" not in readelf("-d", broken("CXX_LINKAGE"))
    assert "(GNU_HASH)" not in readelf("-d", broken("OLD_HASH_TABLE"))
    assert "(HASH)" in readelf("-d", broken("OLD_HASH_TABLE"))


NOTYPE, OBJECT, FUNC, TLS = 0, 1, 2, 6


def with_symbol(folder, name, **changed):
    """A copy of the sound library in which that symbol has another type or size."""
    text = readelf("-S", "--dyn-syms", SOUND)
    number = int(re.search(rf"^ *(\d+): .* {name}$", text, re.M)[1])
    start = int(re.search(r" \.dynsym +DYNSYM +\w+ (\w+)", text)[1], 16)
    content = bytearray(SOUND.read_bytes())
    wide = content[4] == 2
    form = "<IBBHQQ" if wide else "<IIIBBH"
    keys = "name info other section value size".split()
    keys = keys if wide else "name value size info other section".split()
    at = start + number * struct.calcsize(form)
    entry = dict(zip(keys, struct.unpack_from(form, content, at)))
    entry["info"] = entry["info"] & 0xF0 | changed.pop("type", entry["info"] & 0xF)
    entry |= changed
    struct.pack_into(form, content, at, *(entry[key] for key in keys))
    copy = folder / "libdevmgr.so.0"
    copy.write_bytes(content)
    return copy


@pytest.mark.parametrize(
    ("name", "changed", "expected", "status"),
    [
        ("TesselCmd", {"type": OBJECT}, ("FAIL", "is data, not a function"), 1),
        ("TesselCmd", {"type": NOTYPE}, ("?", "its symbol has no type"), 2),
        ("logger", {"type": FUNC}, ("FAIL", "is a function, not data"), 1),
        ("logger", {"type": NOTYPE}, ("?", "its symbol has no type"), 2),
        ("logger", {"size": 0}, ("?", "its symbol has no size"), 2),
    ],
)
def test_a_symbol_of_another_type_is_found(tmp_path, name, changed, expected, status):
    run = check(with_symbol(tmp_path, name, **changed))
    verdict, detail = expected
    assert outcome(run) == (rows(row(verdict, name, detail)), "", status)


def test_thread_local_data_under_the_name_of_data_is_found(tmp_path):
    run = check(with_symbol(tmp_path, "logger", type=TLS))
    assert run.stdout.startswith(rows(row("FAIL", "logger", "is thread-local data, not data")))
    assert run.returncode == 1


def test_data_is_not_called(tmp_path):
    run = check(with_symbol(tmp_path, "GPUManagerRun", type=OBJECT), *LIVE)
    expected = rows(row("FAIL", "GPUManagerRun", "is data, not a function"))
    skipped = row("?", "live checks", "skipped: an entry point is missing")
    assert outcome(run) == (expected + skipped, "", 1)


def test_a_symbol_that_the_loader_does_not_find_does_not_count(tmp_path):
    # Without an address, it is no definition.
    run = check(with_symbol(tmp_path, "TesselCmd", value=0))
    lost = row("FAIL", "TesselCmd", "the dynamic loader does not find it")
    assert outcome(run) == (rows() + lost, "", 1)


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


def every_text(fault):
    """In the rows of all that the library writes."""
    return [
        f"DeviceGetAllSupportedProperties   {fault}",
        f"device type 0                     the text form {fault}",
        f"gpu.a                             {fault}",
        f"gpu.b                             {fault}",
    ]


def test_a_process_that_the_library_has_started_ends_as_well():
    run = check(SOUND, fault="constructor start a process")
    assert (run.stdout, run.returncode) == (rows(), 0)
    while not ended(int(run.stderr)):
        time.sleep(0.01)


LIVE_FAULTS = {
    "names fewer": ["device type 0                     gpu.b is in the text form only"],
    "names more": ["device type 0                     gpu.c\\x0A is in the vector form only"],
    "SnapShotRefreshStatus stores nothing": [
        "SnapShotRefreshStatus             stores neither true nor false"
    ],
    "text overruns": every_text("writes past the end of its buffer"),
    "text without NUL": every_text("writes a string without a NUL at its end"),
}


@pytest.mark.parametrize("fault", LIVE_FAULTS)
def test_a_fault_of_the_running_library_is_found(fault):
    assert check(SOUND, fault=fault).returncode == 0
    run = check(SOUND, *LIVE, fault=fault)
    assert (run.stderr, run.returncode) == ("", 1)
    assert failures(run) == LIVE_FAULTS[fault]


def test_a_manager_that_does_not_start_leaves_the_question_open():
    run = check(SOUND, *LIVE, fault="GPUManagerInit fails")
    assert outcome(run) == (rows() + row("?", "GPUManagerInit", "returned 14"), "", 2)


def refusal(run, reason):
    assert outcome(run) == ("", f"devmgr-check: {reason}\n", 2)


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
