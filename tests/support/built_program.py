"""Runs the built program: in a folder of its own, in a clean environment, with a time limit."""

import os
import pathlib
import shlex
import shutil
import subprocess
import typing

from limits import HANG

ROOT = pathlib.Path(__file__).resolve().parents[2]
BOARDCTL = pathlib.Path(os.environ["BOARDCTL"])
SIM_LIBRARY = pathlib.Path(os.environ["BOARDCTL_SIM_LIBRARY"])
SKIP_WAIT = pathlib.Path(os.environ["BOARDCTL_SKIP_WAIT"])
SANITIZED = os.environ["BOARDCTL_SANITIZED"] == "1"
EMULATOR = shlex.split(os.environ.get("BOARDCTL_EMULATOR", ""))

BOARD = ("-m", "oob_manifest.json", "-t", "oob_properties.json")
USAGE = (ROOT / "tests/golden/usage.txt").read_text()
STARTING = "Starting GPU Manager...\n"
# The time stamp of a log line, as a regular expression.
STAMP = r"\[\d\d/\d\d/\d\d \d\d:\d\d:\d\d\.\d{9}\]"


class Run(typing.NamedTuple):
    stdout: str
    stderr: str
    status: int


class Boardctl:
    """The program, in a folder that holds the example files."""

    def __init__(self, folder):
        self.folder = folder

    def command(self, *words):
        if not EMULATOR:
            return [str(BOARDCTL), *words]
        # The preloaded library is one for the emulated program, not for the emulator.
        return [*EMULATOR, "-E", f"LD_PRELOAD={SKIP_WAIT}", str(BOARDCTL), *words]

    def script(self, path):
        """Writes a script of that name that stands for the program."""
        path.write_text("#!/bin/sh\nexec " + " ".join(self.command('"$@"')) + "\n")
        path.chmod(0o755)

    @staticmethod
    def environment():
        environment = {
            "PATH": os.environ["PATH"],
            "LC_ALL": "C",
            "ASAN_OPTIONS": "verify_asan_link_order=0",
        }
        if not EMULATOR:
            environment["LD_PRELOAD"] = str(SKIP_WAIT)
        return environment

    def __call__(self, *words, **options):
        done = self.run(*words, stderr=subprocess.PIPE, **options)
        return Run(done.stdout.decode("latin-1"), done.stderr.decode("latin-1"), done.returncode)

    def merged(self, *words, **options):
        """Both outputs on one stream, in the order in which they were written; status 0."""
        done = self.run(*words, stderr=subprocess.STDOUT, **options)
        assert done.returncode == 0
        return done.stdout.decode("latin-1")

    def run(self, *words, stderr, stdin="", timeout=HANG, **environment):
        return subprocess.run(
            self.command(*words),
            cwd=self.folder,
            env=self.environment() | environment,
            input=stdin.encode("latin-1"),
            stdout=subprocess.PIPE,
            stderr=stderr,
            timeout=timeout,
            check=False,
        )


def readelf(*words):
    return subprocess.run(
        ["readelf", "-W", *words], capture_output=True, text=True, check=True
    ).stdout


def put_board(folder):
    """Copies the example files to where the program will run."""
    for name in ("oob_manifest.json", "oob_properties.json"):
        shutil.copy(ROOT / "examples" / name, folder)
