"""The first two commands of an operator, over the simulated board."""

import calendar
import json
import re
import time

from built_program import BOARD, STARTING

RULE = "-" * 61 + "\n"
NO_SUCH_PROPERTY = 3
NO_SUCH_KIND = 4
FILE_REFUSED = 14
BAD_JSON = "]Ebad.json:1:2: not JSON: unexpected end of file\n"


def refusal(text):
    """A line of the library's log, without its time stamp."""
    stamp, line = text[:28], text[28:]
    assert re.fullmatch(r"\[\d\d/\d\d/\d\d \d\d:\d\d:\d\d\.\d{9}", stamp), text
    return line


def listing(run):
    assert (run.stderr, run.status) == ("", 0)
    start = "Device Property List: \n" + RULE
    assert run.stdout.startswith(start)
    assert run.stdout.endswith("\n" + RULE)
    return run.stdout[len(start) : -len(RULE) - 1].split("\n")


def test_list_prints_the_names_of_one_kind(boardctl):
    names = listing(boardctl(*BOARD, "list", "gpu"))
    assert "gpu.inventory.gpuPartNumber" in names
    assert all(name.startswith("gpu.") for name in names)


def test_list_all_prints_the_names_of_every_kind(boardctl):
    everything = listing(boardctl(*BOARD, "list", "all"))
    assert len(everything) == len(set(everything))
    for kind in ("gpu", "korswitch", "hostBmc", "cpu"):
        assert set(listing(boardctl(*BOARD, "list", kind))) <= set(everything), kind


def test_list_of_an_unknown_kind_gives_the_librarys_code(boardctl):
    expected = (f"Get property list failed, rc = {NO_SUCH_KIND}\n", "", NO_SUCH_KIND)
    assert boardctl(*BOARD, "list", "GPU") == expected


def test_get_reads_one_property(boardctl):
    (boardctl.folder / "t.json").write_text(
        json.dumps({"properties": {"gpu.inventory.gpuPartNumber": "PN %s%n"}})
    )
    run = boardctl(
        "-m",
        "oob_manifest.json",
        "-t",
        "t.json",
        "get",
        "gpu",
        "7",
        "gpu.inventory.gpuPartNumber",
        "0",
    )
    assert run == (STARTING + "Device[gpu7](gpu.inventory.gpuPartNumber) PN %s%n\n", "", 0)


def test_get_passes_the_librarys_code_on(boardctl):
    run = boardctl(*BOARD, "get", "gpu", "0", "gpu.nothing", "0")
    expected = STARTING + "Device[gpu0](gpu.nothing) Get Failed, rc = 0x3\n"
    assert run == (expected, "", NO_SUCH_PROPERTY)


def test_get_all_reads_every_listed_name(boardctl):
    names = listing(boardctl(*BOARD, "list", "gpu"))
    run = boardctl(*BOARD, "get", "gpu", "0", "all", "0")
    assert (run.stderr, run.status) == ("", 0)
    lines = run.stdout[len(STARTING) :].splitlines()
    assert [line.split(" ")[0] for line in lines] == [f"Device[gpu0]({name})" for name in names]


def test_get_on_a_manager_that_does_not_start(boardctl):
    (boardctl.folder / "bad.json").write_text("{")
    run = boardctl("-m", "bad.json", "get", "gpu", "0", "gpu.nothing", "0")
    assert (run.stdout, run.status) == ("GPU Manager Init failed!!\n", FILE_REFUSED)
    assert refusal(run.stderr) == BAD_JSON


def test_list_goes_on_after_a_failed_init(boardctl):
    (boardctl.folder / "bad.json").write_text("{")
    run = boardctl("-m", "bad.json", "list", "gpu")
    assert (run.stdout, run.status) == ("Get property list failed, rc = 1\n", 1)
    assert refusal(run.stderr) == BAD_JSON


def test_the_log_file_holds_the_lines_of_the_command(boardctl):
    boardctl(*BOARD, "-L", "log", "-l", "4", "get", "gpu", "3", "gpu.inventory.gpuPartNumber", "1")
    lines = (boardctl.folder / "log").read_text().splitlines()
    own = [line[29:] for line in lines if "[tools/boardctl/" in line]
    assert own == [
        "D[tools/boardctl/get.cpp:182][getGpuData]: Entry().",
        "D[tools/boardctl/get.cpp:209][getGpuData]: devId : 3, "
        "propName : gpu.inventory.gpuPartNumber, accMode : 1, devType : 0.",
    ]


def test_log_lines_go_to_standard_output_when_no_file_is_named(boardctl):
    run = boardctl(*BOARD, "-l", "4", "get", "gpu", "0", "gpu.inventory.gpuPartNumber", "0")
    lines = run.stdout.splitlines()
    assert lines[0].endswith("]D[tools/boardctl/get.cpp:182][getGpuData]: Entry().")
    assert lines.index("Starting GPU Manager...") > 1
    assert (run.stderr, run.status) == ("", 0)


def test_log_stamps_are_right_after_2038(boardctl):
    ahead = calendar.timegm((2045, 6, 1, 0, 0, 0)) - int(time.time())
    boardctl(
        *BOARD, "-L", "log", "-l", "4", "get", "gpu", "0", "x", "0", SKIP_WAIT_FORWARD=str(ahead)
    )
    lines = (boardctl.folder / "log").read_text().splitlines()
    assert any("getGpuData" in line for line in lines)
    assert all(line.startswith("[06/01/45 00:") for line in lines), lines[0]
