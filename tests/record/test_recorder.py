"""What a recording holds, and that the program does the same with the recorder and without it."""

import json
import os
import re

import jsonschema
import pytest
from built_program import BOARD, EMULATOR, ROOT, SANITIZED, readelf
from conftest import MANIFEST, RECORDER

BYTES = [str(n) for n in range(8)]
API = "GPUGetVendorIdV2"
ASYNC = ("0", "4", "1", "2", "3", *BYTES, "8", "9", "10")
RUNS = {
    "help": (("-h",), ""),
    "refused": (("bogus",), ""),
    "list": ((*MANIFEST, "list", "gpu"), ""),
    "list all": ((*MANIFEST, "list", "all"), ""),
    "get": ((*MANIFEST, "-l", "5", "-L", "log", "get", "gpu", "0", "all", "0"), ""),
    "get by name": ((*MANIFEST, "get", "korswitch", "1", "x", "1"), ""),
    "set": ((*MANIFEST, "set", "0", "p0nnnnnn", "7"), ""),
    "clear": ((*MANIFEST, "clear", "0", "p0nnnnnn"), ""),
    **{
        f"{command} {device}": ((*MANIFEST, command, device, "0", "1", "2", "3", *BYTES), "")
        for command in ("raw", "rawSyncCmd")
        for device in ("gpu", "korswitch", "fpga")
    },
    "rawAsyncCmd gpu": ((*MANIFEST, "rawAsyncCmd", "gpu", *ASYNC), ""),
    "rawAsyncCmd korswitch": ((*MANIFEST, "rawAsyncCmd", "korswitch", *ASYNC), ""),
    "set_callback": ((*MANIFEST, "set_callback", "0", API), ""),
    "shell": (
        (*MANIFEST, "shell"),
        "get gpu 0 x\nset 0 p0nnnnnn 1\nsnapshot refresh_status\nlist gpu\nquit\n",
    ),
    "shell that stops": ((*MANIFEST, "shell"), "get gpu y x\n"),
}
SCHEMA = json.loads((ROOT / "schemas/journal.schema.json").read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)
CODES = [1, 2, 10, 31, 127, 128, 255, 256, 2147483647, -1, -2, -255, -2147483648]


@pytest.mark.parametrize("name", RUNS)
@pytest.mark.parametrize("keeps", [False, True])
def test_the_program_does_the_same(recorded, name, keeps):
    words, stdin = RUNS[name]
    recorded.extra = {"BOARDCTL_RECORD_KEEP_IDENTITIES": "1"} if keeps else {}
    without, with_recorder = recorded.both(*words, stdin=stdin)
    assert with_recorder == without
    recording = recorded.recording
    # The postbox functions of the hostile library have one name for the three kinds.
    assert [call["call"] for call in recording.calls] == without[1]
    assert [call["n"] for call in recording.calls] == list(range(1, len(without[1]) + 1))
    assert recording.end == {"end": "exit", "status": without[0].status, "calls": len(without[1])}
    for line in recording.lines:
        VALIDATOR.validate(line)
    assert recording.slot is None
    assert recording.head["journal"] == 2
    assert recording.head.get("redacted", False) != keeps
    assert recording.head["arguments"][-len(words) :] == list(words)
    times = [call["at"] for call in recording.calls]
    assert times == sorted(times)


@pytest.mark.parametrize("name", ["get by name", "shell", "rawAsyncCmd gpu", "set_callback"])
def test_the_simulated_board_is_recorded_too(recorded, name):
    words, stdin = RUNS[name]
    recorded.hostile = False
    recorded.extra = {}
    without, with_recorder = recorded.both(*BOARD, *words[2:], stdin=stdin)
    assert with_recorder == without
    assert recorded.recording.calls[0]["call"] in ("GPUManagerInit", "GPUSetLogLevel")


def test_inputs_and_outputs_are_those_of_the_call(recorded):
    words, _ = RUNS["rawAsyncCmd gpu"]
    recorded(*words)
    assert recorded.recording.calls[2]["args"] == {
        "device": 0,
        "opcode": 2,
        "input": [0x03020100, 0x07060504, 0x000A0908],
        "size": 4,
        "flag": 0,
        "reply": [0xFFFFFFFF, 0xFFFFFFFF],
        "output": [0, 1, 2],
    }
    recorded(*RUNS["set"][0])
    assert recorded.recording.calls[-2]["args"]["value"] == 7


