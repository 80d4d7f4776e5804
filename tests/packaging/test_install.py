"""What each component installs, and that the simulated board is only found by who asks for it."""

import os
import pathlib
import shutil
import subprocess

import pytest
from conftest import BUILD, ROOT, run

SKIP_WAIT = os.environ["BOARDCTL_SKIP_WAIT"]


@pytest.fixture
def install(tmp_path):
    def files(*components):
        for component in components:
            run(
                "cmake",
                "--install",
                str(BUILD),
                "--prefix",
                str(tmp_path),
                "--component",
                component,
            )
        return {
            str(path.relative_to(tmp_path)) for path in tmp_path.rglob("*") if not path.is_dir()
        }

    return files


def test_the_tool(install):
    files = install("tool")
    (recorder,) = {name for name in files if ".so" in name}
    assert pathlib.Path(recorder).parts[-2:] == ("boardctl", "libboardctl-record.so")
    assert files - {recorder} == {
        "bin/boardctl",
        "bin/boardctl-export",
        "bin/boardctl-record",
        "bin/boardctl-report",
        "bin/boardctl-shell",
        "lib/systemd/system/boardctl-export-once.service",
        "lib/systemd/system/boardctl-export-once.timer",
        "lib/systemd/system/boardctl-export.service",
        "share/bash-completion/completions/boardctl",
        "share/bash-completion/completions/boardctl-export",
        "share/bash-completion/completions/boardctl-record",
        "share/man/man1/boardctl.1",
        "share/man/man1/boardctl-export.1",
        "share/man/man1/boardctl-record.1",
        "share/man/man1/boardctl-report.1",
        "share/man/man1/boardctl-shell.1",
        "share/rlwrap/completions/boardctl",
        "share/zsh/site-functions/_boardctl",
        "share/zsh/site-functions/_boardctl-export",
        "share/zsh/site-functions/_boardctl-record",
    }


def test_the_check(install):
    assert install("check") == {
        "bin/devmgr-check",
        "share/bash-completion/completions/devmgr-check",
        "share/man/man1/devmgr-check.1",
        "share/zsh/site-functions/_devmgr-check",
    }


def test_the_simulated_board(install, tmp_path):
    files = install("sim")
    documents = "share/doc/boardctl-sim/"
    libraries = {name for name in files if ".so" in name}
    private = ("boardctl", "sim", "libdevmgr.so.0")
    assert [pathlib.Path(name).parts[-3:] for name in libraries] == [private]
    assert {name for name in files if not name.startswith(documents)} - libraries == {
        "bin/boardctl-journal",
        "bin/boardctl-sim",
        "share/bash-completion/completions/boardctl-journal",
        "share/bash-completion/completions/boardctl-sim",
        "share/man/man1/boardctl-journal.1",
        "share/man/man7/boardctl-sim.7",
        "share/rlwrap/completions/boardctl-sim",
        "share/zsh/site-functions/_boardctl-journal",
    }
    assert {name.removeprefix(documents) for name in files if name.startswith(documents)} == {
        *(
            str(path.relative_to(ROOT))
            for kind in ("json", "yml", "html")
            for path in (ROOT / "examples").rglob(f"*.{kind}")
        ),
        *(str(path.relative_to(ROOT)) for path in (ROOT / "schemas").rglob("*.json")),
    }
    for folder in "bash-completion", "rlwrap":
        assert os.readlink(tmp_path / f"share/{folder}/completions/boardctl-sim") == "boardctl"


def test_the_documents(install):
    prefix = "share/doc/boardctl/"
    pages = [
        *ROOT.glob("*.md"),
        *ROOT.glob("docs/*.md"),
        *ROOT.glob("docs/*.svg"),
        *ROOT.glob("docs/*.png"),
    ]
    assert install("docs") == {prefix + str(page.relative_to(ROOT)) for page in pages}


def test_without_a_component_named_everything_is_installed(tmp_path, install):
    parts = install("tool", "sim", "check", "docs")
    everything = tmp_path / "everything"
    run("cmake", "--install", str(BUILD), "--prefix", str(everything))
    names = {
        str(path.relative_to(everything)) for path in everything.rglob("*") if not path.is_dir()
    }
    assert names == parts


def test_only_the_runner_finds_the_simulated_board(install, tmp_path):
    install("tool", "sim")
    shutil.copy(ROOT / "examples/oob_manifest.json", tmp_path)
    link = tmp_path / "elsewhere"
    link.symlink_to(tmp_path / "bin/boardctl-sim")
    words = ["-m", "oob_manifest.json", "get", "gpu", "7", "gpu.power.limit.total", "0"]
    environment = {"PATH": os.environ["PATH"], "LD_PRELOAD": SKIP_WAIT}
    for runner in tmp_path / "bin/boardctl-sim", link:
        printed = run(str(runner), *words, cwd=tmp_path, env=environment)
        assert (
            printed == "Starting GPU Manager...\nDevice[gpu7](gpu.power.limit.total) 500\n"
        ), runner
    command = [tmp_path / "bin/boardctl", *words]
    alone = subprocess.run(
        command, cwd=tmp_path, env=environment, capture_output=True, text=True, check=False
    )
    assert alone.returncode == 127
    assert "libdevmgr.so.0: cannot open shared object file" in alone.stderr


def test_the_installed_recorder_records(install, tmp_path):
    install("tool", "sim")
    shutil.copy(ROOT / "examples/oob_manifest.json", tmp_path)
    words = [tmp_path / "bin/boardctl-sim", "-m", "oob_manifest.json", "list", "gpu"]
    command = [tmp_path / "bin/boardctl-record", "recording", *words]
    assert run(*map(str, command), cwd=tmp_path) == run(*map(str, words), cwd=tmp_path)
    calls = (tmp_path / "recording").read_text()
    assert '"call":"DeviceGetSupportedProperties"' in calls
    assert calls.endswith('{"end":"exit","status":0,"calls":4}\n')


@pytest.mark.parametrize("name", ["a:b", "a;b", "$LIB"])
def test_the_runner_says_where_it_cannot_run(install, tmp_path, name):
    install("tool", "sim")
    folder = tmp_path.parent / name
    shutil.copytree(tmp_path, folder)
    done = subprocess.run(
        [folder / "bin/boardctl-sim", "-h"], capture_output=True, text=True, check=False
    )
    assert (done.returncode, done.stdout, done.stderr) == (
        1,
        "",
        f"boardctl-sim: cannot run from {folder}/bin: the loader does not find libraries in a "
        "folder with ':', ';' or '$' in its name\n",
    )
