"""Runs every command of the page for integrators, in its order, where an integrator is: with a
library that is not ours, and with neither an emulator nor anything that the simulated board or the
tests need."""

import os
import pathlib
import re
import shutil
import subprocess

import pytest
from built_program import ROOT, SKIP_WAIT, readelf
from limits import HANG

BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])
SOUND_LIBRARY = os.environ["BOARDCTL_SOUND_LIBRARY"]
PAGE = (ROOT / "docs/integration.md").read_text()
NATIVE, CONTROLLER, CHECK, INSTALL = re.findall(r"^```sh\n(.*?)^```$", PAGE, re.M | re.S)

UNSHARE = ["unshare", "--mount", *(["--map-root-user"] if os.getuid() else [])]
# What is changed here is changed for these commands alone.
HIDE = """set -eu
for folder in /usr/include/nlohmann /usr/share/cmake/nlohmann_json /usr/src/googletest; do
  if [ -e "$folder" ]; then mount -t tmpfs none "$folder"; fi
done
for program in $(command -v qemu-arm) $(command -v pytest-3); do
  mount --bind /dev/null "$program"
done
"""
OWN_LOADER = """set -eu
cp -r /etc/ld.so.* "$TMP/etc"
mount --bind "$TMP/etc" /etc
mount -t tmpfs none /usr/local/lib
mount -t tmpfs none /var/cache/ldconfig
"""


def shell(script, folder, **environment):
    return subprocess.run(
        [*UNSHARE, "sh", "-c", script],
        cwd=folder,
        env={**os.environ, **environment},
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )


def succeeds(*words, **environment):
    done = shell(*words, **environment)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def adapted(commands, library):
    """The commands for this machine, where nothing is installed and root is not needed."""
    commands = commands.replace("sudo apt-get install", "apt-get install --simulate")
    commands = commands.replace("sudo ", "").replace("/path/to/libdevmgr.so.0", str(library))
    manifest = ROOT / "examples/oob_manifest.json"
    return commands.replace("MANIFEST [PROFILE] [PROPERTIES]", str(manifest))


@pytest.fixture(scope="module")
def tree(tmp_path_factory):
    """The source files, where only these tests build."""
    tree = tmp_path_factory.mktemp("integrator") / "boardctl"
    shutil.copytree(ROOT, tree, ignore=shutil.ignore_patterns("build", "out", ".git"))
    done = shell(HIDE, tree)
    if done.returncode != 0:
        pytest.skip(f"nothing can be hidden here: {done.stderr}")
    return tree


@pytest.fixture(scope="module")
def controller_library(tmp_path_factory):
    library = tmp_path_factory.mktemp("maker") / "libdevmgr.so.0"
    sources = [ROOT / "tests/check/broken_library.cpp", ROOT / "tests/support/default_library.cpp"]
    subprocess.run(
        ["arm-linux-gnueabihf-g++", "-std=c++20", "-shared", "-fPIC", "-I", ROOT, *sources]
        + ["-DNONE", "-Wl,-soname,libdevmgr.so.0", "-Wno-psabi", "-o", library],
        check=True,
    )
    return library


def test_what_the_simulated_board_needs_is_hidden(tree):
    done = shell(f"{HIDE}cmake --preset release", tree)
    assert done.returncode != 0 and "nlohmann_json" in done.stderr
    assert shell(f"{HIDE}qemu-arm --version", tree).returncode != 0
    shutil.rmtree(tree / "build")


@pytest.mark.parametrize(
    ("commands", "preset", "machine"),
    [(NATIVE, "release", os.uname().machine), (CONTROLLER, "armhf", "arm")],
    ids=["native", "controller"],
)
def test_building(tree, request, commands, preset, machine):
    library = (
        SOUND_LIBRARY if preset == "release" else request.getfixturevalue("controller_library")
    )
    printed = succeeds(HIDE + adapted(commands, library), tree)
    assert " 0 newly installed" in printed, "the lists of packages disagree"
    for program in "boardctl/boardctl", "devmgr-check/devmgr-check":
        built = tree / "build" / preset / "tools" / program
        header = readelf("-h", built).lower()
        assert machine.replace("_", "-") in header.partition("machine:")[2].partition("\n")[0]
    assert "[libdevmgr.so.0]" in readelf("-d", tree / "build" / preset / "tools/boardctl/boardctl")
    for page in "boardctl.1", "boardctl.bash":
        written = tree / "build" / preset / "packaging" / page
        assert written.read_bytes() == (BUILD / "packaging" / page).read_bytes()
    assert not (tree / "build" / preset / "sim").exists()


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    """What the packages install, the simulated board included."""
    prefix = tmp_path_factory.mktemp("usr")
    for component in "tool", "sim", "check":
        command = ["cmake", "--install", BUILD, "--prefix", prefix, "--component", component]
        subprocess.run(command, check=True, capture_output=True)
    return prefix


def on_the_controller(script, installed, folder):
    (folder / "etc").mkdir()
    path = f"{installed}/bin:/usr/sbin:{os.environ['PATH']}"
    return succeeds(script, folder, TMP=str(folder), PATH=path, LD_PRELOAD=str(SKIP_WAIT))


def test_checking_the_library(tree, installed, tmp_path):
    printed = on_the_controller("set -e\n" + adapted(CHECK, SOUND_LIBRARY), installed, tmp_path)
    assert printed.splitlines()[-1].split() == ["ok", "GPUManagerStop"]


def test_the_installed_library_is_used_by_the_tool_and_not_by_the_simulated_board(
    tree, installed, tmp_path
):
    ask = f"-m {ROOT}/examples/oob_manifest.json get gpu 7 gpu.power.limit.total 0"
    script = OWN_LOADER + adapted(INSTALL, SOUND_LIBRARY)
    printed = on_the_controller(
        f"{script}boardctl {ask}; boardctl-sim {ask}", installed, tmp_path
    ).splitlines()
    assert [line for line in printed if "devmgr" in line][0].split()[:3] == [
        "libdevmgr.so.0", "=>", "/usr/local/lib/libdevmgr.so.0"
    ]  # fmt: skip
    values = [line for line in printed if line.startswith("Device[")]
    assert values == [
        "Device[gpu7](gpu.power.limit.total) value",
        "Device[gpu7](gpu.power.limit.total) 500",
    ]
