"""boardctl-journal, with recordings of the simulated board and with ones made by hand."""

import collections
import json
import os
import re
import stat
import subprocess

import pytest
from built_program import EMULATOR, ROOT, Boardctl, Run, put_board
from limits import HANG

JOURNAL = [*EMULATOR, os.environ["BOARDCTL_JOURNAL"]]
COMMANDS = {"check": (), "scan": (), "redact": ("new.jsonl",), "board": ("board",)}


def journal(folder, *words, **options):
    done = subprocess.run(
        [*JOURNAL, *words], cwd=folder, capture_output=True, timeout=HANG, check=False, **options
    )
    return Run(done.stdout.decode(), done.stderr.decode(), done.returncode)


HEADER = {"journal": 2, "clock": "monotonic"}


class Recording:
    """Writes a recording of version 2, in which each call takes a millisecond."""

    def __init__(self, folder, **header):
        self.folder = folder
        self.lines = [HEADER | header]
        self.calls = 0
        self.at = 0

    def call(self, name, code=0, took=1000, **args):
        self.calls += 1
        beside = args if name == "GPUManagerInit" else {"args": args}
        line = {"n": self.calls, "at": self.at, "call": name, **beside}
        if code is not None:
            line |= {"code": code, "took": took}
        self.lines.append(line)
        self.at += took
        return self

    def start(self):
        self.call("GPUManagerInit", manifest="m.json", profile="", properties="")
        return self.call("GPUManagerRun", reserved0=0, reserved1=0)

    def get(self, device, name, value=None, code=0, mode=0, **others):
        args = {"device": device, "property": name, "reserved0": 0, "reserved1": 0, "size": 10240}
        args |= {"mode": mode, "reserved2": 0, "value": value or "", **others}
        if code is None:
            del args["value"]
        return self.call("DeviceGetData", code, **args)

    def change(self, name, device, of, code=0, **value):
        args = {"device": device, "property": of, **value, "reserved0": 0}
        return self.call(name, code, **args)

    def listing(self, kind, *names):
        details = [""] * len(names)
        return self.call("DeviceGetSupportedProperties", type=kind, names=names, details=details)

    def end(self, how="exit", **more):
        self.lines.append({"end": how, **more, "calls": self.calls})
        return self

    def write(self, name="calls.jsonl", slot="", tail=""):
        lines = [json.dumps(line, separators=(",", ":")) for line in self.lines]
        if slot:
            lines.insert(1, slot)
        (self.folder / name).write_text("".join(line + "\n" for line in lines) + tail)
        return self


@pytest.fixture
def recording(tmp_path):
    return Recording(tmp_path).start()


@pytest.fixture
def boardctl(tmp_path):
    put_board(tmp_path)
    return Boardctl(tmp_path)


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
        ("\x1b", "not whole: it ended with '\\x1B'", 1),
    ):
        recording.end(how).write()
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


SERIAL, PART = "gpu.inventory.serialNumber", "gpu.inventory.gpuPartNumber"
WORDS = list(b"serial VG26041001 " + b"\0" * 2)
BYTES = [int.from_bytes(WORDS[i : i + 4], "little") for i in range(0, len(WORDS), 4)]


def test_scan_names_the_values_of_identity_properties(recording, tmp_path):
    recording.get(0, SERIAL, "ab 1").get(0, "gpu.pcie.maxWidth", "16").get(1, SERIAL, "--")
    recording.end().write()
    expected = (
        "calls.jsonl:4: DeviceGetData device 0 property 'gpu.inventory.serialNumber' mode 0: "
        "'ab 1' is the value of a property that holds an identity\n"
    )
    assert journal(tmp_path, "scan", "calls.jsonl") == (expected, "", 1)


