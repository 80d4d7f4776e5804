"""A recorded session, replayed, prints the same bytes and ends with the same status."""

import re
import shutil
import subprocess
import time

import pytest
from built_program import BOARD, ROOT, STAMP, Boardctl
from replaying import RECORDING, ByTheBoard, ByTheRecorder, comparable, replay_words, replayer

BROKEN = sorted(
    path.name for path in (ROOT / "examples/broken").iterdir() if "hangs" not in path.name
)
SESSION = (ROOT / "tests/golden/shell_session.in").read_text()
WORDS = "0 0x04 0x01 0 0 0 0 0 0 0 0 0"
BYTES = "0x00 0x10 0x00 1 2 3 4 5 6 7 8 9 10 11"
COMMANDS = [
    "list gpu",
    "list all",
    "list toaster",
    "get gpu 0 gpu.inventory.gpuPartNumber 0",
    "get gpu 1 all 1",
    "get gpu 9 all 0",
    "get gpu 0 gpu.nothing 0",
    "set 0 gpu.firmware.writeProtectMode 1",
    "set 0 gpu.firmware.writeProtectMode 2",
    "clear 1 gpu.power.limit.total",
    "clear 1 gpu.inventory.serialNumber",
    "set_callback 0 GPUGetVendorIdV2",
    "set_callback 9 GPUGetVendorIdV2",
    f"raw gpu {WORDS}",
    f"raw korswitch {WORDS}",
    f"raw fpga {WORDS}",
    f"rawSyncCmd gpu {WORDS}",
    f"rawSyncCmd korswitch {WORDS}",
    f"rawSyncCmd fpga {WORDS}",
    f"rawAsyncCmd gpu 0 16 {BYTES}",
    f"rawAsyncCmd korswitch 0 16 {BYTES}",
    f"rawAsyncCmd gpu 9 16 {BYTES}",
]
# These go on without a manager, or do not need one.
SOME_COMMANDS = ["list gpu", "get gpu 2 all 1", "set_callback 2 GPUGetVendorIdV2"]
READS = "\n".join(
    f"get gpu {gpu} {name} {mode}"
    for gpu in range(8)
    for name in (
        "gpu.inventory.gpuPartNumber",
        "gpu.thermal.temperature.shutdownTemp",
        "gpu.thermal.temperature.primaryGPU.singlePrecision",
        "gpu.korlink.KORLinkStateV2",
        "gpu.dram.ecc.uncorrectable",
    )
    for mode in (0, 1)
)
UPDATES = """set_callback 0 GPUGetPowerConsumptionV2
get gpu 0 gpu.power.consumption
set 0 gpu.firmware.writeProtectMode 1
set_callback 0 GPUGetPowerConsumptionV2
get gpu 0 gpu.power.consumption
quit
"""


@pytest.fixture(params=[ByTheBoard, ByTheRecorder], ids=lambda way: way.__name__)
def way(request):
    """How a session is recorded."""
    return request.param


@pytest.fixture
def board(tmp_path):
    """The program in a folder with all example boards."""
    folder = tmp_path / "board"
    shutil.copytree(ROOT / "examples", folder, ignore=lambda *_: ["boardctl", "tour"])
    return Boardctl(folder)


def record(way, board, *words, **options):
    return way.program(board)(*way.words(board.folder, words), **options)


def replay(board, *words, settings=None, **options):
    player = replayer(board.folder.parent / "replay", board.folder)
    return player(*replay_words(player.folder, words, **settings or {}), **options)


def assert_same(way, board, *words, **options):
    recorded = record(way, board, *words, **options)
    assert (board.folder / RECORDING).stat().st_size > 0
    replayed = replay(board, *words, **options)
    assert comparable(replayed.stdout) == comparable(recorded.stdout)
    assert comparable(replayed.stderr) == comparable(recorded.stderr)
    assert replayed.status == recorded.status
    return recorded


@pytest.mark.parametrize("command", COMMANDS)
def test_command(way, board, command):
    assert_same(way, board, *BOARD, *command.split())


@pytest.mark.parametrize("level", [0, 4, 5])
def test_command_that_logs(way, board, level):
    command = "get gpu 0 gpu.inventory.gpuPartNumber 0".split()
    assert_same(way, board, *BOARD, "-l", str(level), *command)