def test_every_code_is_recorded(recorded):
    for code in CODES[:: 4 if EMULATOR or SANITIZED else 1]:
        recorded.orders = f"names=1;code.DeviceGetData={code}"
        without, with_recorder = recorded.both(*MANIFEST, "get", "gpu", "0", "x", "0")
        assert with_recorder == without, code
        assert recorded.recording.calls[2]["code"] == code


@pytest.mark.parametrize("kind", ["nonul", "empty", "control", "utf8", "format", "nul"])
def test_texts_are_recorded_byte_for_byte(recorded, kind):
    recorded.orders = f"names=2;nametext={kind};text={kind}"
    without, with_recorder = recorded.both(*MANIFEST, "get", "gpu", "0", "all", "0")
    assert with_recorder == without
    call = recorded.recording.calls[-2]
    value = call["args"]["value"]
    assert without[0].stdout.endswith(f" {value}\n")
    assert len(value) == {"nonul": 10240, "empty": 0}.get(kind, len(value))
    assert call["args"].get("unterminated", 0) == (kind == "nonul")


def test_large_answers_are_recorded_whole(recorded):
    words = 10_000 if EMULATOR else 1_000_000
    recorded.orders = f"words={words};names=3;size=1048576"
    without, with_recorder = recorded.both(*MANIFEST, "raw", "gpu", "0", "1", "2", "3", *BYTES)
    assert with_recorder == without
    assert recorded.recording.calls[2]["args"]["output"] == list(range(words))
    without, with_recorder = recorded.both(*MANIFEST, "set", "0", "x", "1")
    assert with_recorder == without
    names = recorded.recording.calls[2]["args"]["names"]
    assert [len(name) for name in names] == [1048576] * 3


def test_callbacks_of_16_threads(recorded):
    recorded.orders = "callbacks=16;when=stop"
    without, with_recorder = recorded.both(*MANIFEST, "set_callback", "0", API)
    assert with_recorder == without
    updates = recorded.recording.updates
    assert len(updates) >= 16
    number = {call["call"]: call["n"] for call in recorded.recording.calls}
    for update in updates:
        VALIDATOR.validate(update)
        del update["at"]
        assert update == {
            "update": API,
            "registration": number["DeviceSetCallbackUpdateData"],
            "id": 7,
            "sequence": 7,
            "after": number["GPUManagerStop"],
            "during": 1,
        }


def test_a_process_that_is_killed_leaves_all_but_the_call_under_way(recorded):
    session = "".join(f"get gpu {i} name.{i}\n" for i in range(60)) + "quit\n"
    recorded.orders = ""
    recorded(*MANIFEST, "shell", stdin=session)
    whole = recorded.recording.calls
    assert len(whole) == 63
    for number in range(1, 64, 9 if EMULATOR or SANITIZED else 1):
        recorded.orders = f"kill={number}"
        assert recorded(*MANIFEST, "shell", stdin=session).status in (-9, 137), number
        recording = recorded.recording
        assert recording.end is None, number
        under_way = recording.slot
        assert [call["call"] for call in recording.calls] == [
            call["call"] for call in whole[: number - 1]
        ], number
        assert (under_way["n"], under_way["call"]) == (number, whole[number - 1]["call"])
        inputs = dict(whole[number - 1].get("args", {}))
        inputs.pop("value", None)
        assert under_way.get("args", {}) == inputs, number
        VALIDATOR.validate(under_way)


@pytest.mark.skipif(SANITIZED, reason="the sanitizers report what leaves main")
@pytest.mark.parametrize("kind", ["std", "alloc", "other"])
def test_a_call_that_throws_has_no_code(recorded, kind):
    recorded.orders = f"names=1;throw.DeviceGetData={kind}"
    without, with_recorder = recorded.both(*MANIFEST, "get", "gpu", "0", "x", "0")
    assert with_recorder[1] == without[1]
    if kind != "other":
        assert with_recorder == without
    lines = [line for line in recorded.recording.lines if line.get("call") == "DeviceGetData"]
    assert ["code" in line for line in lines] == [False]


