"""Runs the built program over a library that misbehaves, or in surroundings that do."""

import importlib.util
import os
import pathlib
import shutil

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
_spec = importlib.util.spec_from_file_location("built_program", ROOT / "tests/cli/conftest.py")
built_program = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(built_program)

HOSTILE_FOLDER = os.environ["BOARDCTL_HOSTILE_FOLDER"]
SANITIZED = os.environ["BOARDCTL_SANITIZED"] == "1"
BOARD, STARTING, USAGE = built_program.BOARD, built_program.STARTING, built_program.USAGE
MANIFEST = ("-m", "oob_manifest.json")


class Hostile(built_program.Boardctl):
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

    def __call__(self, *words, **options):
        (self.folder / "journal").unlink(missing_ok=True)
        return super().__call__(*words, **options)

    def calls(self):
        """What the program asked of the library in its last run, in order."""
        journal = self.folder / "journal"
        return journal.read_text().split() if journal.exists() else []


@pytest.fixture
def folder(tmp_path):
    for name in ("oob_manifest.json", "oob_properties.json"):
        shutil.copy(ROOT / "examples" / name, tmp_path)
    return tmp_path


@pytest.fixture
def boardctl(folder):
    """Over the simulated board."""
    return built_program.Boardctl(folder)


@pytest.fixture
def hostile(folder):
    return Hostile(folder)
