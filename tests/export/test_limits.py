"""A library that hangs or crashes costs nothing but the device that it happens with."""

import pytest
from exporting import EXAMPLES, PLAIN, SIMULATED, alive, parsed, run, samples, up, value

FAILURES = {
    "hang": "timeout",
    "abort": "crash",
    "exit": "crash",
    "throw": "crash",
}


@pytest.mark.parametrize("form", ["prometheus", "json"])
def test_a_gpu_of_the_simulated_board_that_hangs(tmp_path, form):
    words = ["-p", EXAMPLES / "broken/hangs_profile.json", "--devices", "gpu:0-7,hsc:0-9"]
    done = run(*SIMULATED, *words, "--read-timeout", "10", "--timeout", "100", "--format", form)
    assert done.returncode == 0
    assert done.stderr == "boardctl-export: gpu 7: gpu.pcie.vendorId: no answer within 10 seconds\n"
    if form == "prometheus":
        found = samples(done.stdout)
        healthy = samples(run(*SIMULATED, "--devices", "gpu:0-6,hsc:0-9").stdout)
        read = {key for key in healthy if key[0] == "boardctl_property"}
        assert {key for key in found if key[0] == "boardctl_property"} == read
        assert value(found, "boardctl_collection_seconds") < 100
        assert value(found, "boardctl_device_up", kind="gpu", device="7") == 0
        assert sum(v for k, v in found.items() if k[0] == "boardctl_device_up") == 17
    else:
        devices = parsed(done.stdout)["devices"]
        assert [device["up"] for device in devices] == [True] * 7 + [False] + [True] * 10
        assert devices[7]["properties"] == {"gpu.pcie.vendorId": {"failure": "timeout"}}


@pytest.mark.parametrize("fault", FAILURES)
def test_a_read_that_does_not_return(stub, fault):
    done = stub(fault=f"read {fault}")
    found = samples(done.stdout)
    assert (done.returncode, up(found)) == (0, {0, 1, 2, 3, 4, 5, 6})
    assert value(found, "boardctl_up") == 1
    assert value(found, "boardctl_device_read_failures", device="7", code=FAILURES[fault]) == 1
    assert sum(key[0] == "boardctl_property" for key in found) == 7 * len(PLAIN)
    assert "gpu 7: gpu.a: " in done.stderr
    assert not alive(stub.folder)


@pytest.mark.parametrize("devices", ["gpu:7,gpu:0-6", "gpu:3-7,gpu:0-2"])
def test_a_new_process_reads_the_rest(stub, devices):
    found = samples(stub(fault="read hang", devices=devices).stdout)
    assert up(found) == {0, 1, 2, 3, 4, 5, 6}


@pytest.mark.parametrize("place", ["init", "constructor"])
@pytest.mark.parametrize("fault", FAILURES)
def test_a_start_that_fails(stub, place, fault):
    done = stub("--timeout", "20", fault=f"{place} {fault}")
    found = samples(done.stdout)
    assert (done.returncode, value(found, "boardctl_up"), up(found)) == (0, 0, set())
    assert not [key for key in found if key[0] == "boardctl_property"]
    assert done.stderr.splitlines()[-1].startswith("boardctl-export: the library ")
    if fault == "hang":
        assert done.stderr.endswith("did not start within the 20 seconds of a round\n")
    document = parsed(stub("--timeout", "20", "--format", "json", fault=f"{place} {fault}").stdout)
    assert document["reason"] in done.stderr
    assert not alive(stub.folder)


def test_a_start_that_is_refused(stub):
    done = stub(fault="init fails")
    assert (done.returncode, value(samples(done.stdout), "boardctl_up")) == (0, 0)
    reason = "the library did not start: GPUManagerInit returned 14"
    assert done.stderr == f"boardctl-export: {reason}\n"
    done = run(*SIMULATED[2:], "--library", "/no/such/library", "--devices", "gpu:0")
    assert (done.returncode, value(samples(done.stdout), "boardctl_up")) == (0, 0)
    assert "the library did not start: /no/such/library: cannot open" in done.stderr


@pytest.mark.parametrize("fault", ["hang", "abort"])
def test_a_list_that_does_not_return_is_asked_for_once(stub, fault):
    done = stub(fault=f"list {fault}")
    found = samples(done.stdout)
    assert (done.returncode, up(found), value(found, "boardctl_up")) == (0, set(), 1)
    assert value(found, "boardctl_device_read_failures", device="0") == 1
    assert len(done.stderr.splitlines()) == 1 and "list of properties" in done.stderr


@pytest.mark.parametrize("fault", FAILURES)
def test_a_stop_that_fails_costs_nothing(stub, fault):
    done = stub(fault=f"stop {fault}")
    assert (done.returncode, len(up(samples(done.stdout)))) == (0, 8)
    assert not alive(stub.folder)


def test_a_round_that_takes_too_long_is_delivered(stub):
    # The clock passes half a minute: more than the round has, less than a read.
    words = ("--read-timeout", "50", "--timeout", "20")
    done = stub(*words, fault="read hang", devices="gpu:5-7,gpu:0")
    found = samples(done.stdout)
    assert (done.returncode, up(found)) == (0, {5, 6})
    assert done.stderr == "boardctl-export: not finished within 20 seconds\n"
    assert not alive(stub.folder)


def test_processes_of_the_library_are_killed_with_it(stub):
    assert up(samples(stub(fault="read start a process and hang").stdout)) == set(range(7))
    assert not alive(stub.folder)


@pytest.mark.parametrize("place", ["constructor", "init", "read"])
def test_what_the_library_writes_into_open_files_is_no_answer(stub, place):
    done = stub("--devices", "gpu:8", fault=f"{place} write")
    assert (done.returncode, len(up(samples(done.stdout)))) == (0, 9)


def test_what_the_library_writes_into_shared_memory_is_no_answer(stub):
    done = stub(fault="read damage")
    assert (done.returncode, "the library crashed: " in done.stderr) == (0, True)
    found = samples(done.stdout)
    # Answers that had not been taken yet are lost as well.
    assert up(found) < set(range(8))
    assert {number for key, number in found.items() if key[0] == "boardctl_property"} <= {1, 2.5}
    assert not alive(stub.folder)
