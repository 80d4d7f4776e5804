"""The Debian packages of this machine's architecture, built from the files as they are now. The
script that builds them fails on whatever lintian finds."""

import os
import re
import subprocess

import pytest
from conftest import ROOT, run
from limits import HANG

SKIP_WAIT = os.environ["BOARDCTL_SKIP_WAIT"]
PACKAGES = ("boardctl", "boardctl-sim")

pytestmark = pytest.mark.skipif(
    not (ROOT / ".git").exists(), reason="packages are made from a commit"
)


@pytest.fixture(scope="module")
def packages():
    architecture = run("dpkg", "--print-architecture").strip()
    worktree = {**os.environ, "BOARDCTL_REVISION": "WORKTREE"}
    run("scripts/package", architecture, cwd=ROOT, env=worktree)
    return {name: str(ROOT / f"out/{name}_0.1_{architecture}.deb") for name in PACKAGES}


def field(package, name):
    return run("dpkg-deb", "--field", package, name).strip()


def contents(package):
    lines = run("dpkg-deb", "--contents", package).splitlines()
    return [re.split(r"\s+", line, maxsplit=5)[5] for line in lines]


def test_dependencies(packages):
    tool = field(packages["boardctl"], "Depends")
    assert re.search(r"libc6 \(>= ", tool) and "libstdc++6" in tool
    assert "devmgr" not in tool and "boardctl" not in tool and ":" not in tool
    assert "boardctl (= 0.1)" in field(packages["boardctl-sim"], "Depends")
    assert "which this package therefore does not depend on" in re.sub(
        r"\s+", " ", field(packages["boardctl"], "Description")
    )


def test_contents(packages):
    tool = contents(packages["boardctl"])
    for name in (
        "bin/boardctl",
        "bin/boardctl-report",
        "bin/boardctl-shell",
        "bin/devmgr-check",
        "share/man/man1/boardctl.1.gz",
        "share/man/man1/devmgr-check.1.gz",
        "share/bash-completion/completions/boardctl",
        "share/zsh/vendor-completions/_boardctl",
        "share/rlwrap/completions/boardctl",
    ):
        assert f"./usr/{name}" in tool, name
    assert not [name for name in tool if ".so" in name]
    libraries = [name for name in contents(packages["boardctl-sim"]) if ".so" in name]
    assert libraries == ["./usr/lib/boardctl/sim/libdevmgr.so.0"]


def test_nothing_tells_the_loader_or_other_packages_of_the_simulated_board(packages, tmp_path):
    for package in packages.values():
        run("dpkg-deb", "--control", package, str(tmp_path / "control"))
        names = {path.name for path in (tmp_path / "control").iterdir()}
        assert names == {"control", "md5sums"}, package
        for name in names:
            (tmp_path / "control" / name).unlink()
        assert not [name for name in contents(package) if "ld.so.conf" in name], package


def test_the_packages_work_together(packages, tmp_path):
    for package in packages.values():
        run("dpkg-deb", "--extract", package, str(tmp_path))
    manifest = tmp_path / "usr/share/doc/boardctl-sim/examples/oob_manifest.json"
    printed = run(
        str(tmp_path / "usr/bin/boardctl-sim"),
        *["-m", str(manifest), "get", "gpu", "7", "gpu.power.limit.total", "0"],
        env={"PATH": os.environ["PATH"], "LD_PRELOAD": SKIP_WAIT},
    )
    assert printed == "Starting GPU Manager...\nDevice[gpu7](gpu.power.limit.total) 500\n"
    library = tmp_path / "usr/lib/boardctl/sim/libdevmgr.so.0"
    checked = subprocess.run(
        [tmp_path / "usr/bin/devmgr-check", library], timeout=HANG, check=False
    )
    assert checked.returncode == 0
