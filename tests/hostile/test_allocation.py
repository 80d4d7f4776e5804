"""No memory: one allocation of a run fails, then all from one on, for each one in turn."""

import os
import re

import pytest
from built_program import SANITIZED, SKIP_WAIT, USAGE
from conftest import MANIFEST

pytestmark = pytest.mark.skipif(SANITIZED, reason="a sanitizer has an allocator of its own")

BYTES = [str(n) for n in range(8)]
RUNS = {
    "help": (("-h",), ""),
    "refused": (("bogus",), ""),
    "list": ((*MANIFEST, "list", "gpu"), ""),
    "get": ((*MANIFEST, "-l", "5", "-L", "log", "get", "gpu", "0", "all", "0"), ""),
    "set": ((*MANIFEST, "set", "0", "p0nnnnnn", "1"), ""),
    "clear": ((*MANIFEST, "clear", "0", "p0nnnnnn"), ""),
    "raw": ((*MANIFEST, "raw", "gpu", "0", "1", "2", "3", *BYTES), ""),
    "rawSyncCmd": ((*MANIFEST, "rawSyncCmd", "gpu", "0", "1", "2", "3", *BYTES), ""),
    "rawAsyncCmd": (
        (*MANIFEST, "rawAsyncCmd", "gpu", "0", "4", "1", "2", "3", *BYTES, "8", "9", "10"), ""),
    "set_callback": ((*MANIFEST, "set_callback", "0", "GPUGetVendorIdV2"), ""),
    "shell": ((*MANIFEST, "shell"), "get gpu 0 x\nset 0 p0nnnnnn 1\nsnapshot refresh_status\nquit\n"),
}  # fmt: skip


@pytest.mark.parametrize("name", RUNS)
def test_each_allocation_of_a_run_may_fail(hostile, name):
    words, stdin = RUNS[name]
    report = hostile.folder / "report"
    shim = os.environ["BOARDCTL_FAIL_ALLOCATION"]
    preload = f"{SKIP_WAIT}:{shim}"
    hostile.orders = "names=3;words=3;journal="
    hostile.extra = {"LD_PRELOAD": preload, "FAIL_REPORT": str(report)}
    normal = hostile(*words, stdin=stdin)
    assert (normal.stderr != "") == (name == "refused")
    before_main, total = map(int, report.read_text().split())
    assert 0 < before_main < total
    body = normal.stdout.removesuffix(USAGE)

    for fail_all in ({}, {"FAIL_ALL": "1"}):
        for number in range(before_main + 1, total + 1):
            hostile.extra = {"LD_PRELOAD": preload, "FAIL_AT": str(number), **fail_all}
            run = hostile(*words, stdin=stdin)
            where = f"allocation {number} of {total}, {fail_all}: {run}"
            if run == normal:
                continue
            # Reported in one line, or met inside the library or C library, which answered with a
            # code or a failed open.
            assert run.status in (normal.status, 0), where
            assert run.stdout == normal.stdout or run.stderr, where
            assert re.fullmatch(r"(\[E\][^\n]+\n)?", run.stderr), where
            printed = run.stdout.removesuffix(USAGE)
            assert body.startswith(printed) or printed in (USAGE, ""), where
