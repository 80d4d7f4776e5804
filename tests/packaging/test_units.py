"""The units of boardctl-export: accepted by systemd, hardened, and disabled."""

import json
import re
import subprocess

import pytest
from conftest import BUILD, ROOT, run
from limits import HANG

SERVICES = ["boardctl-export.service", "boardctl-export-once.service"]
TIMER = "boardctl-export-once.timer"
# What a library may need to reach the devices: root, and the device files.
NEEDED = {"UserOrDynamicUser", "PrivateDevices", "DeviceAllow", "PrivateUsers",
          "RootDirectoryOrRootImage", "RestrictAddressFamilies_AF_UNIX"}  # fmt: skip


@pytest.fixture
def units(tmp_path):
    """As they are installed, with the program in the place that they name."""
    install = ["cmake", "--install", str(BUILD), "--prefix", str(tmp_path / "usr")]
    run(*install, "--component", "tool")
    folder = tmp_path / "usr/lib/systemd/system"
    for unit in folder.iterdir():
        text = unit.read_text()
        program = re.search(r"^ExecStart=(\S+)", text, re.M)
        if program:
            unit.write_text(text.replace(program[1], str(tmp_path / "usr/bin/boardctl-export")))
    return folder


@pytest.mark.parametrize("name", [*SERVICES, TIMER])
def test_systemd_accepts_them(units, name):
    done = subprocess.run(
        ["systemd-analyze", "verify", "--man=no", "--recursive-errors=no", str(units / name)],
        capture_output=True, text=True, timeout=HANG, check=False,
    )  # fmt: skip
    assert (done.returncode, done.stderr) == (0, "")


@pytest.mark.parametrize("name", SERVICES)
def test_nothing_is_open_but_what_a_library_needs(units, name):
    report = run(
        *["systemd-analyze", "security", "--offline=true", "--json=short", str(units / name)]
    )
    rows = json.loads(report)
    assert len(rows) > 50
    exposed = {row["json_field"] for row in rows if not row["set"] and row["exposure"]}
    assert exposed == NEEDED


def test_they_are_disabled_and_exclude_each_other():
    for name in SERVICES:
        assert re.search(r"^Conflicts=", (BUILD / "packaging" / name).read_text(), re.M)
    rules = (ROOT / "packaging/debian/rules").read_text()
    assert "dh_installsystemd --no-enable --no-start" in rules
