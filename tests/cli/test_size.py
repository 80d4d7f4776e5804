"""The stripped program and its memory stay within a budget, kept in tests/data/size_budget.json.

Memory is measured over a library that holds nothing, and natively: an emulator's own memory would
hide the program's.
"""

import json
import os
import platform
import subprocess

import pytest
from built_program import BOARDCTL, EMULATOR, ROOT

BUDGET = json.loads((ROOT / "tests/data/size_budget.json").read_text())
EMPTY_LIBRARY = os.environ["BOARDCTL_EMPTY_LIBRARY"]
ALLOWED = 1.05


def within(name, measured, budget):
    print(f"{name}: {measured}, budget {budget}")
    assert measured <= budget * ALLOWED


@pytest.mark.skipif(not EMULATOR, reason="the budget is for the controller's build")
def test_the_shipped_program_is_small(tmp_path):
    stripped = tmp_path / "boardctl"
    subprocess.run(["arm-linux-gnueabihf-strip", "-o", stripped, BOARDCTL], check=True)
    sizes = subprocess.run(["size", stripped], capture_output=True, text=True, check=True).stdout
    within("text", int(sizes.splitlines()[1].split()[0]), BUDGET["armhf"]["text"])
    within("file", stripped.stat().st_size, BUDGET["armhf"]["file"])


def peak_kib(folder, *words):
    """The least of a few runs: what the system adds at random is not the program's. Started by a
    small program, whose own memory cannot exceed what is measured."""
    peaks = []
    for _ in range(5):
        done = subprocess.run(
            ["/usr/bin/time", "-q", "-f", "%M", BOARDCTL, *words],
            cwd=folder,
            env={"LD_LIBRARY_PATH": EMPTY_LIBRARY},
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
            check=False,
        )
        peaks.append(int(done.stderr))
    return min(peaks)


@pytest.mark.skipif(
    bool(EMULATOR) or platform.machine() != "x86_64",
    reason="the budget is for the native build",
)
@pytest.mark.parametrize("line", ["-h", "list all"])
def test_a_run_needs_little_memory(line):
    words = [line] if line == "-h" else ["-m", "oob_manifest.json", *line.split()]
    within(line, peak_kib(ROOT / "examples", *words), BUDGET["x86_64"][f"peakKiB {line}"])
