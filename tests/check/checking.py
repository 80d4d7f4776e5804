"""What the tests of devmgr-check share: its runs, and the rows that it prints."""

import functools
import os
import pathlib
import re
import subprocess

from built_program import Boardctl
from limits import HANG

CHECK = os.environ["BOARDCTL_CHECK"]
BROKEN = pathlib.Path(os.environ["BOARDCTL_BROKEN_LIBRARIES"])
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


def refusal(run, reason):
    assert outcome(run) == ("", f"devmgr-check: {reason}\n", 2)
