"""The output file is the old one or the new one, whatever happens."""

import contextlib
import fcntl
import os
import pathlib
import resource
import signal
import stat
import subprocess
import tempfile
import time

import pytest
from exporting import HANG, Stub, alive, command, parsed, run, samples, up

OLD = b"old\n"


@pytest.fixture
def output(tmp_path):
    (tmp_path / "out").mkdir()
    return tmp_path / "out/board.prom"


def until(condition):
    end = time.monotonic() + HANG
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.01)


def content(file):
    return file.read_bytes() if file.exists() else b""


@contextlib.contextmanager
def started(stub, *words, fault="", **options):
    process = subprocess.Popen(
        command(*stub.words(*words)),
        env=stub.environment(fault, **options),
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
    )
    try:
        yield process
    finally:
        process.kill()
        process.communicate(timeout=HANG)


def test_the_file_is_new_readable_and_alone(stub, output):
    output.write_bytes(OLD)
    output.chmod(0o600)
    old = output.stat().st_ino
    done = stub("--output", output, umask=0o077)
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", "")
    assert len(up(samples(output.read_bytes()))) == 8
    assert stat.S_IMODE(output.stat().st_mode) == 0o644 and output.stat().st_ino != old
    assert set(os.listdir(output.parent)) == {"board.prom", "board.prom.lock"}


def test_what_an_earlier_run_left_is_gone(stub, output):
    (output.parent / "board.prom.tmp").write_text("half")
    assert stub("--output", output).returncode == 0
    assert set(os.listdir(output.parent)) == {"board.prom", "board.prom.lock"}


def test_a_temporary_file_that_is_a_link_is_not_followed(stub, output):
    other = output.parent / "other"
    other.write_bytes(OLD)
    (output.parent / "board.prom.tmp").symlink_to(other)
    done = stub("--output", output)
    assert done.returncode == 1 and "board.prom.tmp: Too many levels" in done.stderr
    assert other.read_bytes() == OLD


def limit_size():
    resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))


def test_a_file_that_may_not_grow(stub, output):
    output.write_bytes(OLD)
    done = stub("--output", output, preexec_fn=limit_size)
    assert (done.returncode, done.stderr) == (1, f"boardctl-export: {output}.tmp: File too large\n")
    assert output.read_bytes() == OLD
    assert set(os.listdir(output.parent)) == {"board.prom", "board.prom.lock"}


def test_a_full_disk(stub, output):
    """In a mount namespace of its own, with 16 KiB for files."""
    stub.has({f"gpu.property{i:04}": "1" for i in range(300)})
    folder = output.parent
    script = (
        'mount -t tmpfs -o size=16k none "$0" && echo old >"$0/board.prom" && { "$@"; echo $?; '
        'cat "$0/board.prom"; ls "$0"; }'
    )
    done = subprocess.run(
        ["unshare", "--map-root-user", "--mount", "sh", "-c", script, folder]
        + command(*stub.words("--output", output)),
        env=stub.environment(), capture_output=True, text=True, timeout=HANG, check=False,
    )  # fmt: skip
    assert done.stdout == "1\nold\nboard.prom\nboard.prom.lock\n"
    assert done.stderr == f"boardctl-export: {output}.tmp: No space left on device\n"


def test_a_full_standard_output(stub):
    with open("/dev/full", "wb") as full:
        done = stub(stdout=full)
    assert (done.returncode, done.stderr) == (
        1,
        "boardctl-export: standard output: No space left on device\n",
    )


def test_a_folder_without_permission():
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        stub = Stub(folder)
        folder.chmod(0o755)
        closed = folder / "closed"
        closed.mkdir()
        (closed / "board.prom").write_bytes(OLD)
        (closed / "board.prom.lock").touch()
        (closed / "board.prom.lock").chmod(0o666)
        closed.chmod(0o555)
        user = {"user": 65534} if os.geteuid() == 0 else {}
        done = stub("--output", closed / "board.prom", **user)
        assert done.returncode == 1
        assert done.stderr == f"boardctl-export: {closed}/board.prom.tmp: Permission denied\n"
        assert (closed / "board.prom").read_bytes() == OLD
        (closed / "board.prom.lock").unlink()
        done = stub("--output", closed / "board.prom", **user)
        assert done.stderr == f"boardctl-export: {closed}/board.prom.lock: Permission denied\n"
        closed.chmod(0o755)


def test_one_instance_for_each_file(stub, output):
    output.write_bytes(OLD)
    with open(f"{output}.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        done = stub("--output", output)
        assert done.returncode == 1
        assert done.stderr.startswith(f"boardctl-export: {output}.lock: held by another instance")
        assert output.read_bytes() == OLD
        assert stub("--output", output.with_name("other.prom")).returncode == 0
    assert stub("--output", output).returncode == 0


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
@pytest.mark.parametrize("fault", ["", "read hang"])
def test_a_clean_end_removes_the_file(stub, output, number, fault):
    with started(stub, "--output", output, "--every", "1000", fault=fault) as process:
        until(output.exists)
        process.send_signal(number)
        assert process.wait(timeout=HANG) == 0
    assert os.listdir(output.parent) == ["board.prom.lock"]
    assert not alive(stub.folder)


@pytest.mark.parametrize("place", ["init", "read", "list"])
def test_an_end_before_the_first_collection(stub, output, place):
    # Without the clock that lets hangs pass.
    with started(
        stub, "--output", output, fault=f"{place} hang", SKIP_WAIT_HALF_MINUTE=""
    ) as process:
        until(lambda: len(alive(stub.folder)) == 2)
        process.send_signal(signal.SIGTERM)
        assert process.wait(timeout=HANG) == 1
    assert not output.exists() and not alive(stub.folder)


def test_the_parent_is_killed_at_any_moment(stub, output):
    """The file is whole, no process is left, and no temporary file stays after the next round."""
    stub.has({f"gpu.property{i:04}": "1" for i in range(100)})
    for wait in range(0, 60, 2):
        output.write_bytes(OLD)
        with started(stub, "--output", output, "--format", "json", "--every", "0.001") as process:
            time.sleep(wait / 1000)
            process.kill()
            process.wait(timeout=HANG)
        text = output.read_bytes()
        assert text == OLD or len(parsed(text)["devices"]) == 8
        until(lambda: not alive(stub.folder))
    assert stub("--output", output).returncode == 0
    assert set(os.listdir(output.parent)) == {"board.prom", "board.prom.lock"}


def test_a_hanging_library_dies_with_its_parent(stub, output):
    with started(stub, "--output", output, fault="read hang", SKIP_WAIT_HALF_MINUTE="") as process:
        until(lambda: len(alive(stub.folder)) == 2)
        process.kill()
    until(lambda: not alive(stub.folder))
    assert run(*stub.words("--output", output), environment=stub.environment()).returncode == 0


def test_the_child_is_killed_at_any_moment(stub, output):
    words = ("--output", output, "--format", "json", "--every", "0.001")
    with started(stub, *words) as process:
        for wait in range(0, 60, 2):
            until(lambda: len(alive(stub.folder)) == 2)
            time.sleep(wait / 1000)
            for child in set(alive(stub.folder)) - {process.pid}:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(child, signal.SIGKILL)
            if text := content(output):
                assert len(parsed(text)["devices"]) == 8
        until(lambda: content(output) and all(d["up"] for d in parsed(content(output))["devices"]))
        process.send_signal(signal.SIGTERM)
        assert process.wait(timeout=HANG) == 0
