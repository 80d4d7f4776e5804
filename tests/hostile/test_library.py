"""Every command over a library that answers with anything at all."""

import pytest
from built_program import EMULATOR, SANITIZED, STARTING, USAGE
from conftest import MANIFEST
from limits import HANG

INIT_RUN = ["GPUManagerInit", "GPUManagerRun"]
STOP = ["GPUManagerStop"]
NAMES = "DeviceGetSupportedProperties"
BYTES = [str(n) for n in range(8)]
RULE = "-" * 61 + "\n"
HOSTILE_TEXT = "[E]hostile %s\n\x1b[31m\n"
API = "GPUGetVendorIdV2"

CODES = [1, 2, 10, 31, 127, 128, 255, 256, 2147483647, -1, -2, -255, -2147483648]
if SANITIZED or EMULATOR:
    # A thousand processes that are slow to start would tell no more.
    CODES = [1, 256, -1, -2147483648]
MANY = 10_000 if EMULATOR else 1_000_000


def hexadecimal(code):
    return f"{code & 0xFFFFFFFF:x}"


def header(device):
    return (
        f"{device} devId : 0, opcode : 0x1 arg1 : 0x2 arg2 : 0x3 "
        "dataRegister : 0x03020100 extendedDataRegister : 0x07060504\n"
    )


def raw(command, device):
    return (command, device, "0", "1", "2", "3", *BYTES)


ASYNC = ("rawAsyncCmd", "gpu", "0", "4", "1", "2", "3", *BYTES, "8", "9", "10")
ASYNC_HEADER = (
    "gpu devId : 0, opcode : 0x1 arg1 : 0x2 arg2 : 0x3 : dataOutSize : 4 dataIn0 : 0x03020100 "
    "dataIn1 : 0x07060504 dataIn2 : 0x000a0908 \n"
)
ASYNC_KORSWITCH = ("rawAsyncCmd", "korswitch", *ASYNC[2:])
ASYNC_KORSWITCH_HEADER = ASYNC_HEADER.replace("gpu", "korswitch")
LOG = ("-l", "5", "-L", "log")
GET = ("get", "gpu", "0", "p0nnnnnn", "0")
GET_ALL = ("get", "gpu", "0", "all", "0")
SET = ("set", "0", "p0nnnnnn", "1")
CLEAR = ("clear", "0", "p0nnnnnn")

# Command, failing call, what is printed, whether the manager is stopped, whether the code is the
# status.
FAILURES = [
    (("list", "gpu"), NAMES, "Get property list failed, rc = {0}\n", True),
    (("list", "all"), "DeviceGetAllSupportedProperties",
     "Get property list failed, rc = {0}\n", True),
    (GET, "DeviceGetData", STARTING + "Device[gpu0](p0nnnnnn) Get Failed, rc = 0x{1}\n", True),
    (GET_ALL, NAMES, STARTING + "Get Properties list failed, rc = {0}.\n", False),
    (SET, NAMES, STARTING + "Get Properties list failed, rc = {0}.\n", False),
    (CLEAR, NAMES, STARTING + "Get Properties list failed, rc = {0}.\n", False),
    (SET, "DeviceSetData", STARTING + "Set failed, rc = 0x{1}\n", True),
    (CLEAR, "DeviceClearData", STARTING + "Clear failed, rc = 0x{1}\n", True),
    (raw("raw", "gpu"), "TesselCmd",
     STARTING + header("gpu") + "Raw cmd failed, rc = 0x{1}\n00 00 00 00 01 00 00 00 \n", True),
    (raw("raw", "korswitch"), "TesselCmdKorswitch",
     STARTING + header("korswitch") + "Raw cmd failed, rc = 0x{1}\n00 00 00 00 01 00 00 00 \n",
     True),
    (raw("raw", "fpga"), "TesselCmdFpga",
     STARTING + header("fpga") + "Raw cmd failed, rc = 0x{1}\n00 00 00 00 01 00 00 00 \n", True),
    (raw("rawSyncCmd", "gpu"), "TesselSyncCmdGpu",
     STARTING + header("gpu") + "Raw Syncmd failed, rc = 0x{1}\n", True),
    (raw("rawSyncCmd", "korswitch"), "TesselSyncCmdKorswitch",
     STARTING + header("korswitch") + "Raw Syncmd failed, rc = 0x{1}\n", True),
    (raw("rawSyncCmd", "fpga"), "TesselSyncCmdFpga",
     STARTING + header("fpga") + "Raw Syncmd failed, rc = 0x{1}\n", True),
    (ASYNC, "TesselAsyncCmdGpu",
     STARTING + ASYNC_HEADER + "Raw Asynccmd failed, rc = 0x{1}\n", True),
    (ASYNC_KORSWITCH, "TesselAsyncCmdKorswitch",
     STARTING + ASYNC_KORSWITCH_HEADER + "Raw Asynccmd failed, rc = 0x{1}\n", True),
]  # fmt: skip