@pytest.mark.parametrize(
    "text,word,form",
    [
        ("VG26041001", "VG26041001", "a serial number"),
        ("(SN:VG26041001)", "VG26041001", "a serial number"),
        ("part VA-8041-B2!", "VA-8041-B2", "a part number"),
        ("9f27c1de-4b06-4a55-8d13-7ac0e25f4098", "9f27c1de-4b06-4a55-8d13-7ac0e25f4098", "a UUID"),
        ("0x5c1d8a0300f74b21", "0x5c1d8a0300f74b21", "a GUID"),
        ("5c1d8a0300f74b215c1d8a0300f74b21", "5c1d8a0300f74b215c1d8a0300f74b21", "a GUID"),
        ("5c1d:8a03:00f7:4b21", "5c1d:8a03:00f7:4b21", "a GUID"),
        ("5c:1d:8a:03:00:f7", "5c:1d:8a:03:00:f7", "a hardware address"),
        ("0000:1b:00.0", None, None),
        ("0xffffffffffffffff", None, None),
        ("0x0000000012345678", None, None),
        ("1234567812345678", None, None),
        ("2026-11-22T10:11:12Z", None, None),
        ("GPUGetPowerConsumptionV2 gpu.pcie.linkStatus.page0", None, None),
        ("96.00.5E.00.01", None, None),
        ("-:-", None, None),
    ],
)
def test_scan_knows_the_forms_of_identities(recording, tmp_path, text, word, form):
    recording.get(0, "gpu.\x1bfirmware", text).end().write()
    found = (
        f"calls.jsonl:4: DeviceGetData device 0 property 'gpu.\\x1Bfirmware' mode 0: "
        f"'{word}' looks like {form}\n"
    )
    nothing = "calls.jsonl: nothing looks like an identity\n"
    expected = (found, "", 1) if word else (nothing, "", 0)
    assert journal(tmp_path, "scan", "calls.jsonl") == expected


def test_scan_looks_everywhere(tmp_path):
    recording = Recording(tmp_path, arguments=["boardctl", "VG26041001"], tool="VG26041001").start()
    recording.listing(0, "gpu.VG26041001")
    args = {"device": 0, "opcode": 1, "arg1": 0, "arg2": 0, "flag": 0}
    recording.call("TesselCmd", **args, input=BYTES, output=[])
    recording.write(tail="VG26041001")
    run = journal(tmp_path, "scan", "calls.jsonl")
    assert [line.split(" ", 2)[:2] for line in run.stdout.splitlines()] == [
        ["calls.jsonl:1:", "header:"],
        ["calls.jsonl:4:", "DeviceGetSupportedProperties"],
        ["calls.jsonl:5:", "TesselCmd"],
        ["calls.jsonl:6:", "the"],
    ]
    assert run.stdout.endswith("calls.jsonl:6: the line is cut and not searched\n")
    assert run.status == 1


def test_scan_leaves_out_the_pseudonyms_of_a_redacted_recording(tmp_path):
    recording = Recording(tmp_path, redacted=True).start()
    recording.get(0, "gpu.info", "SN:AA00000001 BB00000001")
    recording.get(0, SERIAL, "AA00000001").get(1, SERIAL, "CC00000001", code=6)
    recording.end().write()
    run = journal(tmp_path, "scan", "calls.jsonl")
    found = [re.search(r": '(\w+)' (.*)", line).groups() for line in run.stdout.splitlines()]
    assert found == [
        ("BB00000001", "looks like a serial number"),
        ("CC00000001", "is the value of a property that holds an identity"),
    ]
    assert run.status == 1


def test_scan_says_what_it_cannot_search(recording, tmp_path):
    recording.write()
    with (tmp_path / "calls.jsonl").open("a") as file:
        file.write('{"rule":0,"fired":1,"new":1e999,"text":"VG26041001"}\n')
    run = journal(tmp_path, "scan", "calls.jsonl")
    assert run.stdout.startswith("calls.jsonl:4: other line: ")
    assert run.stdout.endswith(" cannot be searched\n") and run.status == 1


def records(folder, name):
    return [json.loads(line) for line in (folder / name).read_text().splitlines() if line.strip()]