def test_identities_are_nowhere_in_the_file(recorded):
    recorded.hostile = False
    kinds = ("gpu", "korswitch", "fpga", "baseboard", "cpu", "korlinkBridgeConn")
    serials = {
        f"{kind}.inventory.{name}"
        for kind in kinds
        for name in (
            "serialNumber",
            "boardSerialNumber",
            "gpuGUID",
            "gpuPartNumber",
            "boardPartNumber",
        )
    }
    lines = [f"get {kind} {i} {name}" for name in sorted(serials) for kind in kinds for i in (0, 1)
             if name.startswith(kind + ".")]  # fmt: skip
    stdin = "\n".join([*lines, "quit"]) + "\n"
    recorded.extra = {"BOARDCTL_RECORD_KEEP_IDENTITIES": "1"}
    printed = recorded(*BOARD, "shell", stdin=stdin).stdout
    plain = recorded.recording.path.read_bytes()
    originals = set(re.findall(r"\]\(\S+\) (\S+)$", printed, re.M))
    assert len(originals) > 8
    assert all(value.encode() in plain for value in originals)
    assert any(len(value) < 12 for value in originals)

    # What is named before its property is read is found all the same, and so are bytes of words.
    asked = "".join(
        f"get gpu 0 {value}\nrawAsyncCmd gpu 0 4 1 2 3 "
        + " ".join(str(byte) for byte in value.encode().ljust(11)[:11]) + "\n"
        for value in sorted(originals)
    )  # fmt: skip
    recorded.extra = {}
    for input_text in (stdin, asked + stdin, stdin.replace("quit", asked + "quit")):
        assert recorded(*BOARD, "shell", stdin=input_text).stdout
        text = recorded.recording.path.read_bytes()
        packed = b" ".join(
            b"".join(word.to_bytes(4, "little") for word in line["args"].get("input", []))
            for line in recorded.recording.lines
            if "args" in line
        )
        for value in originals:
            assert value.encode() not in text, value
            assert value.encode() not in packed, value


def test_an_identity_that_comes_with_a_failure_is_replaced_too(recorded):
    recorded.orders = "code.DeviceGetData=5"
    recorded(*MANIFEST, "get", "gpu", "0", "x.serialNumber", "0")
    assert recorded.recording.calls[2]["args"]["value"] not in ("", "value")


def test_it_exports_the_functions_of_the_interface_and_nothing_else():
    defined = set()
    for line in readelf("--dyn-syms", RECORDER).splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[4] in ("GLOBAL", "WEAK", "UNIQUE") and fields[6] != "UND":
            defined.add(fields[7])
    library = set()
    for line in readelf("--dyn-syms", os.environ["BOARDCTL_SIM_LIBRARY"]).splitlines():
        fields = line.split()
        if len(fields) >= 8 and fields[4] == "GLOBAL" and fields[6] != "UND":
            library.add(fields[7])
    assert len(defined) == 21
    assert defined == {
        name for name in library if name != "logger" and not name.startswith("_ZN9data_info")
    }


def test_what_the_library_calls_itself_is_not_recorded(recorded):
    recorded.orders += ";inner=1"
    without, with_recorder = recorded.both(*RUNS["set"][0])
    assert with_recorder == without
    assert without[1].count("DeviceGetData") == without[1].count("DeviceSetData") == 1
    calls = [call["call"] for call in recorded.recording.calls]
    assert "DeviceSetData" in calls and "DeviceGetData" not in calls


def test_there_is_one_logger(probe):
    assert probe.both("logger") == [(("one logger\n", "", 0), [])] * 2


def test_a_child_of_the_process_is_not_recorded(probe):
    without, with_recorder = probe.both("fork")
    assert with_recorder == without
    assert [call["args"]["device"] for call in probe.recording.calls] == [1, 3]
    assert probe.recording.end["calls"] == 2


def test_errno_is_kept(probe):
    assert probe.both("errno")[1][0] == ("1\n", "", 0)


def test_the_process_gets_the_descriptors_that_it_would_get(probe):
    without, with_recorder = probe.both("descriptors")
    assert with_recorder == without


@pytest.mark.skipif(bool(EMULATOR), reason="the emulator hands on an environment of its own")
def test_the_environment_is_what_it_would_be(probe):
    probe.extra = {"BOARDCTL_RECORD_LIMIT": "1000000"}
    probe.records = False
    without = probe("environment").stdout
    probe.records = True
    assert "BOARDCTL_RECORD_LIMIT=1000000\n" in without
    assert probe("environment").stdout == without.replace("BOARDCTL_RECORD_LIMIT=1000000\n", "")
