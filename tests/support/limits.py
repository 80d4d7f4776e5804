"""Limits against hangs alone: no outcome depends on how fast the machine is."""

HANG = 1800  # seconds, over ten times what the slowest build takes on two idle cores
