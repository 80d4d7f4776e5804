"""boardctl-journal: its usage, what it rejects, and what it checks."""

import json
import re
import subprocess

import pytest
from built_program import EMULATOR
from limits import HANG
from recordings import COMMANDS, JOURNAL, Recording, journal


def test_help_and_version(tmp_path):
    help_text = journal(tmp_path, "--help")
    assert help_text.stdout.startswith("usage: boardctl-journal check FILE\n")
    assert (help_text.stderr, help_text.status) == ("", 0)
    assert journal(tmp_path, "-h") == help_text
    for option in "-V", "--version":
        assert journal(tmp_path, option) == ("boardctl-journal 0.1\n", "", 0)


@pytest.mark.parametrize(
    "words",
    [(), ("check",), ("check", "a", "b"), ("redact", "a"), ("board", "a"), ("tidy", "a"), ("-x",)],
)
def test_wrong_usage(tmp_path, words):
    usage = journal(tmp_path, "--help").stdout
    assert journal(tmp_path, *words) == ("", usage, 2)


def test_check_shows_what_a_recording_holds(tmp_path):
    recording = Recording(
        tmp_path, arguments=["boardctl", "-m", "my board.json", ""], tool="a0", library="b1",
        redacted=True,
    ).start()  # fmt: skip
    recording.get(0, "gpu.pcie.maxWidth", "16", took=12)
    recording.get(1, "gpu.pcie.maxWidth", code=21, took=2_500_000)
    recording.get(1, "gpu.pcie.maxWidth", code=6, took=0)
    recording.change("DeviceSetData", 1, "gpu.power.limit.total", value=450, size=4)
    words = list(range(9))
    recording.call("TesselCmd", 19, 5, device=0, opcode=1, arg1=2, arg2=3, input=words, output=[],
                   flag=0)  # fmt: skip
    recording.lines.append({"at": 1, "update": "GPUGetPowerConsumptionV2", "registration": 1,
                            "id": 0, "sequence": 1, "after": 3})  # fmt: skip
    recording.end(status=3).write()
    expected = """\
calls.jsonl: whole: the process exited with status 3
version     2
arguments   boardctl -m 'my board.json' ''
tool        a0
library     b1
clock       monotonic
redacted    yes
calls       7
updates     1

entry point     code  calls
DeviceGetData      0      1
DeviceGetData      6      1
DeviceGetData     21      1
DeviceSetData      0      1
GPUManagerInit     0      1
GPUManagerRun      0      1
TesselCmd         19      1

 seconds  code  line  slowest calls
2.500000    21     5  DeviceGetData device 1 property 'gpu.pcie.maxWidth' mode 0
0.001000     0     2  GPUManagerInit manifest 'm.json' profile '' properties ''
0.001000     0     3  GPUManagerRun
0.001000     0     7  DeviceSetData device 1 property 'gpu.power.limit.total' value 450
0.000012     0     4  DeviceGetData device 0 property 'gpu.pcie.maxWidth' mode 0
0.000005    19     8  TesselCmd device 0 opcode 1 arg1 2 arg2 3 input [0, 1, 2, 3, 4, 5, 6, 7, ...] flag 0
"""
    assert journal(tmp_path, "check", "calls.jsonl") == (expected, "", 0)


def test_check_shows_ten_slow_calls(recording, tmp_path):
    for took in range(1, 30):
        recording.get(0, "gpu.pcie.maxWidth", "16", took=took * 1_000_000)
    recording.end().write()
    printed = journal(tmp_path, "check", "calls.jsonl").stdout
    slowest = re.findall(r"^(\d+)\.000000 ", printed, re.M)
    assert slowest == [str(seconds) for seconds in range(29, 19, -1)]


def first_line(run):
    return run.stdout.partition("\n")[0].removeprefix("calls.jsonl: "), run.status


def test_check_says_how_it_ended(recording, tmp_path):
    def ending():
        return first_line(journal(tmp_path, "check", "calls.jsonl"))

    recording.write()
    assert ending() == ("not whole: the process was killed, or the recording goes on", 1)
    recording.write(tail='{"n":3,"at":1,"ca')
    assert ending() == ("cut: line 4 is not complete", 1)
    for how, words, status in (
        ("exit", "whole: the process exited", 0),
        ("stop", "whole: the manager was stopped", 0),
        ("limit", "not whole: it reached its size limit", 1),
        ("error", "not whole: the recorder failed", 1),
        ("\x1b", "not whole: it ended with '\\x1B'", 1),
    ):
        recording.end(how).write()
        assert ending() == (words, status)
        del recording.lines[-1]
        # The call at which a recording ends early is counted, but not written.
        if how in ("limit", "error"):
            recording.lines.append({"end": how, "calls": recording.calls + 1})
            recording.write()
            assert ending() == (words, status)
            del recording.lines[-1]
    recording.calls += 1
    recording.end().write()
    assert ending() == ("not whole: 3 calls were made, and 2 are here", 1)


