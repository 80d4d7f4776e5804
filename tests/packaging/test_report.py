"""boardctl-report as an operator runs it: under BusyBox too, on a board that hangs, and without the
device library."""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import tarfile
import time

import pytest
from built_program import SIM_LIBRARY
from conftest import BOARDCTL, BUILD, ROOT, run
from limits import HANG
from posix_shells import SHELLS, search_path

SCRIPT = ROOT / "packaging/boardctl-report"
MANIFEST = ROOT / "examples/oob_manifest.json"
QUICK = ("-w", "0", "-s", "1500")  # no wait, and time enough on a busy machine
CONTENTS = {"README", "answers", "errors", "files", "loaded", "questions", "system"}


@pytest.fixture(params=SHELLS)
def report(request, tmp_path):
    """Runs the script in a folder of its own."""

    def start(*words, program=BOARDCTL):
        return subprocess.run(
            [*SHELLS[request.param], SCRIPT, *words],
            cwd=tmp_path,
            env={"PATH": search_path(request.param), "BOARDCTL": str(program)},
            capture_output=True,
            text=True,
            timeout=HANG,
            check=False,
        )

    return start


def read(folder):
    """The texts of the one archive in the folder, by name."""
    (archive,) = folder.glob("*.tar.gz")
    with tarfile.open(archive) as files:
        members = {member.name.partition("/")[2]: member for member in files}
        return {
            name: files.extractfile(member).read().decode()
            for name, member in members.items()
            if member.isfile()
        }


def kinds():
    header = (ROOT / "devmgr/device_type.h").read_text()
    return re.findall(r'\{"(\w+)", DeviceType::', header)


def test_everything_is_asked_and_packed(report, tmp_path):
    profile = ROOT / "examples/repeatable_profile.json"
    done = report("-m", MANIFEST, "-p", profile, *QUICK, "-n", "10", "-o", "it.tar.gz")
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith("it.tar.gz contains 2323 property values")
    assert "It contains serial numbers." in done.stdout
    assert os.listdir(tmp_path) == ["it.tar.gz"]
    assert (tmp_path / "it.tar.gz").stat().st_mode & 0o777 == 0o600
    texts = read(tmp_path)
    assert {name.partition("/")[0] for name in texts} == CONTENTS | {"log.1"}
    assert done.stdout == "it.tar.gz contains " + texts["README"]
    assert texts["files/manifest.json"] == MANIFEST.read_text()
    assert texts["files/profile.json"] == profile.read_text()
    assert texts["errors"] == ""
    asked = re.findall(r"^get (\w+) (\d+) all$", texts["questions"], re.M)
    assert len(kinds()) == 24
    assert sorted(asked) == sorted((kind, str(number)) for kind in kinds() for number in range(10))
    answers = texts["answers"]
    for kind, count in json.loads(MANIFEST.read_text())["devices"].items():
        for number in range(10):
            lines = re.findall(rf"^Device\[{kind}{number}\]\((.*)", answers, re.M)
            if number < count:
                assert len(lines) > 1 and "rc = 0x5" not in "".join(lines), (kind, number)
            else:
                assert re.fullmatch(r"\d+ properties\) Get Failed, rc = 0x5", *lines), kind
    assert answers.count("Snapshot Refresh Status: 0\n") == 2
    assert "> " not in answers
    assert "][getGpuData]: Entry()." in texts["log.1"]
    assert texts["system"].startswith("A Tool for OOB Device Information")
    assert os.uname().release in texts["system"]
    for file in pathlib.Path(BOARDCTL), SIM_LIBRARY.resolve():
        checksum = hashlib.sha256(file.read_bytes()).hexdigest()
        assert f"{checksum}  {file}\n" in texts["loaded"]