@pytest.mark.parametrize(
    "command, call, output, stops",
    FAILURES,
    ids=lambda value: value[0] if isinstance(value, tuple) else "",
)
def test_every_code_of_every_request_is_printed_once_and_is_the_status(
    hostile, command, call, output, stops
):
    for code in CODES:
        hostile.orders = f"names=2;words=2;code.{call}={code}"
        run = hostile(*MANIFEST, *command)
        assert run == (output.format(code, hexadecimal(code)), "", code & 0xFF), code
        calls = hostile.calls()
        assert calls[:2] == INIT_RUN, code
        assert calls.count("GPUManagerStop") == (1 if stops else 0), code
        if stops:
            assert calls[-1] == "GPUManagerStop", code


@pytest.mark.parametrize("code", CODES)
def test_codes_that_are_not_looked_at_change_nothing(hostile, code):
    quiet = "names=2;words=1;" + "".join(
        f"code.{call}={code};"
        for call in ("GPUManagerRun", "GPUManagerStop", "GPUSetLogger", "GPUSetLogLevel")
    )
    hostile.orders = quiet
    assert hostile(*MANIFEST, "-l", "3", "-L", "log", *GET) == (
        STARTING + "Device[gpu0](p0nnnnnn) value\n", "", 0)  # fmt: skip
    hostile.orders = quiet + f"code.GPUManagerInit={code}"
    assert hostile(*MANIFEST, *SET) == (STARTING + "Set done.\n", "", 0)
    assert hostile(*MANIFEST, *CLEAR) == (STARTING + "Clear done.\n", "", 0)
    assert hostile(*MANIFEST, "list", "x").status == 0
    hostile.orders = f"code.GPUManagerInit={code};code.DeviceSetCallbackUpdateData={code}"
    assert hostile(*MANIFEST, "set_callback", "0", API) == (
        STARTING + f"Register Callback API failed, rc = 0x{hexadecimal(code)}\n",
        "", 0)  # fmt: skip
    hostile.orders = f"code.SnapShotRefreshStatus={code}"
    assert hostile(*MANIFEST, "shell", stdin="snapshot refresh_status\nquit\n") == (
        "> Snapshot Refresh Status: 1\n> ", "", 0)  # fmt: skip


@pytest.mark.parametrize(
    "command", [GET, raw("raw", "gpu"), raw("rawSyncCmd", "fpga"), ASYNC, ("shell",)]
)
def test_a_failed_init_ends_these_commands_with_its_code(hostile, command):
    for code in CODES:
        hostile.orders = f"code.GPUManagerInit={code}"
        run = hostile(*MANIFEST, *command)
        assert run == ("GPU Manager Init failed!!\n", "", code & 0xFF), code
        assert hostile.calls() == ["GPUManagerInit"], code


ODD = {
    "control": "\x01\a\b\x1b[2J\r\n\x7f%s%n",
    "utf8": "\xc0\x80\xff\xfe\xed\xa0\x80\xf4\x90",
    "format": "%s%n%999999d%",
    "nul": "a\0b",
}
TEXTS = {
    "nonul": lambda size: "x" * size,
    "empty": lambda size: "",
    **{kind: lambda size, text=text: text.partition("\0")[0] for kind, text in ODD.items()},
}


