"""Wrong use gets one line that says where and what, and status 2."""

import json
import os
import pathlib
import re

import pytest
from exporting import MANIFEST, SIMULATED, Stub, run

TABLE = pathlib.Path(__file__).parents[2] / "tools/boardctl-export/option_table.h"
GPU = ("--devices", "gpu:0")


def wrong(done, line):
    assert (done.returncode, done.stdout, done.stderr) == (2, b"", f"boardctl-export: {line}\n")


@pytest.mark.parametrize(
    ("devices", "what"),
    [
        ("gpux:0", "'gpux:0' does not begin with a device type"),
        ("", "the value is empty"),
        ("gpu:0,", "'' does not begin with a device type"),
        ("gpu:0, hsc:0", "' hsc:0' does not begin with a device type"),
        ("gpu", "'gpu' has no number or range from 0 to 255 after the ':'"),
        ("gpu:", "'gpu:' has no number or range from 0 to 255 after the ':'"),
        ("gpu:a", "'gpu:a' has no number or range from 0 to 255 after the ':'"),
        ("gpu:0-", "'gpu:0-' has no number or range from 0 to 255 after the ':'"),
        ("gpu:-1", "'gpu:-1' has no number or range from 0 to 255 after the ':'"),
        ("gpu:0-256", "'gpu:0-256' has no number or range from 0 to 255 after the ':'"),
        ("gpu:99999999999", "'gpu:99999999999' has no number or range from 0 to 255 after the ':'"),
        ("gpu:7-3", "'gpu:7-3' runs backwards"),
        ("gpu:0-3,gpu:2", "'gpu:2' contains gpu 2 again"),
        ("g\x1b:0", "'g\\x1B:0' does not begin with a device type"),
    ],
)
def test_devices(devices, what):
    wrong(run(*SIMULATED, "--devices", devices), f"--devices: {what}")


@pytest.mark.parametrize(
    ("words", "line"),
    [
        ((), "--devices: missing"),
        ((*GPU, "word"), "not an option: 'word'"),
        ((*GPU, "--odd"), "unrecognized option '--odd'"),
        ((*GPU, "--output"), "option '--output' requires an argument"),
        ((*GPU, "--output", ""), "--output: the value is empty"),
        ((*GPU, "--mode", "2"), "--mode: not one of 0|1: '2'"),
        ((*GPU, "--format", "xml"), "--format: not one of prometheus|json: 'xml'"),
        ((*GPU, "--every", "0"), "--every: not 0.001 to 86400 seconds: '0'"),
        ((*GPU, "--every", "1e3"), "--every: not 0.001 to 86400 seconds: '1e3'"),
        ((*GPU, "--timeout", "-1"), "--timeout: not 0.001 to 86400 seconds: '-1'"),
        ((*GPU, "--read-timeout", "2s"), "--read-timeout: not 0.001 to 86400 seconds: '2s'"),
        ((*GPU, "--label", "a"), "--label: no '=' in 'a'"),
        ((*GPU, "--label", "1=a"), "--label: no name for a label: '1'"),
        ((*GPU, "--label", "__a=a"), "--label: no name for a label: '__a'"),
        ((*GPU, "--label", "kind=a"), "--label: 'kind' is there already"),
        ((*GPU, "--label", "a=1", "--label", "a=2"), "--label: 'a' is there already"),
        ((*GPU, "--label", "a=\udcff"), "--label: the value is not UTF-8: '\\xFF'"),
        ((*GPU, "--properties", "gpu.*,"), "--properties: an empty pattern in 'gpu.*,'"),
        ((*GPU, "-p", "/no/file"), "--profile: '/no/file': No such file or directory"),
        ((*GPU, "--names", "/no/file"), "/no/file: cannot be read"),
    ],
)
def test_words(words, line):
    words = [word.encode("utf-8", "surrogateescape") for word in words]
    done = run(*SIMULATED, *map(os.fsdecode, words))
    wrong(done, line)


def test_the_manifest_is_required():
    wrong(run(*GPU), "--manifest: missing")
    wrong(run("-m", "/no/file", *GPU), "--manifest: '/no/file': No such file or directory")


