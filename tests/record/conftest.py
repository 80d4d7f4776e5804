"""The built program with the recorder preloaded, over the hostile library or the simulated board."""

import json
import os

import pytest
import recordings
from built_program import BOARDCTL, EMULATOR, SKIP_WAIT, Boardctl, put_board

HOSTILE_FOLDER = os.environ["BOARDCTL_HOSTILE_FOLDER"]
RECORDER = os.environ["BOARDCTL_RECORDER"]
PROBE = os.environ["BOARDCTL_RECORD_PROBE"]
MANIFEST = ("-m", "oob_manifest.json")
SLOT = 4096


class Recording:
    """The file of a recording."""

    def __init__(self, path):
        self.path = path

    @property
    def lines(self):
        text = self.path.read_bytes()
        assert text.endswith(b"\n"), "the last line is whole"
        return [json.loads(line) for line in text.splitlines() if line.strip()]

    @property
    def head(self):
        return self.lines[0]

    @property
    def slot(self):
        """The call that was under way."""
        line = self.path.read_bytes().splitlines()[1]
        assert len(line) == SLOT - 1
        return json.loads(line) if line.strip() else None

    @property
    def calls(self):
        return [line for line in self.lines if "code" in line and "call" in line]

    @property
    def updates(self):
        return [line for line in self.lines if "update" in line]

    @property
    def end(self):
        return self.lines[-1] if "end" in self.lines[-1] else None


class Recorded(Boardctl):
    """The program; `orders` are for the hostile library, which it runs over unless told not to."""

    def __init__(self, folder):
        super().__init__(folder)
        self.orders = "names=3;words=3"
        self.hostile = True
        self.extra = {}
        self.records = True
        self.program = BOARDCTL
        self.preloads = [str(SKIP_WAIT), RECORDER]
        self.recording = Recording(folder / "recording")

    def preloaded(self):
        return ":".join(self.preloads if self.records else self.preloads[:-1])

    def command(self, *words):
        if not EMULATOR:
            return [str(self.program), *words]
        return [*EMULATOR, "-E", f"LD_PRELOAD={self.preloaded()}", str(self.program), *words]

    def environment(self):
        environment = {**super().environment(), **self.extra}
        if self.hostile:
            environment["LD_LIBRARY_PATH"] = HOSTILE_FOLDER
            environment["HOSTILE"] = f"journal={self.folder / 'journal'};{self.orders}"
        if not EMULATOR:
            environment["LD_PRELOAD"] = self.preloaded()
        if self.records:
            environment["BOARDCTL_RECORD"] = str(self.recording.path)
        return environment

    def prepare(self):
        (self.folder / "journal").unlink(missing_ok=True)
        self.recording.path.write_bytes(b"")

    def run(self, *words, **options):
        self.prepare()
        return super().run(*words, **options)

    def library_calls(self):
        journal = self.folder / "journal"
        return journal.read_text().split() if journal.exists() else []

    def both(self, *words, **options):
        """What is seen of a run without the recorder and with it, and the calls that arrived."""
        seen = []
        for self.records in (False, True):
            seen.append((self(*words, **options), self.library_calls()))
        return seen


@pytest.fixture
def recorded(tmp_path):
    put_board(tmp_path)
    return Recorded(tmp_path)


@pytest.fixture
def probe(recorded):
    recorded.program = PROBE
    return recorded


@pytest.fixture
def recording(tmp_path):
    return recordings.Recording(tmp_path).start()


@pytest.fixture
def boardctl(tmp_path):
    put_board(tmp_path)
    return Boardctl(tmp_path)