@pytest.mark.parametrize("kind", TEXTS)
def test_any_text_is_printed_as_it_is_and_never_past_its_buffer(hostile, kind):
    hostile.orders = f"text={kind}"
    assert hostile(*MANIFEST, *GET) == (
        STARTING + f"Device[gpu0](p0nnnnnn) {TEXTS[kind](10240)}\n", "", 0)  # fmt: skip
    listing = "Device Property List: \n" + RULE + TEXTS[kind](20480) + "\n" + RULE
    assert hostile(*MANIFEST, "list", "gpu") == (listing, "", 0)
    assert hostile(*MANIFEST, "list", "all") == (listing, "", 0)


@pytest.mark.parametrize("names, size", [(0, 1), (1, 8), (MANY // 10, 8), (3, 1 << 20)])
def test_lists_of_any_length_and_names_of_any_size(hostile, names, size):
    hostile.orders = f"names={names};size={size};text=empty"
    words = [f"p{i}".ljust(size, "n") for i in range(names)]
    run = hostile(*MANIFEST, *GET_ALL, timeout=HANG)
    assert run.stdout == STARTING + "".join(f"Device[gpu0]({word}) \n" for word in words)
    assert (run.stderr, run.status) == ("", 0)
    assert hostile.calls() == [*INIT_RUN, NAMES, *["DeviceGetData"] * names, *STOP]
    last = words[-1] if names else "p"
    if len(last) < 100_000:
        run = hostile(*MANIFEST, "set", "0", last, "1")
        expected = "Set done.\n" if names else "Property (p) is not supported!\n"
        assert run == (STARTING + expected, "", 0 if names else 255)


def argument(text):
    """A word of the command line that has these bytes."""
    return text.encode("latin-1")


@pytest.mark.parametrize("kind", ODD)
def test_names_of_any_bytes_are_printed_whole_and_found_by_all_their_bytes(hostile, kind):
    hostile.orders = f"names=2;asked=asked;nametext={kind}"
    first, last = (f"p{i}{ODD[kind]}".ljust(8, "n") for i in range(2))
    # A request carries a C string: it ends where the name has a NUL.
    asked = [name.partition("\0")[0] for name in (first, last)]
    assert hostile(*MANIFEST, *LOG, *GET_ALL) == (
        STARTING + f"Device[gpu0]({first}) value\nDevice[gpu0]({last}) value\n", "", 0)  # fmt: skip
    assert hostile.asked() == asked
    for command, value, done in (("set", ["1"], "Set done.\n"), ("clear", [], "Clear done.\n")):
        refused = [asked[1][:-1], asked[1] + "n"]
        if "\0" in last:
            refused.append(asked[1])
        else:
            run = hostile(*MANIFEST, *LOG, command, "0", argument(last), *value)
            assert run == (STARTING + done, "", 0), command
            assert hostile.asked() == [last], command
        for name in refused:
            run = hostile(*MANIFEST, *LOG, command, "0", argument(name), *value)
            assert run == (STARTING + f"Property ({name}) is not supported!\n", "", 255), command
            assert hostile.asked() == [], (command, name)


def test_names_with_a_nul_in_the_shell(hostile):
    hostile.orders = "names=2;asked=asked;nametext=nul"
    session = "set 0 p1a\0bnnn 1\nclear 0 p1a\0bnnn\nset 0 p1a\0bnnm 1\nclear 0 p1a\nquit\n"
    assert hostile(*MANIFEST, *LOG, "shell", stdin=session) == (
        "> Set done.\n> Clear done.\n> Property (p1a\0bnnm) is not supported!\n"
        "> Property (p1a) is not supported!\n> ", "", 0)  # fmt: skip
    assert hostile.asked() == ["p1a", "p1a"]


def test_names_of_1_mib_in_the_shell(hostile):
    size = 1 << 20
    hostile.orders = f"names=3;size={size};asked=asked"
    name = "p2".ljust(size, "n")
    others = [name[:-1], name + "n", name[:-1] + "m", "q" * size]
    lines = [f"set 0 {name} 1", f"clear 0 {name}"]
    lines += [line for other in others for line in (f"set 0 {other} 1", f"clear 0 {other}")]
    run = hostile(*MANIFEST, *LOG, "shell", stdin="\n".join([*lines, "quit"]))
    refusals = "".join(f"> Property ({other}) is not supported!\n" * 2 for other in others)
    assert run == ("> Set done.\n> Clear done.\n" + refusals + "> ", "", 0)
    assert hostile.asked() == [name, name]


def test_a_long_list_of_failures_is_counted_once_in_the_log(hostile):
    hostile.orders = "names=1000;code.DeviceGetData=-1"
    run = hostile(*MANIFEST, "-l", "2", "-L", "log", *GET_ALL)
    assert run.status == 255
    assert run.stdout.count("Get Failed, rc = 0xffffffff\n") == 1000
    log = (hostile.folder / "log").read_text()
    assert log.count("\n") == 1
    assert log.endswith("[getGpuData]: Failure count : 1000.\n")


@pytest.mark.parametrize("words", [0, 1, MANY])
def test_replies_of_any_length(hostile, words):
    hostile.orders = f"words={words}"
    reply = "".join(f"{byte:02x} " for word in range(words) for byte in word.to_bytes(4, "little"))
    assert hostile(*MANIFEST, *raw("raw", "gpu")) == (
        STARTING + header("gpu") + reply + "\n", "", 0)  # fmt: skip
    assert hostile(*MANIFEST, *ASYNC) == (
        STARTING + ASYNC_HEADER + "ff " * 8 + reply + "\n", "", 0)  # fmt: skip
    assert hostile(*MANIFEST, *raw("rawSyncCmd", "gpu")).stdout.endswith("\n" + "ff " * 12 + "\n")


# Command, the call that raises, what had been printed before.
RAISING = [
    *((command, "GPUManagerInit", "") for command in (
        ("list", "gpu"), GET, SET, CLEAR, raw("raw", "gpu"), raw("rawSyncCmd", "gpu"), ASYNC,
        ("shell",), ("set_callback", "0", API))),
    (("list", "gpu"), "GPUManagerRun", ""),
    (("list", "gpu"), NAMES, ""),
    (("list", "gpu"), "GPUManagerStop", ""),
    (("-l", "1", "list", "gpu"), "GPUSetLogLevel", ""),
    (("-L", "log", "list", "gpu"), "GPUSetLogger", ""),
    (("list", "all"), "DeviceGetAllSupportedProperties", ""),
    (GET, "DeviceGetData", STARTING + "Device[gpu0](p0nnnnnn) "),
    (GET, "GPUManagerStop", STARTING + "Device[gpu0](p0nnnnnn) value\n"),
    (GET_ALL, NAMES, STARTING),
    (SET, NAMES, STARTING),
    (CLEAR, NAMES, STARTING),
    (SET, "DeviceSetData", STARTING),
    (SET, "GPUManagerStop", STARTING + "Set done.\n"),
    (CLEAR, "DeviceClearData", STARTING),
    (raw("raw", "gpu"), "TesselCmd", STARTING + header("gpu")),
    (raw("raw", "korswitch"), "TesselCmdKorswitch", STARTING + header("korswitch")),
    (raw("raw", "fpga"), "TesselCmdFpga", STARTING + header("fpga")),
    (raw("rawSyncCmd", "gpu"), "TesselSyncCmdGpu", STARTING + header("gpu")),
    (raw("rawSyncCmd", "korswitch"), "TesselSyncCmdKorswitch", STARTING + header("korswitch")),
    (raw("rawSyncCmd", "fpga"), "TesselSyncCmdFpga", STARTING + header("fpga")),
    (ASYNC, "TesselAsyncCmdGpu", STARTING + ASYNC_HEADER),
    (ASYNC_KORSWITCH, "TesselAsyncCmdKorswitch", STARTING + ASYNC_KORSWITCH_HEADER),
    (raw("raw", "gpu"), "GPUManagerStop", STARTING + header("gpu") + "00 00 00 00 \n"),
    (raw("rawSyncCmd", "gpu"), "GPUManagerStop", STARTING + header("gpu") + "ff " * 12 + "\n"),
    (ASYNC, "GPUManagerStop", STARTING + ASYNC_HEADER + "ff " * 8 + "00 00 00 00 \n"),
    (("set_callback", "0", API), "DeviceSetCallbackUpdateData", STARTING),
]  # fmt: skip


@pytest.mark.parametrize(
    "command, call, before", RAISING, ids=lambda value: value if isinstance(value, str) else ""
)
def test_an_exception_of_the_library(hostile, command, call, before):
    for kind, message in (("std", HOSTILE_TEXT), ("alloc", "[E]std::bad_alloc\n")):
        hostile.orders = f"names=1;words=1;throw.{call}={kind}"
        assert hostile(*MANIFEST, *command) == (before + USAGE, message, 0), kind
        assert hostile.calls()[-1] == call, kind
        assert hostile.merged(*MANIFEST, *command) == before + message + USAGE, kind
    # What is no standard exception ends the process at once, as documented: nothing is said twice.
    hostile.orders = f"names=1;words=1;throw.{call}=other"
    run = hostile(*MANIFEST, *command)
    assert run.status == -6
    assert "terminate called" in run.stderr
    assert hostile.calls()[-1] == call


def test_an_exception_leaves_the_shell_without_a_stop(hostile):
    hostile.orders = "throw.DeviceGetData=std"
    run = hostile(
        *MANIFEST, "shell", stdin="snapshot refresh_status\nget gpu 0 x\nget gpu 1 y\nquit\n"
    )
    assert run == ("> Snapshot Refresh Status: 1\n> Device[gpu0](x) " + USAGE, HOSTILE_TEXT, 0)
    assert hostile.calls() == [*INIT_RUN, "SnapShotRefreshStatus", "DeviceGetData"]
    hostile.orders = "throw.SnapShotRefreshStatus=std"
    run = hostile(*MANIFEST, "shell", stdin="snapshot refresh_status\nquit\n")
    assert run == ("> " + USAGE, HOSTILE_TEXT, 0)
    assert hostile.calls() == [*INIT_RUN, "SnapShotRefreshStatus"]
    hostile.orders = "throw.GPUManagerStop=std"
    assert hostile(*MANIFEST, "shell", stdin="help me\nquit\n") == ("> > " + USAGE, HOSTILE_TEXT, 0)
    assert hostile.calls() == [*INIT_RUN, *STOP]


def callback_lines(hostile):
    lines = (hostile.folder / "log").read_text().splitlines()
    for line in lines:
        assert line[0] == "[" and line[28] == "]" and line[29] == "D", line
    return sum(line.endswith("[callbackAPI]: callbackAPI called") for line in lines)


def test_callbacks_of_16_threads_while_the_shell_runs(hostile):
    hostile.orders = "callbacks=16;when=run;words=1"
    reads = 300
    session = f"set_callback 0 {API}\n" + "get gpu 0 x\n" * reads + "quit\n"
    run = hostile(*MANIFEST, *LOG, "shell", stdin=session)
    assert run.stdout == "> Callback API Registered.\n" + "> Device[gpu0](x) value\n" * reads + "> "
    assert (run.stderr, run.status) == ("", 0)
    assert callback_lines(hostile) >= 16
    assert hostile.calls().count("GPUManagerStop") == 1


def test_callbacks_of_16_threads_during_the_stop(hostile):
    hostile.orders = "callbacks=16;when=stop"
    run = hostile(*MANIFEST, *LOG, "set_callback", "0", API)
    assert run == (STARTING + "Callback API Registered.\n", "", 0)
    assert callback_lines(hostile) >= 16


def test_callbacks_of_16_threads_after_a_failed_init(hostile):
    hostile.orders = "callbacks=16;when=run;code.GPUManagerInit=5"
    run = hostile(*MANIFEST, *LOG, "set_callback", "0", API)
    assert run == (STARTING + "Callback API Registered.\n", "", 0)
    assert callback_lines(hostile) >= 16


def test_callbacks_while_an_error_ends_the_shell(hostile):
    hostile.orders = "callbacks=16;when=run"
    run = hostile(*MANIFEST, *LOG, "shell", stdin=f"set_callback 0 {API}\nget gpu x y\n")
    assert run == ("> Callback API Registered.\n> " + USAGE, "[E]stoi\n", 0)
    assert callback_lines(hostile) >= 16


def test_a_log_stream_that_raises_its_errors(hostile):
    hostile.orders = "logthrows=1"
    (hostile.folder / "log").symlink_to("/dev/full")
    run = hostile(*MANIFEST, *LOG, "shell", stdin="get gpu 0 x\n" * 300 + "quit\n")
    assert run.status == 0
    assert run.stdout.endswith(USAGE)
    assert run.stderr.startswith("[E]basic_ios::clear") and run.stderr.count("\n") == 1
