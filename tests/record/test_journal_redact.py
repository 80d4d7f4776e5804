"""boardctl-journal redact: pseudonyms in the place of identities."""

import re
import stat
import subprocess

from limits import HANG
from recordings import BYTES, HEADER, JOURNAL, SERIAL, WORDS, Recording, journal, records


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


def test_redact_learns_from_calls_that_failed(recording, tmp_path):
    recording.get(0, SERIAL, "VG26041001", code=5).get(0, "gpu.info", "VG26041001").end().write()
    assert journal(tmp_path, "redact", "calls.jsonl", "new.jsonl").status == 0
    assert "VG26041001" not in (tmp_path / "new.jsonl").read_text()
    nothing = "new.jsonl: nothing looks like an identity\n"
    assert journal(tmp_path, "scan", "new.jsonl") == (nothing, "", 0)


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
