"""A program on a pseudo-terminal."""

import os
import pty
import select
import subprocess
import time

from limits import HANG


class Terminal:
    """The program's standard streams; `settings` are those of `stty`, the rest is Popen's."""

    def __init__(self, command, settings=(), **options):
        self.master, slave = pty.openpty()
        if settings:
            subprocess.run(["stty", *settings], stdin=slave, check=True)
        self.name = os.ttyname(slave)
        self.process = subprocess.Popen(command, stdin=slave, stdout=slave, stderr=slave, **options)
        os.close(slave)

    def type(self, text):
        os.write(self.master, text.encode())

    def read_until(self, text, limit=HANG):
        """What is printed, up to the piece that holds `text`."""
        seen = ""
        end = time.monotonic() + limit
        while text not in seen:
            assert select.select([self.master], [], [], max(0, end - time.monotonic()))[0], seen
            seen += os.read(self.master, 65536).decode(errors="replace")
        return seen

    def close(self):
        os.close(self.master)
