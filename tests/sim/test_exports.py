"""What the library exports is what the interface declares, both ways."""

import os
import re
import subprocess
from pathlib import Path

LIBRARY = os.environ["DEVMGR_LIBRARY"]
HEADERS = Path(os.environ["DEVMGR_HEADERS"])


def declared():
    names = set()
    for header in HEADERS.glob("*.h"):
        text = re.sub(r"//[^\n]*", "", header.read_text())
        linkage = False
        for match in re.finditer(r'extern "C" \{|\n\}|DEVMGR_API\s([^;{]*);', text):
            if match.group(1) is None:
                linkage = match.group(0).startswith("extern")
                continue
            declaration = " ".join(match.group(1).split())
            name = re.match(r"(?:int )?(\w+)", declaration).group(1)
            if "(" in declaration and not linkage:
                declaration = declaration.removeprefix("int ")
                name = re.sub(r" (\w+)(?=[,)])", "", declaration).replace("& ", "&")
            elif "(" not in declaration:
                name = declaration.split()[-1]
            names.add(name)
    return names


def exported():
    output = subprocess.run(
        ["nm", "-D", "-C", "--defined-only", LIBRARY], check=True, capture_output=True, text=True
    ).stdout
    names = set()
    for line in output.splitlines():
        name = line.split(maxsplit=2)[2]
        name = re.sub(r"std::__cxx11::basic_string<char.*?> >", "std::string", name)
        name = re.sub(r"std::vector<std::string, std::allocator<std::string ?> ?>", "std::vector<std::string>", name)
        name = name.replace("data_info::DataInfo::", "")
        name = name.replace("data_info::DataInfo const&", "const DataInfo&")
        names.add(name)
    return names


def test_exports_equal_declarations():
    assert exported() == declared()


def test_the_list_of_declarations_is_not_empty():
    assert {"GPUManagerInit", "logger", "TesselAsyncCmdKorswitch"} <= declared()
