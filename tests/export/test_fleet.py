"""The rules, the configuration and the console page for a Prometheus server, and the commands of the
page about them."""

import os
import pathlib
import re
import shutil
import subprocess

import pytest
from exporting import (
    EMULATOR,
    EXAMPLES,
    EXPORT,
    ROOT,
    SIM_LIBRARY,
    SIMULATED,
    environment,
    run,
    samples,
)
from limits import HANG

FLEET = EXAMPLES / "fleet"
RULES = (FLEET / "alerts.yml").read_text()
ALERTS = re.findall(r"- alert: (\w+)", RULES)


def promtool(*words, folder=FLEET):
    return subprocess.run(
        ["promtool", *words], cwd=folder, capture_output=True, text=True, timeout=HANG, check=False
    )


def test_the_files_are_valid():
    done = promtool("check", "rules", "alerts.yml")
    assert done.returncode == 0 and f"{len(ALERTS)} rules found" in done.stdout, done.stderr
    assert promtool("check", "config", "prometheus.yml").returncode == 0


def test_the_rules_pass_their_tests():
    done = promtool("test", "rules", "alerts_test.yml")
    assert (done.returncode, done.stdout.count("SUCCESS")) == (0, 1), done.stdout + done.stderr


def changed_rules():
    """The rules with one of them spoiled: it never fires, or waits longer."""
    for alert, rule in zip(ALERTS, re.split(r"- alert: \w+\n", RULES)[1:], strict=True):
        for pattern, by in ("expr: >?", "expr: absent(vector(1)) and "), ("for: ", "for: 1"):
            if re.search(pattern, rule):
                changed = RULES.replace(rule, re.sub(pattern, by, rule))
                yield pytest.param(changed, id=f"{alert} {pattern}")


@pytest.mark.parametrize("rules", changed_rules())
def test_the_tests_notice_a_changed_rule(tmp_path, rules):
    (tmp_path / "alerts.yml").write_text(rules)
    shutil.copy(FLEET / "alerts_test.yml", tmp_path)
    assert promtool("check", "rules", "alerts.yml", folder=tmp_path).returncode == 0
    assert promtool("test", "rules", "alerts_test.yml", folder=tmp_path).returncode == 1


def test_the_metrics_are_those_of_the_program():
    names = ("--names", EXAMPLES / "export_names.json", "--devices", "gpu:0")
    delivered = {key[0] for key in samples(run(*SIMULATED, *names).stdout)}
    delivered |= {"boardctl_device_read_failures"}  # Only where there are some.
    page = (FLEET / "consoles/boards.html").read_text()
    for text in RULES, (FLEET / "alerts_test.yml").read_text(), page:
        used = set(re.findall(r"boardctl_\w+", text))
        assert used and used <= delivered


PAGE = (ROOT / "docs/fleet.md").read_text()
COMMANDS = [
    re.fullmatch(r"(.*\n(?:> .*\n)*)((?:.*\n)*)", part).groups()
    for block in re.findall(r"^```console\n(.*?)^```$", PAGE, re.M | re.S)
    for part in re.split(r"^\$ ", block, flags=re.M)[1:]
]


@pytest.mark.skipif(bool(EMULATOR), reason="the page is for a shell without an emulator")
@pytest.mark.parametrize(("typed", "expected"), COMMANDS)
def test_what_the_page_shows(typed, expected):
    found = environment(LIBRARY=str(SIM_LIBRARY))
    found["PATH"] = f"{pathlib.Path(EXPORT).parent}:{os.environ['PATH']}"
    done = subprocess.run(
        ["sh", "-c", re.sub("^> ", "", typed, flags=re.M)], cwd=EXAMPLES, env=found,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=HANG, check=False,
    )  # fmt: skip
    assert done.stdout == expected


def test_the_page_names_the_alerts_and_shows_commands():
    assert (
        re.findall(r"^\| `(\w+)` \| (?!\d)", PAGE.partition("## Does it work?")[0], re.M) == ALERTS
    )
    assert len(COMMANDS) == 3