def test_redact_replaces_an_identity_in_what_came_before(recording, tmp_path):
    recording.get(0, "gpu.info", "SN:VG26041001").get(0, SERIAL, "VG26041001")
    args = {"device": 0, "opcode": 1, "arg1": 0, "arg2": 0, "flag": 0}
    recording.call("TesselCmd", **args, input=[1], output=BYTES).get(1, SERIAL, "VG26041002")
    stale = ' "n":4,"args":{"value":"VG26041001"}}'.ljust(4095)
    recording.end().write(slot=stale, tail='{"value":"VG26041001"')
    run = journal(tmp_path, "redact", "calls.jsonl", "new.jsonl")
    assert run == (
        "new.jsonl: identities replaced in 4 of 9 lines\n"
        "calls.jsonl:10: the line is cut and left out\n",
        "",
        0,
    )
    new = tmp_path / "new.jsonl"
    assert "VG2604100" not in new.read_text() and new.read_text().splitlines()[1] == " "
    assert stat.S_IMODE(new.stat().st_mode) == 0o600
    old, redacted = recording.lines, records(tmp_path, "new.jsonl")
    pseudonym = redacted[4]["args"]["value"]
    assert re.fullmatch(r"[A-Z]{2}\d{8}", pseudonym)
    assert redacted[3]["args"]["value"] == "SN:" + pseudonym
    assert redacted[6]["args"]["value"] != pseudonym
    output = b"".join(word.to_bytes(4, "little") for word in redacted[5]["args"]["output"])
    assert output == bytes(WORDS).replace(b"VG26041001", pseudonym.encode())
    assert redacted[0] == HEADER | {"redacted": True}
    for before, after in list(zip(old, redacted))[1:]:
        for line in before, after:
            for name in "value", "output":
                line.get("args", {}).pop(name, None)
        assert before == after
    assert sorted(path.name for path in tmp_path.iterdir()) == ["calls.jsonl", "new.jsonl"]


def test_redact_changes_of_the_header_only_what_it_says(tmp_path):
    for said in {}, {"redacted": False}:
        Recording(tmp_path, arguments=["a", "b"], **said).end().write()
        assert journal(tmp_path, "redact", "calls.jsonl", "new.jsonl").status == 0
        old, new = ((tmp_path / name).read_text() for name in ("calls.jsonl", "new.jsonl"))
        assert new == old.replace(',"redacted":false', "").replace('"b"]', '"b"],"redacted":true')
        (tmp_path / "new.jsonl").unlink()


def test_redact_copies_what_is_redacted(recording, tmp_path):
    recording.get(0, SERIAL, "VG26041001").end().write()
    journal(tmp_path, "redact", "calls.jsonl", "new.jsonl")
    run = journal(tmp_path, "redact", "new.jsonl", "again.jsonl")
    assert run == ("again.jsonl: a copy, since new.jsonl is redacted already\n", "", 0)
    assert (tmp_path / "again.jsonl").read_bytes() == (tmp_path / "new.jsonl").read_bytes()


def test_redact_learns_from_updates_of_the_simulated_board(recording, tmp_path):
    api = "GPUGetSerialNumberV2"
    update = {"at": 1, "update": api, "registration": 1, "id": 0, "sequence": 1, "after": 2}
    recording.lines.append(update | {"value": "VG26041001"})
    recording.get(0, "gpu.info", "VG26041001").end().write()
    assert journal(tmp_path, "redact", "calls.jsonl", "new.jsonl").status == 0
    assert "VG26041001" not in (tmp_path / "new.jsonl").read_text()


def test_redact_overwrites_nothing(recording, tmp_path):
    recording.end().write()
    (tmp_path / "new.jsonl").write_text("mine")
    reason = "boardctl-journal: new.jsonl: exists already\n"
    assert journal(tmp_path, "redact", "calls.jsonl", "new.jsonl") == ("", reason, 2)
    assert (tmp_path / "new.jsonl").read_text() == "mine"
    (tmp_path / "link").symlink_to("nowhere")
    reason = "boardctl-journal: link: exists already\n"
    assert journal(tmp_path, "redact", "calls.jsonl", "link") == ("", reason, 2)
    reason = "boardctl-journal: no/new: cannot be created: No such file or directory\n"
    assert journal(tmp_path, "redact", "calls.jsonl", "no/new") == ("", reason, 2)


def test_redact_reads_a_regular_file_only(recording, tmp_path):
    recording.end().write()
    command = f"cat calls.jsonl | {' '.join(JOURNAL)} redact /dev/stdin new.jsonl"
    done = subprocess.run(
        command, shell=True, cwd=tmp_path, capture_output=True, text=True, timeout=HANG, check=False
    )
    reason = "boardctl-journal: /dev/stdin: cannot be read twice: Illegal seek\n"
    assert (done.stdout, done.stderr, done.returncode) == ("", reason, 2)
    assert not (tmp_path / "new.jsonl").exists()


def load(folder, name):
    return json.loads((folder / "board" / name).read_text(), parse_float=str)


def make(folder):
    run = journal(folder, "board", "calls.jsonl", "board")
    assert (run.stderr, run.status) == ("", 0)
    return run.stdout


