"""What the README shows is what happens."""

import re

from built_program import BOARD, ROOT

README = (ROOT / "README.md").read_text()


def test_the_session_is_a_real_one(boardctl):
    block = re.search(r"\$ \./boardctl (.* shell)\n((?:    .*\n|\n)*)", README)
    assert tuple(block.group(1).split()) == (*BOARD, "shell")
    shown = re.sub(r"^    ", "", block.group(2).rstrip("\n") + "\n", flags=re.MULTILINE)
    typed = "".join(re.findall(r"^> (.*\n)", shown, flags=re.MULTILINE))
    assert typed.endswith("quit\n")
    # A terminal shows what is typed behind the prompt; the program itself does not.
    expected = re.sub(r"^> .*\n", "> ", shown, flags=re.MULTILINE)
    assert boardctl(*BOARD, "shell", stdin=typed) == (expected, "", 0)


def test_the_scripts_and_folders_that_it_names_exist():
    named = re.findall(r"`((?:[a-z]+/)+(?:[a-z-]+)?)`|^    (scripts/\w+)", README, re.MULTILINE)
    assert len(named) > 10
    for folder, script in named:
        path = folder or script
        assert (ROOT / path).exists() or (ROOT / "tests" / path).exists(), path
