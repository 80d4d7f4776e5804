"""The program that tells whether a device library fits."""

import os
import pathlib
import subprocess

import pytest
from built_program import ROOT, SIM_LIBRARY, Boardctl
from limits import HANG
from test_linkage import declared_names

CHECK = os.environ["BOARDCTL_CHECK"]
BROKEN = pathlib.Path(os.environ["BOARDCTL_BROKEN_LIBRARIES"])
EXAMPLES = ROOT / "examples"


def check(*words):
    program = Boardctl(None)
    command = [CHECK if word.endswith("/boardctl") else word for word in program.command()]
    return subprocess.run(
        [*command, *map(str, words)],
        env=program.environment(),
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )


def broken(fault):
    return next((BROKEN / fault).glob("libdevmgr.so.?"))


def failures(run):
    return [line.split(None, 1)[1] for line in run.stdout.splitlines() if line.startswith("FAIL")]


def test_the_simulated_board_fits():
    live = ("--live", EXAMPLES / "oob_manifest.json", "", EXAMPLES / "oob_properties.json")
    run = check(SIM_LIBRARY, *live)
    assert (failures(run), run.stderr, run.returncode) == ([], "", 0)
    lines = run.stdout.splitlines()
    assert all(line.startswith("ok ") for line in lines)
    assert lines[-1].split() == ["ok", "GPUManagerStop"]
    assert any("values, 0 codes" in line for line in lines), run.stdout


def test_it_looks_at_everything_that_the_interface_declares():
    shown = check(SIM_LIBRARY).stdout
    for name in declared_names():
        if not name.startswith("_Z"):
            assert f" {name}\n" in shown or f" {name} " in shown, name
    # soname, the two functions of C++ linkage, and one line for each other symbol
    assert len(shown.splitlines()) == 1 + len(declared_names())


def test_a_library_without_fault_fits():
    run = check(broken("NONE"), "--live", "m")
    assert (failures(run), run.returncode) == ([], 0)


STATIC_FAULTS = {
    "CXX_LINKAGE": "has C++ linkage where C linkage is due: _Z9TesselCmd",
    "ENTRY_POINT_MISSING": "TesselCmd                         missing",
    "NO_COPY_CONSTRUCTOR": "DataInfo copy constructor         "
    "missing: _ZN9data_info8DataInfoC1ERKS0_",
    "SMALL_LOGGER": "logger                            8 bytes, the tool reads ",
    "VECTOR_FORM_MISSING": "missing: _Z28DeviceGetSupportedPropertiesiRSt6vector",
    "WRONG_SONAME": "it is libdevmgr.so.1",
}
LIVE_FAULTS = {
    "CRASHES": "crashed in GPUManagerInit",
    "NAME_IN_TEXT_ONLY": "gpu.b is in the text form only",
    "NAME_IN_VECTOR_ONLY": "gpu.c is in the vector form only",
    "STATUS_NOT_STORED": "SnapShotRefreshStatus             stores no truth value",
    "TEXT_OVERRUNS": "writes past the end of its buffer",
    "TEXT_WITHOUT_NUL": "writes a text without a NUL",
}


@pytest.mark.parametrize("fault", STATIC_FAULTS)
def test_a_fault_of_the_file_is_found(fault):
    run = check(broken(fault))
    assert run.returncode == 1
    assert len(failures(run)) == 1
    assert STATIC_FAULTS[fault] in failures(run)[0]


@pytest.mark.parametrize("fault", LIVE_FAULTS)
def test_a_fault_of_the_running_library_is_found(fault):
    assert check(broken(fault)).returncode == 0
    run = check(broken(fault), "--live", "m", "p", "t")
    assert run.returncode == 1
    assert any(LIVE_FAULTS[fault] in line for line in failures(run)), run.stdout


def test_a_manager_that_does_not_start_leaves_the_question_open():
    run = check(broken("INIT_FAILS"), "--live", "m")
    assert run.returncode == 2
    assert run.stdout.splitlines()[-1].split(None, 2) == ["?", "GPUManagerInit", "code 14"]


@pytest.mark.parametrize(
    "file", [ROOT / "missing.so", ROOT / "README.md"], ids=lambda file: file.name
)
def test_what_cannot_be_loaded_leaves_the_question_open(file):
    run = check(file)
    assert (run.stdout, run.returncode) == ("", 2)
    assert run.stderr.startswith("devmgr-check: ") and str(file) in run.stderr


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