def test_command_that_logs_to_a_file(way, board):
    words = [*BOARD, "-l", "4", "-L", "log", "get", "gpu", "0", "gpu.nothing", "0"]
    assert_same(way, board, *words)
    logs = [board.folder / "log", board.folder.parent / "replay/log"]
    recorded, replayed = (comparable(log.read_text()) for log in logs)
    assert replayed == recorded != ""


@pytest.mark.parametrize("level", [(), ("-l", "4")])
def test_shell(way, board, level):
    assert_same(way, board, *BOARD, *level, "shell", stdin=SESSION)


@pytest.mark.parametrize("example", BROKEN)
def test_broken_board(way, board, example):
    files = {"manifest": "oob_manifest.json", "properties": "oob_properties.json"}
    files[re.search("([a-z]+)[.]json", example)[1]] = f"broken/{example}"
    options = {"manifest": "-m", "properties": "-t", "profile": "-p"}
    words = [word for kind, file in files.items() for word in (options[kind], file)]
    for command in SOME_COMMANDS:
        assert_same(way, board, *words, *command.split())
    for level in ((), ("-l", "4")):
        assert_same(way, board, *words, *level, "shell", stdin=f"{READS}\nquit\n")


def test_a_text_without_an_end(way, board):
    words = [*BOARD, "-p", "broken/noisy_texts_profile.json"]
    run = assert_same(way, board, *words, *"get gpu 2 gpu.inventory.gpuPartNumber 0".split())
    assert run.stdout.count("#") > 10_000


def test_updates(way, board):
    (board.folder / "storm.json").write_text(
        """{"clock": {"mode": "stepped", "stepMs": 1000}, "callbacks": {"periodMs": 2000},
            "faults": [{"operation": "set", "times": 1, "storm": 3, "device": "gpu0"},
                       {"operation": "get", "every": 2, "storm": 2, "device": "gpu0"}]}"""
    )
    run = assert_same(way, board, *BOARD, "-p", "storm.json", "-l", "4", "shell", stdin=UPDATES)
    assert run.stdout.count("callbackAPI called") > 3


def test_another_order_of_updates_is_seen(way, board):
    """What the test above compares depends on the recorded updates."""
    test_updates(way, board)
    file = board.folder / RECORDING
    lines = [line for line in file.read_text().splitlines() if '"update"' not in line]
    file.write_text("\n".join(lines) + "\n")
    run = replay(board, *BOARD, "-l", "4", "shell", stdin=UPDATES)
    assert "callbackAPI called" not in run.stdout
    assert run.stderr == ""


def until_it_hangs(boardctl, words, hangs):
    """What the program prints until `hangs` says so of that. It is then killed."""
    printed = boardctl.folder / "printed"
    with printed.open("wb") as output:
        process = subprocess.Popen(
            boardctl.command(*words),
            cwd=boardctl.folder,
            env=boardctl.environment(),
            stdout=output,
            stderr=subprocess.STDOUT,
        )
        while not hangs(printed.read_text()):
            assert process.poll() is None, f"it ended: {printed.read_text()}"
            time.sleep(0.01)
        process.kill()
        process.wait()
    return printed.read_text()


def test_a_call_that_never_returns(way, board):
    words = [*BOARD, "-p", "broken/hangs_profile.json", "-l", "3"]
    words += "get gpu 7 gpu.pcie.maxWidth 0".split()
    # The rule is logged, and all before it written, just before the call hangs.
    recorded = until_it_hangs(
        way.program(board),
        way.words(board.folder, words),
        lambda printed: " fired " in printed and way.hangs(board.folder),
    )
    line = way.line_of_the_hang(board.folder)
    player = replayer(board.folder.parent / "replay", board.folder)
    sign = f"W{RECORDING}:{line}: this call never returned, nor does it now\n"
    words = replay_words(player.folder, words)
    replayed = until_it_hangs(player, words, lambda printed: sign in printed)
    assert comparable(replayed) == comparable(recorded) != ""


GET = "get gpu {} gpu.pcie.maxWidth"
LINES = [GET.format(0), GET.format(1), "set 0 gpu.firmware.writeProtectMode 1", GET.format(2)]


