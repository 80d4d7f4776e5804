"""What was recorded of the hostile library, or with identities replaced, replays as it was."""

import re

import pytest
from built_program import BOARD, EMULATOR, SANITIZED
from conftest import Recording
from replaying import RECORDING, replay_words, replayer
from test_recorder import API, BYTES, CODES, MANIFEST, RUNS

NUMBERS = "serialNumber", "gpuPartNumber"


@pytest.fixture
def board(recorded):
    recorded.recording = Recording(recorded.folder / RECORDING)
    return recorded


def replay(board, *words, **options):
    player = replayer(board.folder.parent / f"{board.folder.name}.replay", board.folder)
    return player(*replay_words(player.folder, words), **options)


def assert_same(board, *words, **options):
    run = board(*words, **options)
    assert replay(board, *words, **options) == run
    return run


@pytest.mark.parametrize("name", RUNS)
def test_commands_over_the_hostile_library(board, name):
    words, stdin = RUNS[name]
    assert_same(board, *words, stdin=stdin)


def test_codes(board):
    for code in CODES[:: 4 if EMULATOR or SANITIZED else 1]:
        board.orders = f"names=2;words=2;code.*={code}"
        for command in ("list gpu", "get gpu 0 all 1", "set 0 x 1", "raw gpu 0 1 2 3"):
            words = [*MANIFEST, *command.split(), *(BYTES if "raw" in command else ())]
            run = board(*words)
            assert replay(board, *words) == run, (code, command)


@pytest.mark.parametrize("kind", ["nonul", "empty", "control", "utf8", "format", "nul"])
def test_texts(board, kind):
    board.orders = f"names=2;nametext={kind};text={kind}"
    assert_same(board, *MANIFEST, "get", "gpu", "0", "all", "0")
    assert_same(board, *MANIFEST, "list", "all")


def test_large_answers(board):
    board.orders = f"words={10_000 if EMULATOR else 1_000_000};names=3;size=1048576"
    assert_same(board, *MANIFEST, "raw", "gpu", "0", "1", "2", "3", *BYTES)
    assert_same(board, *MANIFEST, "set", "0", "x", "1")


@pytest.mark.parametrize("sequence", [7, 2**63, 2**64 - 1])
def test_callbacks_of_16_threads(board, sequence):
    board.orders = f"callbacks=16;when=stop;sequence={sequence}"
    words = [*MANIFEST, "-l", "4", "-L", "log", "set_callback", "0", API]
    assert_same(board, *words)
    logs = [board.folder / "log", board.folder.parent / f"{board.folder.name}.replay/log"]
    recorded, replayed = (log.read_text().count("callbackAPI called") for log in logs)
    assert recorded == replayed >= 16
    assert board.recording.updates[0]["sequence"] == sequence


def test_pseudonyms(board):
    board.hostile = False
    board.extra = {}
    session = "".join(
        f"get gpu {gpu} gpu.inventory.{number} {mode}\n"
        for mode in (0, 1)
        for gpu in range(8)
        for number in NUMBERS
    )
    run = board(*BOARD, "shell", stdin=session + "quit\n")
    again = replay(board, *BOARD, "shell", stdin=session + "quit\n")
    assert (again.stderr, again.status) == (run.stderr, run.status) == ("", 0)
    pattern = re.compile(r"\) (\S+)$", re.M)
    originals, pseudonyms = pattern.findall(run.stdout), pattern.findall(again.stdout)
    assert pattern.sub(") x", run.stdout) == pattern.sub(") x", again.stdout)
    pairs = set(zip(originals, pseudonyms, strict=True))
    assert len(originals) == 8 * 2 * 2
    assert len(pairs) == len(set(originals)) == len(set(pseudonyms)) == 8 + 1
    content = board.recording.path.read_bytes()
    classes = str.maketrans("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", "A" * 26 + "0" * 10)
    for original, pseudonym in pairs:
        assert original.translate(classes) == pseudonym.translate(classes)
        assert original != pseudonym
        assert original.encode() not in content
