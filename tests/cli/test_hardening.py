"""What the built files say of their hardening."""

import platform
import re
import subprocess

import pytest
from built_program import BOARDCTL, EMULATOR, SANITIZED, SIM_LIBRARY, readelf

pytestmark = pytest.mark.skipif(SANITIZED, reason="the sanitizers do their own checking")
FILES = [BOARDCTL, SIM_LIBRARY]
X86 = not EMULATOR and platform.machine() == "x86_64"


def undefined(file):
    return re.findall(r" UND (\w+)", readelf("--dyn-syms", file))


def test_the_program_is_position_independent():
    assert re.search(r"Type:\s+DYN", readelf("-h", BOARDCTL))
    assert re.search(r"FLAGS_1.*PIE", readelf("-d", BOARDCTL))


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_relocated_data_is_read_only_and_everything_is_bound_at_once(file):
    assert "GNU_RELRO" in readelf("-l", file)
    assert re.search(r"\(FLAGS\).*BIND_NOW|FLAGS_1.*NOW", readelf("-d", file))
    assert "TEXTREL" not in readelf("-d", file)


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_the_stack_is_not_executable(file):
    flags = re.search(r"GNU_STACK(?:\s+0x\w+){5}\s+(\S+)", readelf("-l", file)).group(1)
    assert flags == "RW"


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_the_stack_is_guarded_and_library_calls_are_checked(file):
    names = undefined(file)
    assert "__stack_chk_fail" in names
    assert any(name.endswith("_chk") for name in names), names


@pytest.mark.skipif(not X86, reason="only this architecture has it")
def test_large_frames_are_probed_and_branch_targets_marked():
    code = subprocess.run(
        ["objdump", "-d", "--no-show-raw-insn", BOARDCTL],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    assert re.search(r"orq?\s+\$0x0,\(%rsp\)", code)
    assert code.count("endbr64") > 50
