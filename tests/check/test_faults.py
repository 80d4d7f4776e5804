"""Which faults of a device library devmgr-check finds."""

import re
import struct

import pytest
from built_program import ROOT, SIM_LIBRARY, readelf
from checking import LIVE, LIVE_ROWS, SOUND, broken, check, failures, outcome, row, rows
from test_linkage import declared_names


EXAMPLES = ROOT / "examples"


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


def every_text(fault):
    """In the rows of all that the library writes."""
    return [
        f"DeviceGetAllSupportedProperties   {fault}",
        f"device type 0                     the text form {fault}",
        f"gpu.a                             {fault}",
        f"gpu.b                             {fault}",
    ]


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
