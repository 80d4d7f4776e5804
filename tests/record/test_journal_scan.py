"""boardctl-journal scan: what looks like an identity."""

import re

import pytest
from recordings import BYTES, SERIAL, Recording, journal


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
    value = {"value": "DD00000001", "size": 10}
    recording.change("DeviceSetData", 0, SERIAL, **value)
    recording.end().write()
    run = journal(tmp_path, "scan", "calls.jsonl")
    found = [re.search(r": '(\w+)' (.*)", line).groups() for line in run.stdout.splitlines()]
    assert found == [
        ("BB00000001", "looks like a serial number"),
        ("DD00000001", "is the value of a property that holds an identity"),
    ]
    assert run.status == 1


def test_scan_searches_whatever_else_a_line_holds(recording, tmp_path):
    recording.write()
    with (tmp_path / "calls.jsonl").open("a") as file:
        file.write('{"rule":0,"fired":1,"new":1e999,"list":[1.5,{"text":"VG26041001"},-1]}\n')
    run = journal(tmp_path, "scan", "calls.jsonl")
    found = "calls.jsonl:4: other line: 'VG26041001' looks like a serial number\n"
    assert (run.stdout, run.status) == (found, 1)
