"""The schemas accept what the library accepts, and refuse what it refuses."""

import copy
import itertools
import json
import os
import pathlib
import re
import shlex
import subprocess

import jsonschema
import pytest
from limits import HANG

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROBE = [*shlex.split(os.environ.get("BOARDCTL_EMULATOR", "")), os.environ["SIM_PROBE"]]
KINDS = ("manifest", "profile", "properties")
# The other file is for boardctl-export.
EXAMPLES = sorted(set((ROOT / "examples").rglob("*.json")) - {ROOT / "examples/export_names.json"})


def kind_of(path):
    return path.stem.rsplit("_", 1)[-1]


def schema(name):
    return json.loads((ROOT / "schemas" / f"{name}.schema.json").read_text())


def validator(kind):
    """Resolves references between the files as an editor does, from the place of the schema."""
    jsonschema.Draft202012Validator.check_schema(schema(kind))
    folder = (ROOT / "schemas").as_uri() + "/"
    resolver = jsonschema.RefResolver(folder, schema(kind))
    return jsonschema.Draft202012Validator(schema(kind), resolver=resolver)


VALIDATORS = {kind: validator(kind) for kind in KINDS}


def library_codes(kind, files, beside=None):
    """The library's code for each file, with the built-in files or others beside it."""
    lines = []
    for file in files:
        lines += [str(file if kind == other else (beside or {}).get(other, "")) for other in KINDS]
    done = subprocess.run(
        PROBE,
        input="\n".join(lines) + "\n",
        capture_output=True,
        text=True,
        timeout=HANG,
        check=True,
    )
    return [int(code) for code in done.stdout.split()], done.stderr


def places(value, path=()):
    """All values inside a document, each with the way to it."""
    yield path, value
    items = (
        value.items()
        if isinstance(value, dict)
        else enumerate(value)
        if isinstance(value, list)
        else ()
    )
    for key, item in items:
        yield from places(item, path + (key,))


def replaced(document, path, new):
    document = copy.deepcopy(document)
    target = document
    for key in path[:-1]:
        target = target[key]
    target[path[-1]] = new
    return document


def mutants(document):
    """One wrong thing each: an unknown key in an object, or a value of another type."""
    free = {"properties", "records"}  # objects whose keys are names of the user's own
    for path, value in places(document):
        if isinstance(value, dict) and not (path and path[-1] in free):
            if "overrides" in path[:1] and len(path) == 1:
                continue
            extended = dict(value, colour="green")
            yield f"unknown key in {path}", replaced(document, path, extended) if path else extended
        if not path:
            continue
        for wrong in (None, [], {}, True):
            if type(wrong) is type(value):
                continue
            yield f"{wrong} at {path}", replaced(document, path, wrong)


@pytest.mark.parametrize("path", EXAMPLES, ids=lambda p: p.name)
def test_examples_are_accepted_by_both(path):
    kind = kind_of(path)
    document = json.loads(path.read_text())
    VALIDATORS[kind].validate(document)
    assert document["about"], "each example says what it shows"
    assert (path.parent / document["$schema"]).resolve() == ROOT / "schemas" / f"{kind}.schema.json"
    codes, said = library_codes(kind, [path])
    expected = 23 if "refuses_to_start" in path.name else 0
    assert (codes, said) == ([expected], "")


@pytest.mark.parametrize(
    "path", [p for p in EXAMPLES if p.name != "oob_properties.json"], ids=lambda p: p.name
)
def test_mutants_are_refused_by_both(path, tmp_path):
    kind = kind_of(path)
    document = json.loads(path.read_text())
    files, names = [], []
    for name, mutant in mutants(document):
        file = tmp_path / f"{len(files)}.json"
        file.write_text(json.dumps(mutant))
        files.append(file)
        names.append((name, VALIDATORS[kind].is_valid(mutant)))
    codes, said = library_codes(kind, files)
    assert len(codes) == len(files) > 5
    disagreements = [
        name for (name, valid), code in zip(names, codes) if valid != (code in (0, 23))
    ]
    assert disagreements == []
    refusals = [line for line in said.splitlines()]
    assert len(refusals) == sum(code == 14 for code in codes), "one line for each refusal"
    assert all(f"{tmp_path}/" in line and ":1:" in line for line in refusals)


def test_the_schemas_name_the_devices_of_the_library():
    kinds = re.findall(r'\{"(\w+)", DeviceType::', (ROOT / "devmgr/device_type.h").read_text())
    common = schema("common")["$defs"]
    assert common["kind"]["enum"] == kinds
    assert common["devices"]["pattern"].startswith(f"^({'|'.join(kinds)})(")