def test_a_pattern_that_matches_nothing(tmp_path):
    stub = Stub(tmp_path)
    done = stub("--properties", "gpu.a,gpu.c*", "--output", tmp_path / "board.prom")
    wrong(done, "--properties: 'gpu.c*' matches no property of these devices")
    assert not (tmp_path / "board.prom").exists()


def metric(**keys):
    return {"help": "Help.", "properties": {"gpu.a": 0}} | keys


@pytest.mark.parametrize(
    ("rules", "where", "what"),
    [
        ({}, "1:1", "'metrics' is missing"),
        ({"metrics": {}, "odd": 1}, "3:10", "unknown key 'odd'"),
        ({"metrics": []}, "2:14", "not an object"),
        ({"metrics": {"a": metric(odd=1)}}, "8:14", "unknown key 'odd'"),
        ({"metrics": {"a": {"properties": {}}}}, "3:10", "'help' is missing"),
        ({"metrics": {"1a": metric()}}, "3:11", "no name for a metric: '1a'"),
        (
            {"metrics": {"boardctl_up": metric()}},
            "3:20",
            "the program has a metric 'boardctl_up' of its own",
        ),
        ({"metrics": {"a": metric(type="sum")}}, "8:15", "not 'gauge' or 'counter'"),
        (
            {"metrics": {"a": metric(type="counter")}},
            "3:10",
            "the name of a counter ends with '_total'",
        ),
        (
            {"metrics": {"a": metric(unit="volts")}},
            "8:15",
            "the metric's name does not end with _volts",
        ),
        ({"metrics": {"a": metric(properties={"gpu.a": 19})}}, "6:18", "not in -18 to 18"),
        ({"metrics": {"a": metric(properties={"gpu.a": 0.5})}}, "6:18", "not an integer"),
        (
            {"metrics": {"a": metric(), "b": metric(properties={"gpu.*": 0})}},
            "12:18",
            "'gpu.*' and 'gpu.a' stand for the same properties",
        ),
        (
            {"metrics": {"a": metric(properties={"*.x": 0, "gpu.*": 0})}},
            "7:18",
            "'gpu.*' and '*.x' stand for the same properties",
        ),
    ],
)
def test_rules(tmp_path, rules, where, what):
    file = tmp_path / "names.json"
    file.write_text(json.dumps(rules, indent=2))
    wrong(run(*SIMULATED, *GPU, "--names", file), f"{file}:{where}: {what}")


@pytest.mark.parametrize(
    ("text", "where", "what"),
    [
        ("", "1:1", "not an object"),
        ('{"metrics": {}', "1:15", "',' or '}' is missing"),
        ('{\n"metrics": {"a\n": 1}}', "2:15", "a control character in a text"),
        ('{"metrics": {},\r\n "metrics": {}}', "2:2", "'metrics' occurs twice"),
    ],
)
def test_rules_that_are_no_json(tmp_path, text, where, what):
    file = tmp_path / "names.json"
    file.write_text(text, newline="")
    wrong(run(*SIMULATED, *GPU, "--names", file), f"{file}:{where}: {what}")


def test_rules_that_never_meet_are_accepted(tmp_path):
    file = tmp_path / "names.json"
    patterns = {"gpu.*.x": 0, "gpu.*.y": 0, "hsc.*": 0, "gpu.z": 0}
    file.write_text(json.dumps({"metrics": {"a": metric(properties=patterns)}}))
    assert run(*SIMULATED, *GPU, "--names", file).returncode == 0


def test_the_help_shows_each_option_of_the_table():
    done = run("--help")
    assert (done.returncode, done.stderr) == (0, "")
    rows = re.findall(r"^    \{(?:'(\w)'|0), \"([\w-]+)\"", TABLE.read_text(), re.MULTILINE)
    assert len(rows) == 16
    shown = re.findall(r"^  (?:-(\w),|   ) --(\S+) ", done.stdout.decode(), re.MULTILINE)
    assert shown == rows
    assert run("-h").stdout == done.stdout


def test_the_version():
    assert run("--version").stdout == b"boardctl-export 0.1\n"
    assert run(*MANIFEST, "--version").returncode == 0