def test_board_has_the_values_and_the_listing(recording, tmp_path):
    width, power, text = "gpu.pcie.maxWidth", "gpu.power.consumption", "gpu.text"
    recording.get(0, width, "8").get(0, width, "16").get(2, width, "16").get(2, text, 'a"b')
    recording.get(0, power, "320.50").get(2, power, "-0.5").get(0, text, "0x001f")
    recording.get(0, "gpu.zero", "-0").get(2, "gpu.zero", "007").get(0, "gpu.extra", "")
    recording.listing(0, text, power, "gpu.unread", width, "gpu.zero")
    recording.listing(1, "gpu.other").get(1, "gpu.other", "5")
    recording.end().write()
    assert make(tmp_path) == (
        "board/manifest.json: 3 gpu, 2 korswitch; 2 absent; 3 values of single devices\n"
        "board/properties.json: 7 properties, of which 0 count and 1 was never read\n"
        "board/profile.json: 0 fault rules\n"
    )
    assert load(tmp_path, "manifest.json") == {
        "about": "Made from a recording.",
        "board": "recorded board",
        "devices": {"gpu": 3, "korswitch": 2},
        "overrides": {
            "gpu1": {"absent": True},
            "gpu2": {"properties": {text: 'a"b', power: "-0.5", "gpu.zero": "007"}},
            "korswitch0": {"absent": True},
        },
    }
    properties = load(tmp_path, "properties.json")["properties"]
    assert list(properties.items()) == [
        (text, "0x001f"),
        (power, "320.50"),
        ("gpu.unread", ""),
        (width, 16),
        ("gpu.zero", "-0"),
        ("gpu.other", {"value": 5, "device": "korswitch"}),
        ("gpu.extra", ""),
    ]
    assert load(tmp_path, "profile.json") == {"about": "Made from a recording.", "faults": []}


def test_board_counts_what_only_rises(recording, tmp_path):
    second = 998_000
    for value in ("10", "10", "12", "16"):
        recording.get(0, "gpu.rises", value, took=1000).get(0, "gpu.falls", str(-int(value)))
        recording.get(0, "gpu.twice", "1" if value < "13" else "2").at += second - 1000
    recording.get(0, "gpu.rises", "16")
    for value in ("1.5", "2.5", "3.25"):
        recording.get(0, "gpu.digits", value)
    for value in range(3):
        recording.get(0, "gpu.written", str(value))
        recording.change("DeviceSetData", 0, "gpu.written", value=value, size=4)
        recording.change("DeviceClearData", 0, "gpu.written")
    recording.end().write()
    assert "5 properties, of which 1 counts and 0 were never read\n" in make(tmp_path)
    properties = load(tmp_path, "properties.json")["properties"]
    assert properties == {
        "gpu.rises": {"counter": 16, "perSecond": "1.500000"},
        "gpu.falls": -16,
        "gpu.twice": 2,
        "gpu.digits": "3.25",
        "gpu.written": {"value": 2, "access": "rwc"},
    }


def test_board_fails_as_it_was_recorded(recording, tmp_path):
    width, power = "gpu.pcie.maxWidth", "gpu.power.consumption"
    for name in width, power:
        recording.get(0, name, "1").get(1, name, code=21).get(2, name, code=6)
    for device in 0, 3:
        for mode in 0, 1:
            recording.get(device, "gpu.broken", code=23, mode=mode)
    for code in 0, 7, 0, 0, 7, 0:
        recording.get(3, width, "1", code=code)
    recording.get(3, power, "1").get(3, power, code=12, mode=1)
    recording.get(4, width, code=5).get(0, "gpu.nothing", code=3).get(0, "gpu.secret", code=8)
    recording.change("DeviceSetData", 0, width, 9, value=1, size=4)
    recording.change("DeviceSetData", 0, power, 23, value=1, size=4)
    recording.change("DeviceClearData", 0, width, 10)
    callback = {"api": "GPUGetPowerConsumptionV2", "callback": 1}
    reserved = {"reserved0": 0, "reserved1": "", "reserved2": "", "reserved3": 0}
    recording.call("DeviceSetCallbackUpdateData", 23, device=3, **callback, **reserved)
    recording.call("SnapShotRefreshStatus", 0, running=0)
    recording.get(0, "fpga.firmware.version", code=None).write()
    assert make(tmp_path) == (
        "board/manifest.json: 4 gpu, 1 fpga; 1 absent; 0 values of single devices\n"
        "board/properties.json: 5 properties, of which 0 count and 3 were never read\n"
        "board/profile.json: 9 fault rules\n"
        "  get fpga0 fpga.firmware.version: hangs (line 30)\n"
        "  every call gpu1: code 21 (line 8)\n"
        "  get gpu0 gpu.broken: code 23 (line 11)\n"
        "  get gpu3 gpu.broken: code 23 (line 13)\n"
        "  get gpu3 gpu.pcie.maxWidth: code 7, every 3 calls (line 18)\n"
        "  get gpu3 gpu.power.consumption in mode 1: code 12 (line 21)\n"
        "  get gpu0 gpu.secret: code 8 (line 24)\n"
        "  set gpu0 gpu.power.consumption: code 23 (line 26)\n"
        "  set_callback gpu3 gpu.power.consumption: code 23 (line 28)\n"
    )