def test_check_reads_version_1(tmp_path):
    lines = [
        '{"journal":1,"seed":1,"clock":"stepped"}\n',
        '{"at":0,"call":"GPUManagerRun","code":0}\n',
        '{"at":0,"call":"DeviceGetData","hang":1}\n',
        '{"at":0,"call":"GPUManagerStop","code":0}\n',
    ]
    for some, expected in (
        ([lines[0], lines[1], lines[3]], ("whole: the manager was stopped", 0)),
        (lines[:2], ("not whole: the process was killed, or the recording goes on", 1)),
        (lines, ("whole: the manager was stopped", 1)),
    ):
        (tmp_path / "calls.jsonl").write_text("".join(some))
        assert first_line(journal(tmp_path, "check", "calls.jsonl")) == expected


@pytest.mark.parametrize("where", ["slot", "line"])
def test_check_shows_calls_that_never_returned(recording, tmp_path, where):
    recording.get(7, "gpu.\x1b", code=None)
    if where == "slot":
        begun = json.dumps(recording.lines.pop()).ljust(4095)
        recording.write(slot=begun)
    else:
        recording.write()
    run = journal(tmp_path, "check", "calls.jsonl")
    line = 2 if where == "slot" else 4
    assert run.status == 1
    assert run.stdout.endswith(
        "\nline  calls that never returned\n"
        f"   {line}  DeviceGetData device 7 property 'gpu.\\x1B' mode 0\n"
    )
    assert re.search(r"^DeviceGetData +- +1$", run.stdout, re.M)
    ended = recording.end("exit", status=0)
    ended.write(slot=begun if where == "slot" else "")
    assert journal(tmp_path, "check", "calls.jsonl").status == 1


HOSTILE = {
    "": "1:1: ",
    "\n": "1:1: ",
    "not json\n": "1:1: ",
    '{"journal":3,"clock":""}\n': "1:12: ",
    '{"journal":2,"clock":""}\n{"n":1,"at":0,"call":"system","args":{},"code":0,"took":0}\n': (
        "2:22: "
    ),
    '{"journal":2,"clock":""}\n{"n":1e999,"at":0}\n': "2:1: ",
    '{"journal":2,"clock":""}\n' + "[" * 1000 + "\n": "2:1: ",
    '{"journal":2,"clock":"\x1b"}\n': "1:23: ",
}


@pytest.mark.parametrize("command", COMMANDS)
@pytest.mark.parametrize("content", HOSTILE, ids=range(len(HOSTILE)))
def test_what_is_no_journal_is_rejected_by_line_and_column(tmp_path, command, content):
    (tmp_path / "bad\n.jsonl").write_text(content)
    run = journal(tmp_path, command, "bad\n.jsonl", *COMMANDS[command])
    assert (run.stdout, run.status) == ("", 2)
    assert run.stderr.startswith(f"boardctl-journal: bad\\x0A.jsonl:{HOSTILE[content]}")
    assert run.stderr.count("\n") == 1
    assert [path.name for path in tmp_path.iterdir()] == ["bad\n.jsonl"]


@pytest.mark.parametrize("command", COMMANDS)
def test_a_file_that_is_not_there(tmp_path, command):
    run = journal(tmp_path, command, "none", *COMMANDS[command])
    reason = "boardctl-journal: none: cannot be opened: No such file or directory\n"
    assert run == ("", reason, 2)
    assert not list(tmp_path.iterdir())


@pytest.mark.parametrize("command", COMMANDS)
def test_what_cannot_be_read_is_named(tmp_path, command):
    (tmp_path / "folder").mkdir()
    run = journal(tmp_path, command, "folder", *COMMANDS[command])
    reason = "boardctl-journal: folder:1:1: cannot be read: Is a directory\n"
    assert run == ("", reason, 2)


@pytest.mark.skipif(bool(EMULATOR), reason="the emulator needs its standard files")
def test_output_that_cannot_be_written(recording, tmp_path):
    recording.end().write()
    with open("/dev/full", "w") as full:
        done = subprocess.run(
            [*JOURNAL, "check", "calls.jsonl"], cwd=tmp_path, stdout=full, stderr=subprocess.PIPE,
            text=True, timeout=HANG, check=False,
        )  # fmt: skip
    reason = "boardctl-journal: standard output: No space left on device\n"
    assert (done.stderr, done.returncode) == (reason, 2)
