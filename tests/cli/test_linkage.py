"""What the built program takes from the device library, and what an install tree holds."""

import os
import pathlib
import re
import subprocess

import pytest
from built_program import BOARDCTL, ROOT, SANITIZED, SIM_LIBRARY, readelf

BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])


def declared_names():
    """The symbols of everything that the interface declares."""
    names = set()
    for header in (ROOT / "devmgr").glob("*.h"):
        text = re.sub(r"//.*|#define.*", "", header.read_text())
        names.update(re.findall(r"DEVMGR_API\s+[\w ]*?(\w+)\s*[(;]", text))
    names.remove("DataInfo")
    return names | {
        "_ZN9data_info8DataInfoC1ERKS0_",
        "_Z28DeviceGetSupportedPropertiesi"
        "RSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EES8_",
    }


def dynamic_symbols(file, defined):
    """The names that a file offers to others, or those that it asks of libraries without symbol
    versions: of all the tool's libraries only the device library has none."""
    symbols = set()
    for line in readelf("--dyn-syms", file).splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[4] == "GLOBAL" and (fields[6] != "UND") == defined:
            symbols.add(fields[7])
    return {name for name in symbols if "@" not in name}


def test_needs_the_library_by_its_soname():
    assert "NEEDED" in readelf("-d", BOARDCTL)
    assert re.search(r"NEEDED.*\[libdevmgr\.so\.0\]", readelf("-d", BOARDCTL))
    assert re.search(r"SONAME.*\[libdevmgr\.so\.0\]", readelf("-d", SIM_LIBRARY))


def test_the_interface_declares_23_symbols():
    assert len(declared_names()) == 23


@pytest.mark.skipif(SANITIZED, reason="the sanitizers put their own functions in between")
def test_times_reach_beyond_2038():
    taken = re.findall(r"\b(clock_gettime|gmtime_r|nanosleep)@", readelf("--dyn-syms", BOARDCTL))
    plain_names = {"ELF32": 0, "ELF64": 3}
    assert len(taken) == plain_names[re.search(r"ELF\d\d", readelf("-h", BOARDCTL))[0]]


def test_takes_from_the_library_exactly_what_the_interface_declares():
    assert dynamic_symbols(BOARDCTL, defined=False) == declared_names()


def test_the_simulated_board_offers_exactly_what_the_interface_declares():
    # A constructor has a second name for use by derived classes.
    offered = dynamic_symbols(SIM_LIBRARY, defined=True) - {"_ZN9data_info8DataInfoC2ERKS0_"}
    assert offered == declared_names()


def test_data_of_the_library_is_never_copied():
    relocations = readelf("-r", BOARDCTL)
    lines = [line for line in relocations.splitlines() if re.search(r"\blogger\b", line)]
    assert lines
    assert not any("COPY" in line for line in lines)


@pytest.mark.skipif(SANITIZED, reason="sanitizers add exports of their own")
def test_offers_the_library_nothing():
    assert dynamic_symbols(BOARDCTL, defined=True) <= {"_IO_stdin_used"}


def install(folder, component):
    subprocess.run(
        ["cmake", "--install", BUILD, "--prefix", folder, "--component", component],
        capture_output=True,
        check=True,
    )
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def test_the_installed_tool_has_no_run_path(tmp_path):
    files = install(tmp_path, "tool")
    assert "bin/boardctl" in files
    assert not any("libdevmgr" in name for name in files)
    dynamic = readelf("-d", tmp_path / "bin/boardctl")
    assert "RPATH" not in dynamic and "RUNPATH" not in dynamic


def test_the_simulated_board_is_installed_apart_and_out_of_the_loaders_way(tmp_path):
    files = install(tmp_path, "sim")
    assert [name for name in files if "libdevmgr" in name] == [
        name for name in files if name.endswith("boardctl/sim/libdevmgr.so.0")
    ]
    assert sum("libdevmgr" in name for name in files) == 1
    library = tmp_path / next(name for name in files if "libdevmgr" in name)
    dynamic = readelf("-d", library)
    assert "RPATH" not in dynamic and "RUNPATH" not in dynamic
