"""The shells that scripts and recipes have to work with: dash, and BusyBox with its own utilities."""

import functools
import os
import subprocess
import tempfile

SHELLS = {"dash": ["dash"], "busybox": ["busybox", "sh"]}


@functools.cache
def applets():
    folder = tempfile.TemporaryDirectory()
    subprocess.run(["busybox", "--install", "-s", folder.name], check=True)
    return folder


def search_path(shell, *folders):
    """`PATH` with these folders first and then what the shell comes with."""
    own = [applets().name] if shell == "busybox" else []
    return ":".join([*map(str, folders), *own, os.environ["PATH"]])
