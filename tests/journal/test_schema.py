"""The schema of a journal's lines and the reader accept and reject the same."""

import copy
import json
import os
import pathlib
import shlex
import subprocess

import jsonschema
import pytest
from limits import HANG

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROBE = [*shlex.split(os.environ.get("BOARDCTL_EMULATOR", "")), os.environ["JOURNAL_PROBE"]]
SCHEMA = json.loads((ROOT / "schemas/journal.schema.json").read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)
HEADER = (
    '{"journal":2,"clock":"monotonic","arguments":["boardctl","shell"],"tool":"0a","library":"0b",'
    '"redacted":true,"seed":1}'
)
LINES = [
    '{"n":1,"at":0,"call":"GPUSetLogger","args":{"file":"x"},"code":0,"took":0}',
    '{"n":1,"at":0,"call":"GPUSetLogLevel","args":{"level":3},"code":0,"took":0}',
    '{"n":1,"at":0,"call":"GPUManagerInit","manifest":"","profile":"","properties":"","fault":0,'
    '"code":0,"took":0}',
    '{"n":1,"at":5,"call":"DeviceGetSupportedProperties","args":{"type":0,"size":9,"text":"a",'
    '"unterminated":1},"code":0,"took":1}',
    '{"n":1,"at":5,"call":"DeviceGetAllSupportedProperties","args":{"size":9,"text":"a"},"code":0,'
    '"took":1}',
    '{"n":1,"at":5,"call":"DeviceClearData","args":{"device":-1,"property":"\\u00ff","reserved0":0},'
    '"hang":1}',
    '{"n":1,"at":5,"call":"DeviceGetData","args":{"device":1,"property":"p","reserved0":0,'
    '"reserved1":0,"size":8,"mode":0,"reserved2":0}}',
    '{"rule":0,"fired":1}',
    '{"end":"exit","status":0,"calls":12}',
]


def recorded():
    """One line for each entry point and kind of line of a session on the simulated board."""
    lines = (ROOT / "tests/golden/repeatable/session.jsonl").read_text().splitlines()
    samples = {}
    for line in lines:
        document = json.loads(line)
        samples.setdefault(document.get("call", next(iter(document))), line)
    assert len(samples) > 12
    return list(samples.values())


def mutants(document):
    """The document with one thing wrong, or with something unknown in it."""
    yield dict(document, colour="green")
    for name, value in document.items():
        less = copy.deepcopy(document)
        del less[name]
        yield less
        for wrong in (None, [], {}, True, "x", -1, 1.5, [1], 1 << 64):
            yield dict(document, **{name: wrong})
        if isinstance(value, dict):
            yield from (dict(document, **{name: mutant}) for mutant in mutants(value))


def verdicts(folder, texts):
    files = []
    for number, text in enumerate(texts):
        files.append(folder / f"{number}.jsonl")
        files[-1].write_text(text)
    done = subprocess.run(
        PROBE,
        input="".join(f"{file}\n" for file in files),
        capture_output=True,
        text=True,
        timeout=HANG,
        check=True,
    )
    return done.stdout.splitlines()


def test_the_schema_is_one():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)


@pytest.mark.parametrize("line", [HEADER, *LINES, *recorded()], ids=lambda line: line[:60])
def test_schema_and_reader_agree(tmp_path, line):
    document = json.loads(line)
    VALIDATOR.validate(document)
    changed = list(mutants(document))
    before = "" if line == HEADER else HEADER + "\n"
    texts = [line, *(json.dumps(mutant) for mutant in changed)]
    said = verdicts(tmp_path, [f"{before}{text}\n" for text in texts])
    assert said[0] == "ok"
    valid = [VALIDATOR.is_valid(mutant) for mutant in changed]
    assert True in valid and False in valid
    place = ":1:" if line == HEADER else ":2:"
    differ = [
        (text, answer)
        for text, ok, answer in zip(texts[1:], valid, said[1:], strict=True)
        if ok != (answer == "ok") or not (ok or place in answer)
    ]
    assert differ == []


def test_what_the_simulated_board_writes_is_valid():
    lines = (ROOT / "tests/golden/repeatable/session.jsonl").read_text().splitlines()
    assert len(lines) > 20
    for line in lines:
        VALIDATOR.validate(json.loads(line))
