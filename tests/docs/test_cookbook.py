"""Runs every command of the cookbook, with what it defines before, and compares what it prints. Each
is run by the shells that its readers have."""

import json
import re
import shutil
import subprocess

import pytest
from built_program import EMULATOR, ROOT, Boardctl
from limits import HANG
from posix_shells import SHELLS, search_path

COOKBOOK = (ROOT / "docs/cookbook.md").read_text()
BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```$", COOKBOOK, re.M | re.S)


def commands():
    """Each command with the definitions before it and what it prints."""
    definitions = ""
    for language, text in BLOCKS:
        if language == "sh":
            definitions += text
            continue
        assert language == "console"
        for part in re.split(r"^\$ ", text, flags=re.M)[1:]:
            typed, printed = re.fullmatch(r"(.*\n(?:> .*\n)*)((?:.*\n)*)", part).groups()
            command = re.sub("^> ", "", typed, flags=re.M)
            yield pytest.param(definitions, command, printed, id=command[:50].strip())


def script(path, boardctl):
    """The program, which alone skips its waits."""
    boardctl.script(path)
    preload = boardctl.environment().get("LD_PRELOAD", "")
    path.write_text(path.read_text().replace("exec", f"LD_PRELOAD={preload} exec"))


class Kitchen:
    """The folder that the cook is in, with the program and its scripts in the path."""

    def __init__(self, root, shell):
        self.shell = SHELLS[shell]
        self.folder = root / "examples"
        shutil.copytree(ROOT / "examples", self.folder, ignore=lambda *_: ["boardctl"])
        (root / "bin").mkdir()
        script(root / "bin/boardctl", Boardctl(None))
        shutil.copy(ROOT / "packaging/boardctl-report", root / "bin")
        self.environment = {
            "PATH": search_path(shell, root / "bin"),
            "HOME": str(root),
            "LC_ALL": "C",
        }

    def start(self, text, **streams):
        return subprocess.Popen(
            [*self.shell, "-c", text],
            cwd=self.folder,
            env=self.environment,
            stderr=subprocess.STDOUT,
            stdout=subprocess.PIPE,
            text=True,
            **streams,
        )

    def cook(self, text, typed=None):
        return self.start(text, stdin=subprocess.PIPE).communicate(typed, timeout=HANG)[0]


# The management controller has BusyBox alone.
@pytest.fixture(scope="module", params=["busybox"] if EMULATOR else SHELLS)
def kitchen(request, tmp_path_factory):
    return Kitchen(tmp_path_factory.mktemp("cook"), request.param)


@pytest.mark.parametrize(("definitions", "command", "expected"), commands())
def test_command(kitchen, definitions, command, expected):
    assert kitchen.cook(definitions + command) == expected


def definitions():
    return "".join(text for language, text in BLOCKS if language == "sh")


def test_each_answer_comes_before_the_next_question(kitchen):
    session = kitchen.start(definitions() + "ask", stdin=subprocess.PIPE)
    for gpu in range(3):
        session.stdin.write(f"get gpu {gpu} gpu.pcie.maxWidth\n")
        session.stdin.flush()
        assert session.stdout.readline() == f"Device[gpu{gpu}](gpu.pcie.maxWidth) 16\n"
    assert session.communicate(timeout=HANG)[0] == ""


@pytest.mark.parametrize("degrees", ["-5.5", "-0.25", "0", "100.75"])
def test_raw_bytes_are_degrees_below_zero_too(kitchen, degrees):
    name = "gpu.thermal.temperature.primaryGPU.extendedPrecision"
    manifest = json.loads((ROOT / "examples/oob_manifest.json").read_text())
    manifest["overrides"] = {"gpu0": {"properties": {name: float(degrees)}}}
    (kitchen.folder / "cold.json").write_text(json.dumps(manifest))
    request = "echo rawSyncCmd gpu 0 0x02 0 0 0 0 0 0 0 0 0 0"
    text = f"{definitions()}\nBOARD='-m cold.json'; {request} | degrees"
    assert kitchen.cook(text) == f"{degrees}\n"


def test_the_kinds_are_those_that_the_report_asks():
    report = (ROOT / "packaging/boardctl-report").read_text()
    recipe, script = (
        re.search('^KINDS="([^"]*)"', text, re.M | re.I)[1].split() for text in (COOKBOOK, report)
    )
    assert recipe == script


def test_every_definition_is_used():
    shown = "".join(command.values[1] for command in commands())
    texts = definitions()
    names = re.findall(r"^(\w+)(?:\(\)|=)", texts, re.M)
    assert len(names) == 12
    for name in names:
        assert name in shown or f"${name}" in texts or texts.count(name) > 1, name
