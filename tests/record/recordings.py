"""Recordings made by hand, and boardctl-journal, which reads them."""

import json
import os
import subprocess

from built_program import EMULATOR, Run
from limits import HANG

JOURNAL = [*EMULATOR, os.environ["BOARDCTL_JOURNAL"]]
COMMANDS = {"check": (), "scan": (), "redact": ("new.jsonl",), "board": ("board",)}
HEADER = {"journal": 2, "clock": "monotonic"}
SERIAL = "gpu.inventory.serialNumber"
# As the words of a reply.
WORDS = list(b"serial VG26041001 " + b"\0" * 2)
BYTES = [int.from_bytes(WORDS[i : i + 4], "little") for i in range(0, len(WORDS), 4)]


def journal(folder, *words, **options):
    done = subprocess.run(
        [*JOURNAL, *words], cwd=folder, capture_output=True, timeout=HANG, check=False, **options
    )
    return Run(done.stdout.decode(), done.stderr.decode(), done.returncode)


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


def records(folder, name):
    return [json.loads(line) for line in (folder / name).read_text().splitlines() if line.strip()]
