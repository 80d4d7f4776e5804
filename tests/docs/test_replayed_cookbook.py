"""Every command of the cookbook prints the same when each session in it is replayed."""

import shutil

import pytest
from built_program import EMULATOR
from test_cookbook import SHELLS, Kitchen, commands

# Stands for the program. Sessions of one command run at the same time, so each goes by what is
# asked of it: such a session gives the same answers each time. The one session of a report goes by
# its log. It is asked while it runs, and looks at itself as a process, so it takes this one's place.
RECORDER = """#!/bin/sh
PATH=/usr/bin:/bin
asked=
case " $* " in
  *" -L "*) ;;
  *" shell "*) asked=$(cat && echo .) ;;
esac
journal=$(printf '%s\\n' "$@" "$asked" | cksum | tr ' ' -).jsonl
profile=
for word; do
  shift
  if [ "$previous" = -p ]; then
    profile=$word
    word=$journal.json
  fi
  set -- "$@" "$word"
  previous=$word
done
[ "$profile" ] || set -- -p "$journal.json" "$@"
{write}
case $asked in
  "") exec {program} "$@" ;;
  *) printf %s "${{asked%.}}" | {program} "$@" ;;
esac
"""
# What writes the profile that records a session, with all else that its own profile says, or the
# one that replays it.
RECORD = r"""sed "0,/{/s//{ \"journal\": \"$journal\",/" "${profile:-none.json}" >$journal.json"""
REPLAY = """printf '{"replay": {"journal": "%s"}}' $journal >$journal.json"""

# A report asks for a log in a temporary folder of its own, at a path that tells the time.
DATE = "#!/bin/sh\necho today\n"
MKTEMP = "#!/bin/sh\nmkdir {folder} && echo {folder}\n"


class RecordingKitchen(Kitchen):
    def __init__(self, root, shell, write, temporary):
        super().__init__(root, shell)
        (self.folder / "none.json").write_text('{"about": "nothing"}')
        program, script = root / "bin/program", root / "bin/boardctl"
        script.rename(program)
        script.write_text(RECORDER.format(write=write, program=program))
        (root / "bin/date").write_text(DATE)
        (root / "bin/mktemp").write_text(MKTEMP.format(folder=temporary))
        for name in "boardctl", "date", "mktemp":
            (root / "bin" / name).chmod(0o755)


@pytest.fixture(scope="module")
def kitchens(tmp_path_factory):
    shell = "busybox" if EMULATOR else next(iter(SHELLS))
    temporary = tmp_path_factory.mktemp("temporary") / "report"
    return [
        RecordingKitchen(tmp_path_factory.mktemp("cook"), shell, write, temporary)
        for write in (RECORD, REPLAY)
    ]


@pytest.mark.parametrize(("definitions", "command", "expected"), commands())
def test_command(kitchens, definitions, command, expected):
    recording, replaying = kitchens
    assert recording.cook(definitions + command) == expected
    for file in recording.folder.glob("*.jsonl"):
        shutil.copy(file, replaying.folder)
    replayed = replaying.cook(definitions + command)
    # A reader that leaves early ends the program, at another call each time.
    assert replayed == expected or "| head -n" in command


def test_the_commands_were_recorded(kitchens):
    recording, replaying = kitchens
    recorded = {file.stem for file in recording.folder.glob("*.jsonl")}
    replayed = {file.name.split(".")[0] for file in replaying.folder.glob("*.jsonl.json")}
    assert len(recorded) > 20
    logs = [file for file in recording.folder.glob("*.jsonl") if "/log.1" in file.read_text()]
    assert len(logs) == 1, "the session of the report"
    assert recorded <= replayed, "a request for help makes no recording"
