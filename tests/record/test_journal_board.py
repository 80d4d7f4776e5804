"""boardctl-journal board: a recording made into a simulated board."""

import collections
import json
import re

from built_program import ROOT
from recordings import BYTES, journal, records


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
            (4, "gpu0 gpu.text: the text is not printable UTF-8"),
            (5, "gpu0 gpu.bytes: the text is not printable UTF-8"),
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
