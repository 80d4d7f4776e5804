"""A pytest plug-in: a test that lacks a program fails with the name of the package that has it."""

import pathlib

import pytest

LIST = pathlib.Path(__file__).resolve().parents[2] / "scripts/packages"


def package_of(program):
    for line in LIST.read_text().splitlines() if LIST.exists() else ():
        words = line.split("#")[0].split()
        if program in words[1:]:
            return words[1]
    return None


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    error = call.excinfo and call.excinfo.value
    if isinstance(error, FileNotFoundError) and (package := package_of(str(error.filename))):
        report = outcome.get_result()
        report.longrepr = (
            f"{item.nodeid}: {error.filename} is missing: install the package {package}"
        )