KINDS = json.loads((ROOT / "examples/oob_manifest.json").read_text())["devices"]
SWEEP = [
    f"get {kind} {i} all {mode}" for mode in (0, 1) for kind in KINDS for i in range(KINDS[kind])
]


def record(boardctl, board, lines, **profile):
    """Runs lines on a simulated board and returns what it printed and the calls that it recorded."""
    settings = {"clock": {"mode": "stepped"}, "journal": "calls.jsonl", **profile}
    (boardctl.folder / "profile.json").write_text(json.dumps(settings))
    run = boardctl(*board, "-p", "profile.json", "shell", stdin="\n".join([*lines, "quit"]))
    assert (run.stderr, run.status) == ("", 0)
    reads = [
        (line["args"], line["code"])
        for line in records(boardctl.folder, "calls.jsonl")
        if line.get("call") == "DeviceGetData"
    ]
    return run.stdout, reads


def last_reads(reads, *names):
    return {
        tuple(args[name] for name in names): (code, args["value"] if code == 0 else None)
        for args, code in reads
    }


def test_a_recorded_board_lives_on_as_a_simulated_one(boardctl, tmp_path):
    manifest = json.loads((tmp_path / "oob_manifest.json").read_text())
    manifest["overrides"] = {"gpu6": {"absent": True}}
    (tmp_path / "m.json").write_text(json.dumps(manifest))
    faults = [
        {"device": "gpu3", "code": "timeout"},
        {"device": "gpu5", "property": "gpu.pcie.*", "operation": "get", "code": "ioError"},
        {"device": "hsc*", "accessMode": 1, "code": "ioError"},
    ]
    listings = [f"list {kind}" for kind in KINDS]
    old_text, old = record(boardctl, ["-m", "m.json"], listings + SWEEP, faults=faults)
    assert len(old) > 4000
    printed = make(tmp_path)
    assert "8 gpu, 4 korswitch, 1 fpga, 10 hsc" in printed and "; 1 absent;" in printed
    assert "left out" not in printed
    board = ["-m", "board/manifest.json", "-t", "board/properties.json"]
    made = load(tmp_path, "profile.json")["faults"]
    new_text, new = record(boardctl, board, listings + SWEEP, faults=made)
    named = "device", "property"
    codes = {key: code for key, (code, _) in last_reads(old, *named, "mode").items()}
    assert {key: code for key, (code, _) in last_reads(new, *named, "mode").items()} == codes
    assert collections.Counter(codes.values()).keys() == {0, 6, 21, 23}
    assert last_reads(new, *named) == last_reads(old, *named)
    listed = old_text.partition("Device[")[0]
    assert listed.count("\n") > 400 and new_text.startswith(listed)


def test_a_redacted_recording_of_the_board_holds_no_identity(boardctl, tmp_path):
    _, reads = record(boardctl, ["-m", "oob_manifest.json"], SWEEP)
    originals = {
        args["value"]
        for args, _ in reads
        if re.search("serial|guid|uuid|partNumber|buildDate", args["property"], re.I)
    }
    assert len(originals) > 20
    assert journal(tmp_path, "scan", "calls.jsonl").status == 1
    assert journal(tmp_path, "redact", "calls.jsonl", "new.jsonl").status == 0
    text = (tmp_path / "new.jsonl").read_text()
    assert not [original for original in originals if original in text]
    nothing = "new.jsonl: nothing looks like an identity\n"
    assert journal(tmp_path, "scan", "new.jsonl") == (nothing, "", 0)
    old, new = records(tmp_path, "calls.jsonl"), records(tmp_path, "new.jsonl")
    assert len(old) == len(new)
    pairs = {
        (before["args"]["value"], after["args"]["value"])
        for before, after in zip(old, new)
        if before.get("call") == "DeviceGetData" and before["args"]["value"] in originals
    }
    assert len(pairs) == len({old for old, _ in pairs}) == len({new for _, new in pairs})
    assert {len(old) - len(new) for old, new in pairs} == {0}


