"""The schemas accept what the library accepts, and refuse what it refuses."""

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
PROBE = [*shlex.split(os.environ.get("BOARDCTL_EMULATOR", "")), os.environ["SIM_PROBE"]]
KINDS = ("manifest", "profile", "properties")
EXAMPLES = sorted((ROOT / "examples").rglob("*.json"))


def kind_of(path):
    return path.stem.rsplit("_", 1)[-1]


def validator(kind):
    schema = json.loads((ROOT / "schemas" / f"{kind}.schema.json").read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


VALIDATORS = {kind: validator(kind) for kind in KINDS}


def library_codes(kind, files):
    """The library's code for each file, with built-in files beside it."""
    lines = []
    for file in files:
        lines += [str(file) if kind == other else "" for other in KINDS]
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
