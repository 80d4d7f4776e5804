"""How the tree is put together, and how it is linked with a library that is not ours."""

import json
import os
import pathlib
import re
import subprocess

import pytest
from built_program import EMULATOR, ROOT, SANITIZED, SIM_LIBRARY
from limits import HANG

INCLUDES = {
    "devmgr": {"devmgr"},
    "catalogue": {"catalogue"},
    "cli": {"cli"},
    "journal": {"journal", "devmgr", "catalogue"},
    "logging": {"devmgr", "logging"},
    "sim/base": {"sim/base", "devmgr"},
    "sim/board": {"sim/base", "sim/board", "devmgr", "catalogue"},
    "sim/config": {"sim/base", "sim/board", "sim/config", "devmgr", "catalogue"},
    "sim/library": {
        "sim/base",
        "sim/board",
        "sim/config",
        "sim/library",
        "journal",
        "devmgr",
        "catalogue",
    },
    "record": {"record", "journal", "devmgr", "catalogue"},
    "tools/boardctl": {"tools/boardctl", "cli", "logging", "catalogue", "devmgr"},
    "tools/devmgr-check": {"tools/devmgr-check", "devmgr", "tools"},
    "tools/boardctl-export": {"tools/boardctl-export", "journal", "devmgr", "tools"},
    "tools/boardctl-journal": {
        "tools",
        "tools/boardctl-journal",
        "journal",
        "sim/base",
        "devmgr",
        "catalogue",
    },
}


BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])
once = pytest.mark.skipif(SANITIZED or bool(EMULATOR), reason="once is enough, in the preset dev")


def ours(pattern):
    """The files of that name in the tree, without what was built."""
    folders = (
        path for path in ROOT.iterdir() if path.is_dir() and path.name not in {"build", "out"}
    )
    files = [path for folder in folders for path in folder.rglob(pattern)]
    assert files
    return files


@pytest.mark.parametrize("folder", INCLUDES)
def test_a_folder_includes_only_what_lies_below_it(folder):
    files = [path for path in (ROOT / folder).rglob("*") if path.suffix in {".h", ".cpp"}]
    assert files
    for path in files:
        for include in re.findall(r'^#include "(.*)/[^/"]+"', path.read_text(), re.MULTILINE):
            assert include in INCLUDES[folder], f"{path}: {include}"


def test_the_model_of_the_simulated_board_knows_no_json():
    seen, waiting = set(), sorted((ROOT / "sim/board").glob("*.h"))
    assert waiting
    while waiting:
        header = waiting.pop()
        seen.add(header)
        for quoted, system in re.findall(
            r'^#include (?:"(.*)"|<(.*)>)', header.read_text(), re.MULTILINE
        ):
            assert "json" not in quoted + system, f"{header}: {quoted}{system}"
            if quoted and ROOT / quoted not in seen:
                waiting.append(ROOT / quoted)
    assert ROOT / "sim/base/kinds.h" in seen, "headers are followed"


@once
def test_no_source_file_is_left_out_of_the_build():
    database = json.loads((BUILD / "compile_commands.json").read_text())
    compiled = {pathlib.Path(entry["directory"], entry["file"]).resolve() for entry in database}
    for joined in [file for file in compiled if file.match("Unity/unity_*.cxx")]:
        compiled |= {
            pathlib.Path(name) for name in re.findall(r'#include "(.*)"', joined.read_text())
        }
    left_out = set(ours("*.cpp")) - compiled
    assert not left_out


@once
def test_no_test_file_is_left_out_of_the_tests():
    listed = subprocess.run(
        ["ctest", "--show-only=json-v1"], cwd=BUILD, capture_output=True, check=True
    ).stdout
    run = {word for test in json.loads(listed)["tests"] for word in test["command"]}
    left_out = {path for path in ours("test_*.py") if str(path) not in run}
    assert not left_out


# As clang-format lays them out: a loop ends with the first brace at its own indentation.
LOOP = re.compile(r"^(?=(( +)(?:for|while) \(.*?(?:\{\n.*?^\2\}|;$)))", re.MULTILINE | re.DOTALL)
ASSERTION = re.compile(r"\b(?:EXPECT|ASSERT)_\w+\(.*?;$", re.MULTILINE | re.DOTALL)


@pytest.mark.parametrize("file", (ROOT / "tests").rglob("*_test.cpp"), ids=lambda file: file.stem)
def test_an_assertion_in_a_loop_says_in_which_round_it_failed(file):
    for loop, _ in LOOP.findall(file.read_text()):
        silent = [text for text in ASSERTION.findall(loop) if "<<" not in text]
        assert "SCOPED_TRACE" in loop or not silent, loop


@once
@pytest.mark.parametrize("by", ["file", "folder"])
def test_links_with_a_library_from_elsewhere_and_builds_nothing_of_the_simulated_board(
    tmp_path, by
):
    library = tmp_path / "vendor/libdevmgr.so.0"
    library.parent.mkdir()
    library.write_bytes(SIM_LIBRARY.read_bytes())
    build = tmp_path / "build"
    configure = ["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DBOARDCTL_TESTS=OFF"]
    named = library if by == "file" else library.parent
    run = {"check": True, "capture_output": True, "text": True, "timeout": HANG}
    subprocess.run([*configure, f"-DBOARDCTL_DEVMGR_LIBRARY={named}"], **run)
    plan = subprocess.run(["ninja", "-C", build, "-n", "-v"], **run).stdout
    (link,) = re.findall(r".* -o tools/boardctl/boardctl .*", plan)
    assert str(library) in link and "sim/" not in plan


@once
def test_a_library_that_is_not_there_is_refused_by_name(tmp_path):
    done = subprocess.run(
        ["cmake", "-S", ROOT, "-B", tmp_path, "-G", "Ninja",
         "-DBOARDCTL_DEVMGR_LIBRARY=/no/such/file"],
        capture_output=True, text=True, timeout=HANG, check=False,
    )  # fmt: skip
    assert done.returncode != 0
    assert "BOARDCTL_DEVMGR_LIBRARY: there is no /no/such/file" in done.stderr