def test_board_says_what_it_leaves_out(recording, tmp_path):
    recording.get(0, "gpu.text", "tab\t").get(0, "gpu.bytes", "\xff").get(300, "gpu.a", "1")
    recording.get(0, "nothing.known", code=3).get(0, "gpu.a", code=12, mode=7)
    recording.get(0, "gpu.cut", "x" * 20, unterminated=1).get(0, "gpu.long", "x" * 10240)
    recording.listing(0, "gpu.text", "gpu.bytes", "gpu.b c", "gpu.cut", "gpu.long")
    recording.get(0, "gpu.other", code=21)
    args = {"device": 0, "opcode": 1, "arg1": 0, "arg2": 0, "flag": 0}
    recording.call("TesselCmd", **args, input=BYTES, output=[])
    recording.change("DeviceSetData", 0, "gpu.long", value=1, size=4)
    recording.change("DeviceSetData", 0, "gpu.long", 11, value=2, size=4)
    recording.call("GPUManagerStop", 24).write()
    lines = make(tmp_path).splitlines()
    get = "DeviceGetData device 0 property "
    assert lines[3:] == [
        f"calls.jsonl:{line}: left out: {what}"
        for line, what in (
            (4, "gpu0 gpu.text: the text holds a control character"),
            (5, "gpu0 gpu.bytes: the text is not UTF-8"),
            (6, "DeviceGetData device 300 property 'gpu.a' mode 0: "
                "no file can say how it is answered"),
            (7, get + "'nothing.known' mode 0: no file can say how it is answered"),
            (8, get + "'gpu.a' mode 7: no file can say how it is answered"),
            (9, "gpu0 gpu.cut: the text has no NUL"),
            (10, "gpu0 gpu.long: the text is too long"),
            (11, "'gpu.b c': not a name that the board can have"),
            (12, get + "'gpu.other' mode 0: not in the listing"),
            (13, "1 raw request, this and later ones: the board has its built-in postbox"),
            (15, "gpu0 gpu.long: whether it can be set depends on the value"),
            (16, "GPUManagerStop: no file can say how it is answered"),
        )
    ]  # fmt: skip


def test_board_needs_a_folder_of_its_own(recording, tmp_path):
    recording.get(0, "gpu.a", "1").end().write()
    (tmp_path / "board").mkdir()
    make(tmp_path)
    made = sorted(path.name for path in (tmp_path / "board").iterdir())
    assert made == ["manifest.json", "profile.json", "properties.json"]
    for folder, why in ("board", "is not empty"), ("calls.jsonl", "Not a directory"):
        reason = f"boardctl-journal: {folder}: {why}\n"
        assert journal(tmp_path, "board", "calls.jsonl", folder) == ("", reason, 2)
    reason = "boardctl-journal: no/board: No such file or directory\n"
    assert journal(tmp_path, "board", "calls.jsonl", "no/board") == ("", reason, 2)


def test_a_board_that_does_not_fit_leaves_nothing_behind(recording, tmp_path):
    for i in range(600):
        recording.get(0, f"gpu.property{i}", str(i) + "x" * 10_000)
    recording.end().write()
    run = journal(tmp_path, "board", "calls.jsonl", "board")
    reason = "boardctl-journal: board/properties.json: would exceed 4 MiB\n"
    assert run == ("", reason, 2)
    assert not (tmp_path / "board").exists()


def test_a_board_has_no_more_properties_than_a_file_takes(recording, tmp_path):
    recording.listing(0, *(f"gpu.property{i}" for i in range(4098))).end().write()
    lines = make(tmp_path).splitlines()
    assert lines[1].startswith("board/properties.json: 4096 properties")
    assert lines[3:] == [
        f"calls.jsonl:4: left out: 'gpu.property{i}': the board has 4096 properties already"
        for i in (4096, 4097)
    ]
