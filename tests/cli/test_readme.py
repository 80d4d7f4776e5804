"""What README.md and CONTRIBUTING.md show is what happens.

scripts/newcomer runs the commands that install, build and take long, in a fresh system.
"""

import json
import os
import pathlib
import re
import subprocess

import pytest
from built_program import EMULATOR, ROOT, SANITIZED, Boardctl
from limits import HANG
from missing_program import package_of
from terminal import Terminal

PAGES = {name: (ROOT / name).read_text() for name in ("README.md", "CONTRIBUTING.md")}
BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```$", "".join(PAGES.values()), re.M | re.S)
COMMANDS = [
    command
    for language, text in BLOCKS
    if language == "sh"
    for command in re.split(r" && |\n", text.strip())
]
DEMO = (ROOT / "scripts/demo").read_text()
BUILD = pathlib.Path(os.environ["BOARDCTL_BUILD"])
once = pytest.mark.skipif(SANITIZED or bool(EMULATOR), reason="once is enough, in the preset dev")


def console(word):
    """The command that has the word, and what it prints."""
    (found,) = [text for language, text in BLOCKS if language == "console" and word in text]
    command, _, shown = found.removeprefix("$ ").partition("\n")
    return command, shown


def test_the_session_is_a_real_one(boardctl):
    command, shown = console("> get gpu")
    typed = "".join(re.findall(r"^> (.*\n)", shown, flags=re.MULTILINE))
    assert typed.endswith("quit\n")
    # A terminal shows what is typed behind the prompt; the program itself does not.
    expected = re.sub(r"^> .*\n", "> ", shown, flags=re.MULTILINE)
    assert command.startswith("./boardctl ")
    assert boardctl(*command.split()[1:], stdin=typed) == (expected, "", 0)


def test_the_command_is_a_real_one(boardctl):
    command, shown = console("get gpu 3")
    assert boardctl(*command.split()[1:]) == (shown, "", 0)


def test_the_line_with_the_launcher_completes_after_the_demo(tmp_path, boardctl):
    command, _ = console("boardctl-shell")
    examples = tmp_path / "examples"
    examples.mkdir()
    (examples / "oob_manifest.json").symlink_to(ROOT / "examples/oob_manifest.json")
    boardctl.script(examples / "boardctl")
    (tmp_path / "build").mkdir()
    (tmp_path / "build/dev").symlink_to(BUILD)
    wrapped = Terminal(
        ["setsid", "--ctty", "/bin/sh", "-c", command],
        settings=["cols", "200", "rows", "50"],
        cwd=examples,
        env=Boardctl.environment() | {"TERM": "vt100", "HOME": str(tmp_path)},
    )
    wrapped.read_until("> ")
    wrapped.type("get gpu 0 gpu.power.limit.to\t\r")
    wrapped.read_until("Device[gpu0](gpu.power.limit.total) 500")
    wrapped.type("\x04quit\r")
    assert wrapped.process.wait(timeout=HANG) == 0
    wrapped.close()


@once
def test_the_demo_installs_and_builds_what_that_line_needs():
    jobs = re.search(r"^scripts/setup (.*)", DEMO, re.MULTILINE)[1].split()
    for program in "rlwrap", "cmake", "ninja", "g++":
        rows = re.findall(
            rf"^(\w+) +{re.escape(package_of(program))}(?: |$)", packages(), re.MULTILINE
        )
        assert set(rows) & set(jobs), program
    targets = re.search(r"--target (.*)", DEMO)[1].split()
    inputs = subprocess.run(
        ["ninja", "-C", BUILD, "-t", "inputs", *targets], capture_output=True, text=True, check=True
    ).stdout
    assert "/packaging/completion/rlwrap.in\n" in inputs


def packages():
    return (ROOT / "scripts/packages").read_text()


def preset(kind, name):
    presets = json.loads((ROOT / "CMakePresets.json").read_text())[kind]
    assert name in {entry["name"] for entry in presets if not entry.get("hidden")}


def script(name, *words):
    assert os.access(ROOT / "scripts" / name, os.X_OK)
    for word in words:
        if name == "setup":
            assert re.search(rf"^{word} ", packages(), re.MULTILINE), word
        else:
            preset("configurePresets", word)


def deb(*files):
    version = re.match(r"boardctl \((.*?)\)", (ROOT / "packaging/debian/changelog").read_text())[1]
    for file in files:
        installed(re.fullmatch(rf"\./out/([\w-]+)_{version}_amd64\.deb", file)[1])


def installed(*names):
    built = re.findall(r"^Package: (.*)", (ROOT / "packaging/debian/control").read_text(), re.M)
    assert set(names) <= set(built)


def simulated(boardctl, *words):
    command = [word.replace("/usr/share/doc/boardctl-sim", str(ROOT)) for word in words]
    run = boardctl(*command)
    assert (run.stderr, run.status) == ("", 0)
    assert "gpu.power.limit.total\n" in run.stdout


FORMS = [
    (r"scripts/(.+)", lambda _, words: script(*words.split())),
    (r"cmake --preset (\S+)", lambda _, name: preset("configurePresets", name)),
    (r"cmake --build --preset (\S+)", lambda _, name: preset("buildPresets", name)),
    (
        r'ctest --preset (\S+) -j"\$\(\(3 \* \$\(nproc\)\)\)"',
        lambda _, name: preset("testPresets", name),
    ),
    (r"build/dev/(\S+)", lambda _, program: os.stat(BUILD / program)),
    (r"sudo apt install (.+)", lambda _, words: deb(*words.split())),
    (r"sudo apt remove (.+)", lambda _, words: installed(*words.split())),
    (r"boardctl-sim (.+)", lambda boardctl, words: simulated(boardctl, *words.split())),
]


@pytest.mark.parametrize("command", dict.fromkeys(COMMANDS))
def test_a_command_names_what_is_there(command, boardctl):
    for form, check in FORMS:
        if match := re.fullmatch(form, command):
            check(boardctl, match[1])
            return
    pytest.fail("a command of a kind that nothing checks")


@pytest.mark.parametrize("page", PAGES)
def test_the_files_and_folders_that_it_names_exist(page):
    text = re.sub(r"^```.*?^```$", "", PAGES[page], flags=re.M | re.S)
    inline = re.findall(r"`((?:[a-z][\w-]*/)+[\w.-]*)[` ]", text)
    linked = re.findall(r"\]\((.*?)\)", text)
    assert inline and len(inline) + len(linked) > 10
    for path in inline + linked:
        file, _, heading = path.partition("#")
        target = ROOT / (file or page)
        assert target.exists(), path
        assert not heading or heading in headings(target), path


def headings(page):
    """The anchors of a page, as its readers' programs form them."""
    titles = re.findall(r"^#+ (.*)", page.read_text(), re.M)
    return [re.sub(r"[^\w -]", "", title).lower().replace(" ", "-") for title in titles]