def test_a_board_that_hangs(report, tmp_path):
    profile = ROOT / "examples/broken/hangs_profile.json"
    # A busy machine needs longer to get to the device that hangs.
    for limit in 12, 60, 600:
        begin = time.monotonic()
        done = report("-m", MANIFEST, "-p", profile, "-w", "0", "-n", "8", "-s", str(limit))
        # The archive is written when the time is over.
        assert limit / 2 <= time.monotonic() - begin < limit + HANG / 10
        assert done.returncode == 1
        texts = read(tmp_path)
        if re.findall("no answer: (.*)", texts["errors"]) == ["get gpu 7 all"]:
            break
        next(tmp_path.glob("*.tar.gz")).unlink()
    assert "the report is incomplete" in done.stderr and "get gpu 7 all" in done.stderr
    for device in "gpu0", "gpu6", "korswitch0", "cpu1":
        assert f"Device[{device}](" in texts["answers"], device
    assert "Device[gpu7](" not in texts["answers"]


def test_the_time_is_kept_when_the_manager_never_starts(report, tmp_path):
    rules = [{"operation": "init", "delayMs": 3_600_000}]
    (tmp_path / "hangs.json").write_text(json.dumps({"faults": rules}))
    done = report("-m", MANIFEST, "-p", "hangs.json", "-s", "4", "-w", "0")
    assert done.returncode == 1
    errors = read(tmp_path)["errors"]
    assert errors == "boardctl: killed at the time limit\n387 queries were not sent\n"


def test_without_the_device_library(report, tmp_path):
    tool = tmp_path / "tool"
    run("cmake", "--install", str(BUILD), "--prefix", str(tool), "--component", "tool")
    done = report("-m", MANIFEST, *QUICK, program=tool / "bin/boardctl")
    assert done.returncode == 1
    texts = read(tmp_path)
    assert "libdevmgr.so.0: cannot open shared object file" in texts["errors"]
    assert "exited with status 127" in texts["errors"]
    assert f"{tool}/bin/boardctl\n" in texts["system"]
    assert texts["files/manifest.json"] == MANIFEST.read_text()


def test_a_manager_that_refuses_to_start(report, tmp_path):
    (tmp_path / "bad.json").write_text("[]")
    done = report("-m", "bad.json", *QUICK)
    assert done.returncode == 1
    texts = read(tmp_path)
    assert texts["answers"] == "GPU Manager Init failed!!\n"
    assert "exited with status 14" in texts["errors"]


@pytest.mark.parametrize(
    ("words", "message"),
    [
        ([], "option -m is required; -h lists the options"),
        (["-m"], "option -m requires an argument; -h lists the options"),
        (["-x"], "unknown option -x; -h lists the options"),
        (["-m", "x", "y"], "unexpected argument: y; -h lists the options"),
        (["-m", "x", "-s", "1m"], "-s: not a number from 0 to 99999 without leading zeros: 1m"),
        (["-m", "x", "-w", "08"], "-w: not a number from 0 to 99999 without leading zeros: 08"),
        (["-m", "x", "-o", "."], ". already exists"),
    ],
)
def test_what_is_refused(report, tmp_path, words, message):
    done = report(*words)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == f"boardctl-report: {message}\n"
    assert os.listdir(tmp_path) == []


def test_an_archive_that_cannot_be_written(report, tmp_path):
    done = report("-m", MANIFEST, *QUICK, "-n", "1", "-o", "missing/it.tar.gz")
    assert done.returncode == 2
    assert done.stderr.endswith("boardctl-report: cannot write missing/it.tar.gz\n")
    assert os.listdir(tmp_path) == []


@pytest.mark.parametrize("word", ["-h", "--help"])
def test_help(report, word):
    done = report(word)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.startswith("usage: boardctl-report -m FILE")
    page = (ROOT / "docs/man/boardctl-report.1").read_text()
    options = set(re.findall(r"(?<=[ \[])-(\w)", done.stdout)) | {"h"}
    assert options == set(re.findall(r"Fl (\w)", page))
