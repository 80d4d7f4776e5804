"""What boardctl-export writes, for a healthy board and for a library with hostile texts."""

import json

import jsonschema
import pytest
from exporting import EXAMPLES, ROOT, SIMULATED, parsed, run, samples, up, value

NUMBERS = ["0", "-0", "+5", "007", "1.50", "-12.000", "9" * 32, "0.00000000000000000000000001"]
NO_NUMBERS = [
    "", " 12", "12 ", "1,5", "NaN", "nan", "inf", "1e309", "1e3", "0x1f", "1.", ".5", "+", "-", "1.2.3",
    "--1", "9" * 33, "without NUL", '"', "\\", "\n", "\r\n1", "}\nboardctl_up 7\n", "\x1b[2J", "٣", "é",
    "\udcff\udcfe", "\udced\udca0\udc80",
]  # fmt: skip
HOSTILE_NAMES = [
    'gpu."', "gpu.\\", "gpu.\n", "gpu.\\n", 'gpu."} 1\nboardctl_up 7\n#', "gpu.é", "gpu.\udcff", "{}", " ",
]  # fmt: skip


def test_every_value_of_the_board_is_there():
    kinds = json.loads((EXAMPLES / "oob_manifest.json").read_text())["devices"]
    devices = ",".join(f"{kind}:0-{count - 1}" for kind, count in kinds.items())
    names = ("--names", EXAMPLES / "export_names.json")
    done = run(*SIMULATED, "--devices", devices, *names)
    assert (done.returncode, done.stderr) == (0, "")
    found = samples(done.stdout)
    done = run(*SIMULATED, "--devices", devices, *names, "--format", "json")
    assert (done.returncode, done.stderr) == (0, "")
    document = parsed(done.stdout)
    assert [(d["kind"], d["device"]) for d in document["devices"]] == [
        (kind, number) for kind, count in kinds.items() for number in range(count)
    ]
    numeric = {
        (device["kind"], str(device["device"]), name)
        for device in document["devices"]
        for name, answer in device["properties"].items()
        if "number" in answer
    }
    labels = [dict(key[1:]) for key in found if key[0] == "boardctl_property"]
    assert {(one["kind"], one["device"], one["property"]) for one in labels} == numeric
    assert len(numeric) > 1000
    texts = sum("text" in a for d in document["devices"] for a in d["properties"].values())
    assert value(found, "boardctl_values_not_numeric") == texts - len(numeric) > 0
    assert value(found, "boardctl_up") == 1
    gpu = {"kind": "gpu", "device": "3"}
    limit = value(found, "boardctl_power_limit_watts", **gpu)
    assert (
        limit
        == value(found, "boardctl_property", property="gpu.power.MaxPowerOperatingLimitmW", **gpu)
        / 1000
    )
    metrics = json.loads((EXAMPLES / "export_names.json").read_text())["metrics"]
    assert set(metrics) <= {key[0] for key in found}, "each rule has a property"


@pytest.mark.parametrize("name", ["export", "export-names"])
def test_the_schemas_are_schemas(name):
    schema = json.loads((ROOT / f"schemas/{name}.schema.json").read_text())
    jsonschema.Draft202012Validator.check_schema(schema)


def test_the_example_follows_its_schema():
    file = EXAMPLES / "export_names.json"
    example = json.loads(file.read_text())
    schema = (EXAMPLES / example["$schema"]).resolve()
    assert schema == ROOT / "schemas/export-names.schema.json" and example["about"]
    jsonschema.validate(example, json.loads(schema.read_text()))


def test_the_text_of_a_number_is_unchanged(stub):
    stub.has({f"gpu.{i}": text for i, text in enumerate(NUMBERS)})
    done = stub(devices="gpu:0")
    assert len(up(samples(done.stdout))) == 1
    lines = done.stdout.decode().splitlines()
    for i, text in enumerate(NUMBERS):
        line = f'boardctl_property{{kind="gpu",device="0",property="gpu.{i}"}} {text}'
        assert line in lines
    (device,) = parsed(stub("--format", "json", devices="gpu:0").stdout)["devices"]
    for i, text in enumerate(NUMBERS):
        answer = device["properties"][f"gpu.{i}"]
        assert (answer["text"], float(answer["number"])) == (text, float(text))


def test_what_is_no_number_never_is_one(stub):
    stub.has({f"gpu.{i}": text for i, text in enumerate(NO_NUMBERS)})
    done = stub(devices="gpu:0")
    found = samples(done.stdout)
    assert not [key for key in found if key[0] == "boardctl_property"]
    assert value(found, "boardctl_values_not_numeric") == len(NO_NUMBERS)
    assert value(found, "boardctl_up") == 1
    (device,) = parsed(stub("--format", "json", devices="gpu:0").stdout)["devices"]
    for i, text in enumerate(NO_NUMBERS):
        text = "1" * 10240 if text == "without NUL" else text
        shown = "".join(
            f"\\x{ord(c) - 0xDC00:02X}" if "\udc80" <= c <= "\udcff" else c for c in text
        )
        assert device["properties"][f"gpu.{i}"] == {"text": shown}


