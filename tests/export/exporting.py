"""What the tests of boardctl-export share: its runs, and readers that check all that it writes."""

import json
import os
import pathlib
import re
import subprocess

import jsonschema
from built_program import EMULATOR, ROOT, SIM_LIBRARY, SKIP_WAIT, Boardctl
from limits import HANG
from prometheus_client.parser import text_string_to_metric_families

EXPORT = os.environ["BOARDCTL_EXPORT"]
LIBRARY = os.environ["BOARDCTL_EXPORT_LIBRARY"]
UNKILLABLE = os.environ["BOARDCTL_UNKILLABLE"]
EXAMPLES = ROOT / "examples"
SCHEMA = json.loads((ROOT / "schemas/export.schema.json").read_text())
MANIFEST = ("-m", str(EXAMPLES / "oob_manifest.json"))
SIMULATED = ("--library", str(SIM_LIBRARY), *MANIFEST)
# A property of each answer, and a fault in a read of GPU 7.
PLAIN = {"gpu.a": "1", "gpu.b": "2.5"}


def command(*words):
    return [
        EXPORT if str(word).endswith("/boardctl") else word for word in Boardctl(None).command()
    ] + [str(word) for word in words]


def environment(fault="", **more):
    return Boardctl.environment() | {"EXPORT_FAULT": fault} | more


class Stub:
    """The library of these tests, with these properties; hangs pass by a clock of their own."""

    def __init__(self, folder, properties=None):
        self.folder = folder
        self.file = folder / "properties"
        self.has(PLAIN if properties is None else properties)

    def has(self, properties):
        text = "".join(f"{name}\0{value}\0" for name, value in properties.items())
        self.file.write_bytes(text.encode("utf-8", "surrogateescape"))

    def words(self, *words, devices="gpu:0-7"):
        # A hang is half a minute, or a few of them.
        limits = ["--read-timeout", "20", "--timeout", "1000"]
        return ["--library", LIBRARY, *MANIFEST, "--devices", devices, *limits, *words]

    def environment(self, fault="", **more):
        own = {
            "EXPORT_PROPERTIES": str(self.file),
            "SKIP_WAIT_HALF_MINUTE": str(self.folder / "half a minute"),
        }
        return environment(fault, **(own | more))

    def __call__(self, *words, fault="", devices="gpu:0-7", **options):
        return run(
            *self.words(*words, devices=devices), environment=self.environment(fault), **options
        )


def run(*words, environment=None, **options):
    done = subprocess.run(
        command(*words), env=environment or Boardctl.environment(), timeout=HANG, check=False,
        **({"stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | options),
    )  # fmt: skip
    # The emulator says that a signal has ended the emulated program.
    done.stderr = re.sub(rb"qemu: uncaught target signal .*\n", b"", done.stderr or b"").decode()
    return done


def samples(text):
    """The samples of a text by name and labels, after two other readers have accepted it."""
    checked = subprocess.run(
        ["promtool", "check", "metrics"], input=text, capture_output=True, timeout=HANG, check=False
    )
    assert (checked.returncode, checked.stdout, checked.stderr) == (0, b"", b""), text
    found = {}
    types = re.findall(rb"^# TYPE (\S+) ", text, re.MULTILINE)
    assert len(types) == len(set(types)), "each family is in one piece"
    for family in text_string_to_metric_families(text.decode()):
        for sample in family.samples:
            key = (sample.name, *sorted(sample.labels.items()))
            assert key not in found and sample.timestamp is None, key
            assert sample.value == sample.value, "no sample is NaN"
            found[key] = sample.value
    return found


def value(found, name, **labels):
    """Of the one sample with these labels, and maybe others."""
    (sample,) = [
        number
        for key, number in found.items()
        if key[0] == name and set(labels.items()) <= set(key[1:])
    ]
    return sample


def up(found):
    """The numbers of the devices that are up."""
    return {
        int(dict(key[1:])["device"])
        for key, number in found.items()
        if key[0] == "boardctl_device_up" and number == 1
    }


def parsed(text):
    document = json.loads(text)
    jsonschema.validate(document, SCHEMA)
    return document


def alive(pattern):
    """The processes whose environment or command holds the text, which is a folder of a test."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            seen = (entry / "cmdline").read_bytes() + (entry / "environ").read_bytes()
            state = (entry / "stat").read_text().rpartition(")")[2].split()[0]
        except OSError:
            continue
        if str(pattern).encode() in seen and state != "Z":
            found.append(int(entry.name))
    return found


__all__ = [
    "EMULATOR",
    "EXAMPLES",
    "EXPORT",
    "HANG",
    "MANIFEST",
    "PLAIN",
    "ROOT",
    "SIMULATED",
    "SIM_LIBRARY",
    "SKIP_WAIT",
    "Stub",
    "UNKILLABLE",
    "alive",
    "command",
    "environment",
    "parsed",
    "run",
    "samples",
    "up",
    "value",
]
