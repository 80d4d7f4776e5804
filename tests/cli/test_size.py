"""The stripped programs, and the memory of boardctl, stay within a budget, kept in
tests/data/size_budget.json.

Memory is limited over a library that holds nothing, and natively: an emulator's own memory would
hide the program's. What is limited is memory for data, since how much of the system's libraries is
mapped depends on what the page cache holds.
"""

import json
import os
import pathlib
import platform
import resource
import subprocess

import pytest
from built_program import BOARDCTL, EMULATOR, ROOT

BUDGET = json.loads((ROOT / "tests/data/size_budget.json").read_text())
BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])
EMPTY_LIBRARY = os.environ["BOARDCTL_EMPTY_LIBRARY"]
ALLOWED = 1.05


def within(name, measured, budget, most=None):
    print(f"{name}: {measured}, budget {budget}")
    assert measured <= (most or budget * ALLOWED)


@pytest.mark.skipif(not EMULATOR, reason="the budget is for the controller's build")
@pytest.mark.parametrize("pattern", BUDGET["armhf"])
def test_what_ships_is_small(tmp_path, pattern):
    (built,) = BUILD.glob(pattern)
    stripped = tmp_path / "stripped"
    subprocess.run(["arm-linux-gnueabihf-strip", "-o", stripped, built], check=True)
    sizes = subprocess.run(["size", stripped], capture_output=True, text=True, check=True).stdout
    budget = BUDGET["armhf"][pattern]
    text = int(sizes.splitlines()[1].split()[0])
    within("text", text, budget["text"], budget.get("most text"))
    within("file", stripped.stat().st_size, budget["file"])


def run_with(kib, *words):
    """A run with as much memory of its own as that, in which the heap grows by single pages."""
    limit = (kib << 10, kib << 10)
    return subprocess.run(
        [BOARDCTL, *words],
        cwd=ROOT / "examples",
        env={"LD_LIBRARY_PATH": EMPTY_LIBRARY, "MALLOC_TOP_PAD_": "0"},
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, limit),
        capture_output=True,
        check=False,
    )


@pytest.mark.skipif(
    bool(EMULATOR) or platform.machine() != "x86_64",
    reason="the budget is for the native build",
)
@pytest.mark.parametrize("line", ["-h", "list all"])
def test_a_run_needs_little_memory(line):
    words = [line] if line == "-h" else ["-m", "oob_manifest.json", *line.split()]
    budget = BUDGET["x86_64"][f"dataKiB {line}"]
    expected, found = run_with(8192, *words), run_with(int(budget * ALLOWED), *words)
    assert (found.returncode, found.stdout, found.stderr) == (
        expected.returncode, expected.stdout, expected.stderr
    ), f"{line} needs more than {budget} KiB"  # fmt: skip
    little = run_with(budget // 2, *words)
    assert little.stdout != expected.stdout, "the limit holds"