def shell(*lines):
    return "\n".join([*lines, "quit", ""])


def difference(board, lines, **settings):
    """What replaying other lines than the recorded ones prints."""
    recorded = record(ByTheBoard, board, *BOARD, "shell", stdin=shell(*LINES))
    assert recorded.stderr == ""
    run = replay(board, *BOARD, "shell", stdin=shell(*lines), settings=settings)
    assert run.status == 0
    return re.sub(STAMP, "[]", run.stderr), run.stdout


def got(device, mode=0):
    return f"DeviceGetData(device {device}, property 'gpu.pcie.maxWidth', mode {mode})"


END = "; from here on every call answers 0xbad\n"
LINE = f"[]E{RECORDING}:"


def test_one_call_more(board):
    said, printed = difference(board, [*LINES, GET.format(2)])
    assert said == (
        f"{LINE}9: recorded GPUManagerStop(), called {got(2)}: another function; "
        f"the nearest line that matches is 8{END}"
    )
    assert printed.count(" 16\n") == 3
    assert printed.endswith("> Device[gpu2](gpu.pcie.maxWidth) Get Failed, rc = 0xbad\n> ")


def test_one_call_fewer(board):
    said, printed = difference(board, LINES[:-1])
    assert said == (
        f"{LINE}8: recorded {got(2)}, called GPUManagerStop(): another function; "
        f"the nearest line that matches is 9{END}"
    )
    assert "Failed" not in printed


def test_another_device(board):
    said, printed = difference(board, [GET.format(0), GET.format(3), *LINES[2:]])
    assert said == (
        f"{LINE}5: recorded {got(1)}, called {got(3)}: 'device' is 3 instead of 1; "
        f"no line matches{END}"
    )
    assert printed.count("0xbad") == 2 and printed.count(" 16\n") == 1


def test_another_value(board):
    said, _ = difference(board, [*LINES[:2], "set 0 gpu.firmware.writeProtectMode 0"])
    call = "DeviceSetData(device 0, property 'gpu.firmware.writeProtectMode', value {})"
    assert said == (
        f"{LINE}7: recorded {call.format(1)}, called {call.format(0)}: 'value' is 0 instead of 1; "
        f"no line matches{END}"
    )


def test_another_order(board):
    said, _ = difference(board, [GET.format(0), GET.format(2), *LINES[2:]])
    assert said == (
        f"{LINE}5: recorded {got(1)}, called {got(2)}: 'device' is 2 instead of 1; "
        f"the nearest line that matches is 8{END}"
    )


def test_an_option_that_was_not_recorded(board):
    record(ByTheBoard, board, *BOARD, "shell", stdin=shell())
    run = replay(board, *BOARD, "-l", "3", "shell", stdin=shell())
    assert re.sub(STAMP, "[]", run.stdout + run.stderr).startswith(
        f"{LINE}2: recorded GPUManagerInit("
    )
    assert ", called GPUSetLogLevel(level 3): another function; no line matches" in run.stdout


def test_by_request_in_any_order(board):
    lines = [GET.format(2), GET.format(0), GET.format(0), LINES[2]]
    said, printed = difference(board, lines, match="byRequest")
    assert said == ""
    assert printed.count(" 16\n") == 3
    assert "Set done." in printed


def test_by_request_what_is_missing_is_named_once(board):
    lines = [GET.format(5), GET.format(5), GET.format(0)]
    said, printed = difference(board, lines, match="byRequest")
    assert said == f"{LINE} not recorded: {got(5)}\n"
    assert printed.count("0xbad") == 2 and printed.count(" 16\n") == 1


def test_the_first_version_is_refused(board):
    (board.folder / RECORDING).write_text('{"journal":1,"seed":1,"clock":"stepped"}\n')
    run = replay(board, *BOARD, "get", "gpu", "0", "gpu.pcie.maxWidth", "0")
    assert re.sub(STAMP, "[]", run.stderr) == (
        f"{LINE}1:1: cannot be replayed: version 1 does not hold the names of listings and the "
        "arguments of rejected calls\n"
    )
    assert (run.stdout, run.status) == ("GPU Manager Init failed!!\n", 14)