PROPERTY = {"manifest": "gpu.a", "properties": "gpu.a", "profile": "gpu.power.consumption"}
EVENTS = {
    "set": "gpu.a", "clear": "gpu.a", "drop": "gpu*", "restore": "gpu0", "burst": "gpu.a",
    "lose": "gpu.a", "device": "gpu1", "value": 1, "count": 2,
}  # fmt: skip
VALUES = {
    "value": 1, "serial": "S#", "counter": 1, "walk": [0, 1], "sum": "gpu.a",
    "average": ["gpu.a"], "highest": "gpu.a", "integral": "gpu.a", "page": 0, "of": "r",
    "first": 1, "perSecond": 1, "periodMs": 1, "scale": 1, "offset": 1, "precision": 1, "hex": 1,
    "names": ["off", "on"], "access": "rw", "range": [0, 1], "unit": "W", "device": "gpu",
}  # fmt: skip

OPERATIONS = [
    "init", "list", "get", "set", "clear", "snapshot", "set_callback", "raw", "rawSyncCmd",
    "rawAsyncCmd", None,
]  # fmt: skip
SELECTORS = [
    {"device": "*"}, {"device": "gpu0"}, {"device": "fpga*"}, {"device": "hsc*"},
    {"property": "*"}, {"property": "*.*"}, {"accessMode": 0}, {"fromMs": 1}, {"untilMs": 1},
    {"every": 2}, {"times": 1}, {"probability": 0},
]  # fmt: skip
EFFECTS = [
    {}, {"code": 0}, {"delayMs": 1}, {"hang": True}, {"hang": False}, {"text": "empty"},
    {"dropMs": 0}, {"storm": 1}, {"code": 0, "hang": False},
]  # fmt: skip


def faults():
    for operation, effect in itertools.product(OPERATIONS, EFFECTS):
        for selector in [{}, *SELECTORS]:
            rule = {**selector, **effect}
            yield {"operation": operation, **rule} if operation else rule


def combinations(members, length):
    for count in range(1, length + 1):
        for keys in itertools.combinations(members, count):
            yield {key: members[key] for key in keys}


@pytest.fixture(scope="module")
def small(tmp_path_factory):
    """Files that are read in no time, for tests with thousands of others."""
    folder = tmp_path_factory.mktemp("small")
    names = "gpu.power.consumption fpga.firmware.writeProtectModePage1 hsc.power.consumption"
    contents = {
        "manifest": {"board": "b", "devices": {"gpu": 2, "fpga": 1, "hsc": 1}},
        "properties": {"properties": dict.fromkeys(names.split(), 1)},
    }
    for kind, content in contents.items():
        (folder / kind).write_text(json.dumps(content))
    return {kind: folder / kind for kind in contents}


def test_both_agree_on_every_combination_of_keys(tmp_path, small):
    """But for a few that the schema need not know: what is no number has no number format, and
    what is computed cannot be written."""
    texts, computed = {"serial", "page"}, {"sum", "average", "highest", "integral"}
    numeric = {"precision", "hex", "names", "range"}
    records = {"r": {"entriesPerPage": 1, "entries": [1]}}
    cases = {
        "properties": [
            {"records": records, "properties": {"gpu.a": 1, "gpu.b": value}}
            for value in combinations(VALUES, 3)
            if not (texts & value.keys() and numeric & value.keys())
            and not ((texts | computed) & value.keys() and "access" in value)
        ],
        "manifest": [
            {"board": "b", "devices": {"gpu": 2}, "overrides": {name: {"absent": False}}}
            for name in ("gpu0", "gpu1", "gpu01", "gpu", "gpu*", "*", "nic0")
        ],
        "profile": [
            *({"timeline": [{"atMs": 1, **event}]} for event in combinations(EVENTS, 4)),
            *({"faults": [rule]} for rule in faults()),
        ],
    }
    for kind, documents in cases.items():
        files = [tmp_path / f"{kind}{number}.json" for number in range(len(documents))]
        for file, document in zip(files, documents):
            file.write_text(json.dumps(document).replace("gpu.a", PROPERTY[kind]))
        codes, _ = library_codes(kind, files, small)
        valid = [VALIDATORS[kind].is_valid(document) for document in documents]
        assert True in valid and False in valid
        differ = [
            document for document, ok, code in zip(documents, valid, codes) if ok != (code == 0)
        ]
        assert differ == []