def test_hostile_names_are_labels_and_keys(stub):
    stub.has(dict.fromkeys(HOSTILE_NAMES, "1"))
    found = samples(stub(devices="gpu:0").stdout)
    named = {dict(key[1:])["property"] for key in found if key[0] == "boardctl_property"}
    expected = {name.replace("\n", "\\x0A").replace("\udcff", "\\xFF") for name in HOSTILE_NAMES}
    assert named == expected and len(expected) == len(HOSTILE_NAMES)
    assert value(found, "boardctl_up") == 1
    (device,) = parsed(stub("--format", "json", devices="gpu:0").stdout)["devices"]
    assert set(device["properties"]) == expected


def test_names_that_cannot_be_told_apart_are_one(stub):
    stub.file.write_bytes(b"gpu.a\0001\0gpu.a\0002\0gpu.\xff\0003\0gpu.\\xFF\0004\0")
    found = samples(stub(devices="gpu:0").stdout)
    values = {dict(k[1:])["property"]: v for k, v in found.items() if k[0] == "boardctl_property"}
    assert values == {"gpu.a": 1, "gpu.\\xFF": 3}


@pytest.mark.parametrize(
    ("places", "text", "scaled"),
    [
        (0, "007", "7"),
        (0, "+1.50", "1.50"),
        (-3, "123456", "123.456"),
        (-3, "5", "0.005"),
        (-3, "-12.5", "-0.0125"),
        (3, "1.5", "1500"),
        (3, "-0.0001", "-0.1"),
        (2, "1.2345", "123.45"),
        (18, "1", "1" + "0" * 18),
        (-18, "1", "0." + "0" * 17 + "1"),
        (2, "0", "0"),
        (-2, "9" * 32, "9" * 30 + ".99"),
    ],
)
def test_scaling_moves_the_point(stub, places, text, scaled):
    stub.has({"gpu.a": text})
    rules = stub.folder / "names.json"
    rules.write_text(
        json.dumps(
            {"metrics": {"a_volts": {"help": "A\n\\ help", "properties": {"gpu.*": places}}}}
        )
    )
    done = stub("--names", rules, devices="gpu:0")
    samples(done.stdout)
    line = f'a_volts{{kind="gpu",device="0",property="gpu.a"}} {scaled}'
    assert line in done.stdout.decode().splitlines()
    json_text = stub("--names", rules, "--format", "json", devices="gpu:0").stdout
    parsed(json_text)
    assert f'"value":{scaled}}}' in json_text.decode()


def test_failures_are_counted_and_have_no_sample(stub):
    found = samples(stub(fault="read fails", devices="gpu:6-7").stdout)
    assert up(found) == {6}
    assert value(found, "boardctl_device_read_failures", device="7", code="23") == 2
    assert not [k for k in found if k[0] == "boardctl_property" and ("device", "7") in k]
    document = parsed(stub("--format", "json", fault="read fails", devices="gpu:7").stdout)
    assert document["devices"][0]["properties"] == {"gpu.a": {"code": 23}, "gpu.b": {"code": 23}}
    document = parsed(stub("--format", "json", fault="list fails", devices="gpu:7").stdout)
    assert document["devices"][0] == {
        "kind": "gpu", "device": 7, "up": False, "skipped": False, "code": 4, "properties": {}
    }  # fmt: skip


def test_the_mode_is_passed_on(stub):
    stub.has({"gpu.a": "mode"})
    for mode in 0, 1:
        assert (
            value(samples(stub("--mode", mode, devices="gpu:0").stdout), "boardctl_property")
            == mode
        )


def test_labels_are_added_to_everything(stub):
    label = 'a "quoted"\\ text\nof two lines, é'
    found = samples(stub("--label", f"site={label}", "--label", "rack=7").stdout)
    assert all(("site", label) in key and ("rack", "7") in key for key in found)
    labels = parsed(stub("--label", f"site={label}", "--format", "json").stdout)["labels"]
    assert labels == {"site": label}


def test_only_matching_properties_are_read(stub):
    stub.has({"gpu.a.x": "1", "gpu.b.x": "2", "gpu.b.y": "3", "gpu.c": "4"})
    found = samples(stub("--properties", "gpu.*.y,gpu.a*", devices="gpu:0").stdout)
    named = {dict(key[1:])["property"] for key in found if key[0] == "boardctl_property"}
    assert named == {"gpu.b.y", "gpu.a.x"}


def test_the_library_cannot_print_into_the_output(stub):
    done = stub(fault="init print")
    assert len(up(samples(done.stdout))) == 8
    assert done.stderr == "printed by the library\n"


def test_more_than_the_memory_of_both_processes_holds(stub):
    long = "x" * 10239
    stub.has({f"gpu.{i}": long for i in range(300)})
    devices = parsed(stub("--format", "json", devices="gpu:0-2").stdout)["devices"]
    assert [len(device["properties"]) for device in devices] == [300] * 3
    assert all(a == {"text": long} for d in devices for a in d["properties"].values())
