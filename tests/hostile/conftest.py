"""Runs the built program over a library that misbehaves, or in surroundings that do."""

import os

import pytest
from built_program import Boardctl, put_board

HOSTILE_FOLDER = os.environ["BOARDCTL_HOSTILE_FOLDER"]
MANIFEST = ("-m", "oob_manifest.json")


class Hostile(Boardctl):
    """The program over the hostile library, which reads its orders from `orders`."""

    def __init__(self, folder):
        super().__init__(folder)
        self.orders = ""
        self.extra = {}

    def environment(self):
        return {
            **super().environment(),
            "LD_LIBRARY_PATH": HOSTILE_FOLDER,
            "HOSTILE": f"journal={self.folder / 'journal'};{self.orders}",
            **self.extra,
        }

    def run(self, *words, **options):
        for name in ("journal", "asked"):
            (self.folder / name).unlink(missing_ok=True)
        return super().run(*words, **options)

    def calls(self):
        """What the program asked of the library in its last run, in order."""
        journal = self.folder / "journal"
        return journal.read_text().split() if journal.exists() else []

    def asked(self):
        """The property names of the requests of its last run, with the order `asked=asked`."""
        file = self.folder / "asked"
        return file.read_bytes().decode("latin-1").split("\0")[:-1] if file.exists() else []


@pytest.fixture
def folder(tmp_path):
    put_board(tmp_path)
    return tmp_path


@pytest.fixture
def boardctl(folder):
    """Over the simulated board."""
    return Boardctl(folder)


@pytest.fixture
def hostile(folder):
    return Hostile(folder)
