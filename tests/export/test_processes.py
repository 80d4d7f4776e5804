"""Many rounds in one process, and a process that cannot be killed."""

import signal
import subprocess

from exporting import HANG, PLAIN, SKIP_WAIT, UNKILLABLE, Stub, alive, command, samples, up, value

LAST = b"boardctl_collected_timestamp_seconds "


def rounds(stream):
    """The texts of one round after the other."""
    text = b""
    for line in stream:
        text += line
        if line.startswith(LAST):
            yield text
            text = b""


def started(stub, *words, fault, **more):
    return subprocess.Popen(
        command(*stub.words(*words)),
        env=stub.environment(fault, **more),
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    )


def test_a_gpu_that_hangs_at_every_read_for_a_thousand_rounds(stub):
    with started(stub, "--every", "0.001", fault="read hang") as process:
        lost, asked = [], 0
        for count, text in enumerate(rounds(process.stdout), 1):
            assert text.count(b"\nboardctl_property{") == 7 * len(PLAIN)
            assert text.count(b'\nboardctl_device_up{kind="gpu",device=') == 8
            assert b'device_up{kind="gpu",device="7"} 0' in text and b"\nboardctl_up 1\n" in text
            skipped = b'device_skipped{kind="gpu",device="7"} 1' in text
            asked += not skipped
            if b'code="timeout"' in text:
                lost.append(count)
            if count == 1000:
                break
        found = samples(text)
        assert up(found) == set(range(7))
        assert len(alive(stub.folder)) <= 2
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=HANG)
    assert process.returncode == 0
    assert lost[0] == 1 and len(lost) == asked < 40, "the intervals grow"
    waits = [float(line.split()[-2]) for line in errors.decode().splitlines()]
    assert waits[:4] == [0.001, 0.002, 0.004, 0.008]
    assert not alive(stub.folder)


def test_the_manager_is_started_once(stub):
    with started(stub, "--every", "0.001", fault="init print") as process:
        for count, text in enumerate(rounds(process.stdout), 1):
            if count == 20:
                break
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=HANG)
    assert len(up(samples(text))) == 8
    assert errors.count(b"printed by the library") == 1


def test_a_process_that_cannot_be_killed(tmp_path):
    stub = Stub(tmp_path)
    mark = tmp_path / "unkillable"
    mark.touch()
    preload = {"LD_PRELOAD": f"{SKIP_WAIT}:{UNKILLABLE}", "UNKILLABLE": str(mark)}
    with started(stub, "--every", "0.001", fault="read hang", **preload) as process:
        texts = rounds(process.stdout)
        first = samples(next(texts))
        assert value(first, "boardctl_up") == 0 and up(first) == set(range(7))
        assert sum(key[0] == "boardctl_property" for key in first) == 7 * len(PLAIN)
        hanging = set(alive(tmp_path)) - {process.pid}
        assert len(hanging) == 1
        for _ in range(3):
            found = samples(next(texts))
            assert value(found, "boardctl_up") == 0 and up(found) == set()
            assert set(alive(tmp_path)) - {process.pid} == hanging, "no second one"
        mark.unlink()
        for text in texts:
            if b"\nboardctl_up 1\n" in text:
                break
        assert set(alive(tmp_path)) - {process.pid} != hanging
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=HANG)
    (child,) = hanging
    line = f"process {child}, which runs the library, cannot be killed; no other one is started"
    assert errors.decode().count(line) == 1
    assert not alive(tmp_path)
