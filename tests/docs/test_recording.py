"""The recorded session is one that the program still gives."""

import re
import shutil
import subprocess
import sys

from built_program import ROOT, Boardctl
from limits import HANG


def test_a_fresh_recording_is_the_one_in_the_readme(tmp_path):
    recorded = re.search(r"^!\[.*\]\((.*)\)$", (ROOT / "README.md").read_text(), re.MULTILINE)[1]
    shutil.copy(ROOT / "examples/oob_manifest.json", tmp_path)
    Boardctl(None).script(tmp_path / "boardctl")
    fresh = tmp_path / "fresh.svg"
    subprocess.run(
        [sys.executable, ROOT / "scripts/record-session", tmp_path, fresh],
        capture_output=True,
        timeout=HANG,
        check=True,
    )
    assert (
        fresh.read_text() == (ROOT / recorded).read_text()
    ), "write it anew: scripts/record-session"
