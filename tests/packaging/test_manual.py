"""The manual pages: well-formed, and in agreement with the program."""

import os
import re
import subprocess

import pytest
from conftest import GENERATED, ROOT, run
from limits import HANG

PAGES = {
    "boardctl(1)": GENERATED / "boardctl.1",
    "boardctl-sim(7)": ROOT / "docs/man/boardctl-sim.7",
    "devmgr-check(1)": ROOT / "docs/man/devmgr-check.1",
}
OTHERS = {"rlwrap(1)"}


def rendered(page):
    text = run("mandoc", "-T", "utf8", "-O", "width=400", str(PAGES[page]))
    return re.sub(".\b", "", text)


@pytest.mark.parametrize("page", PAGES)
def test_lint_finds_nothing_but_pages_that_are_not_installed(page):
    command = ["mandoc", "-T", "lint", str(PAGES[page])]
    done = subprocess.run(command, capture_output=True, text=True, timeout=HANG, check=False)
    absent = r"(?:referenced manual not found: Xr|outdated mandoc\.db lacks) ([\w-]+)[ (](\d)"
    for finding in (done.stdout + done.stderr).splitlines():
        missing = re.search(absent, finding)
        assert missing, finding
        assert f"{missing[1]}({missing[2]})" in {*PAGES, *OTHERS}, finding


def test_options_and_commands_are_those_of_the_usage(usage):
    page = rendered("boardctl(1)")
    lists = page[page.index("\nOPTIONS\n") : page.index("\n   Device types\n")]
    items = {
        re.sub(r"\s{2,}.*", "", item): None
        for item in re.findall(r"^ {5}(-.*|[a-z].*)$", lists, re.M)
    }
    expected = [re.sub(r"[<>]", "", re.sub(r"\s{2,}.*", "", line)) for line in usage]
    assert [item for item in items if item in expected] == expected
    assert {item.split()[0] for item in items if item.startswith("-")} == {
        line.split()[0] for line in usage if line.startswith("-")
    }


def test_the_words_of_a_session_are_those_of_the_shell():
    page = rendered("boardctl(1)")
    part = page[page.index("   The shell") : page.index("\nFILES\n")]
    for word in ("snapshot refresh_status", "help", "quit, exit"):
        assert re.search(rf"^ {{5}}{word}(?:  |$)", part, re.M), word


@pytest.mark.parametrize("page", PAGES)
def test_every_page_is_a_page_for_man_too(page):
    done = subprocess.run(
        ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(PAGES[page])],
        env={**os.environ, "MANROFFSEQ": "", "LC_ALL": "C.UTF-8"},
        capture_output=True,
        text=True,
        timeout=HANG,
        check=False,
    )
    assert (done.returncode, done.stderr) == (0, "")