MOST = 9_000_000_000_000
SPAN, MOMENT = 3_600_000, 31_536_000_000
GPU_A = '{"properties": {"gpu.b": 1, "gpu.a": %s}}'
PROFILE = '{"%s": @}'
FAULT = '{"faults": [{"operation": "get", "hang": true, "%s": @}]}'
NUMBERS = [
    ("manifest", '{"board": "b", "devices": {"gpu": @}}', 0, 255),
    ("properties", GPU_A % "@", -MOST, MOST),
    ("properties", GPU_A % '{"value": @}', -MOST, MOST),
    ("properties", GPU_A % '{"serial": "#", "first": @}', 0, MOST),
    ("properties", GPU_A % '{"counter": @}', -MOST, MOST),
    ("properties", GPU_A % '{"counter": 0, "perSecond": @}', -MOST, MOST),
    ("properties", GPU_A % '{"walk": [@, @]}', -MOST, MOST),
    ("properties", GPU_A % '{"walk": [0, 1], "periodMs": @}', 1, 86_400_000),
    ("properties", GPU_A % '{"sum": "gpu.b", "scale": @}', -MOST, MOST),
    ("properties", GPU_A % '{"sum": "gpu.b", "offset": @}', -MOST, MOST),
    ("properties", GPU_A % '{"value": 1, "precision": @}', 0, 6),
    ("properties", GPU_A % '{"value": 1, "hex": @}', 1, 8),
    ("properties", GPU_A % '{"value": 1, "range": [@, @]}', -MOST, MOST),
    (
        "properties",
        '{"properties": {}, "records": {"r": {"entriesPerPage": @, "entries": []}}}',
        1,
        64,
    ),
    ("profile", PROFILE % "seed", 0, 2**63 - 1),
    ("profile", '{"clock": {"mode": "stepped", "stepMs": @}}', 1, SPAN),
    ("profile", '{"clock": {"mode": "scaled", "rate": @}}', 0.001, 1000),
    ("profile", PROFILE % "readyMs", 0, SPAN),
    ("profile", '{"snapshot": {"periodMs": @}}', 1, SPAN),
    ("profile", '{"snapshot": {"periodMs": %d, "refreshMs": @}}' % SPAN, 0, SPAN),
    ("profile", '{"latencyMs": {"gpu": @}}', 0, SPAN),
    ("profile", '{"callbacks": {"periodMs": @}}', 1, SPAN),
    ("profile", '{"mailbox": {"latencyMs": @}}', 0, SPAN),
    ("profile", '{"mailbox": {"timeoutMs": @}}', 1, SPAN),
    ("profile", '{"mailbox": {"selfTestMs": @}}', 1, SPAN),
    ("profile", FAULT % "accessMode", 0, 1),
    ("profile", FAULT % "fromMs", 0, MOMENT),
    ("profile", FAULT % "untilMs", 1, MOMENT),
    ("profile", FAULT % "probability", 0, 1),
    ("profile", FAULT % "every", 1, 1_000_000),
    ("profile", FAULT % "times", 1, 1_000_000),
    ("profile", FAULT % "code", -(2**31), 2**31 - 1),
    ("profile", FAULT % "delayMs", 1, SPAN),
    ("profile", FAULT % "dropMs", 0, MOMENT),
    ("profile", FAULT % "storm", 1, 10_000),
    ("profile", '{"timeline": [{"atMs": @, "drop": "gpu0"}]}', 0, MOMENT),
    (
        "profile",
        '{"timeline": [{"atMs": 1, "burst": "gpu.power.consumption", "device": "gpu0",'
        ' "count": @}]}',
        1,
        10_000,
    ),
]


@pytest.mark.parametrize(("kind", "text", "low", "high"), NUMBERS)
def test_both_know_the_limits_of_every_number(kind, text, low, high, tmp_path):
    below = "0.0009" if low == 0.001 else str(low - 1)
    spelled = [str(low), str(high), f"{low:.3f}", f"{high}e0", below, str(high + 1)]
    files = [tmp_path / f"{number}.json" for number in range(len(spelled))]
    for file, number in zip(files, spelled):
        file.write_text(text.replace("@", number))
    if high == 2**63 - 1:  # the schema's reader takes a number with an exponent for a rough one
        files[3].write_text(text.replace("@", str(high)))
    codes, said = library_codes(kind, files)
    assert codes == [0, 0, 0, 0, 14, 14], said
    valid = [VALIDATORS[kind].is_valid(json.loads(file.read_text())) for file in files]
    assert valid == [True, True, True, True, False, False]


RECORDING = """{"journal":2,"clock":"real"}
{"n":1,"at":0,"call":"GPUManagerInit","manifest":"","profile":"","properties":"","code":0,"took":0}
{"n":2,"at":0,"call":"GPUManagerStop","args":{},"code":0,"took":0}
"""
REPLAYS = {"journal": "PATH", "match": "inOrder", "pace": 1}
OTHERS = {"about": "a", "$schema": "s", "seed": 1, "journal": "j", "faults": []}


def test_both_agree_on_replays(tmp_path):
    (tmp_path / "j").write_text(RECORDING)
    documents = [
        {"replay": replay, **others}
        for replay in ({}, *combinations(REPLAYS, 3))
        for others in ({}, *combinations(OTHERS, 2))
    ]
    documents += [
        {"replay": {**REPLAYS, key: value}}
        for key in (*REPLAYS, "speed")
        for value in ("", "byRequest", "other", 0, 2, None, [], {}, True)
        if key != "journal" or value not in ("byRequest", "other")
    ]
    documents += [{"replay": value} for value in (None, "j", 1, [])]
    files = [tmp_path / f"{number}.json" for number in range(len(documents))]
    for file, document in zip(files, documents):
        file.write_text(json.dumps(document).replace("PATH", str(tmp_path / "j")))
    codes, said = library_codes("profile", files)
    valid = [VALIDATORS["profile"].is_valid(document) for document in documents]
    assert valid.count(True) > 10
    assert [code == 0 for code in codes] == valid
    assert len(said.splitlines()) == codes.count(14) == valid.count(False)
