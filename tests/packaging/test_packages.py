"""The Debian packages of this machine's architecture and of the controller's, built from the files
as they are now. The script that builds them fails on whatever lintian finds."""

import gzip
import os
import pathlib
import re
import subprocess

import pytest
from conftest import BUILD, ROOT, run
from limits import HANG

SKIP_WAIT = os.environ["BOARDCTL_SKIP_WAIT"]
PROGRAMS = ("boardctl", "boardctl-sim")

pytestmark = pytest.mark.skipif(
    not (ROOT / ".git").exists(), reason="packages are made from a commit"
)


@pytest.fixture(scope="module")
def architectures():
    """The packages of each architecture by name; those for all of them are in each."""
    here = run("dpkg", "--print-architecture").strip()
    worktree = {**os.environ, "BOARDCTL_REVISION": "WORKTREE"}
    run("scripts/package", here, "armhf", cwd=ROOT, env=worktree)

    def built(architecture):
        packages = {name: ROOT / f"out/{name}_0.1_{architecture}.deb" for name in PROGRAMS}
        packages["boardctl-doc"] = ROOT / "out/boardctl-doc_0.1_all.deb"
        return {name: str(package) for name, package in packages.items()}

    return {architecture: built(architecture) for architecture in (here, "armhf")}


@pytest.fixture(scope="module")
def packages(architectures):
    return next(iter(architectures.values()))


def field(package, name):
    return run("dpkg-deb", "--field", package, name).strip()


def contents(package):
    lines = run("dpkg-deb", "--contents", package).splitlines()
    return [re.split(r"\s+", line, maxsplit=5)[5] for line in lines]


def test_dependencies(packages):
    tool = field(packages["boardctl"], "Depends")
    assert re.search(r"libc6 \(>= ", tool) and "libstdc++6" in tool
    assert "devmgr" not in tool and "boardctl" not in tool and ":" not in tool
    assert "boardctl (= 0.1)" in field(packages["boardctl-sim"], "Depends")
    assert "which this package therefore does not depend on" in re.sub(
        r"\s+", " ", field(packages["boardctl"], "Description")
    )


def needed_versions(folder):
    """The names of symbol versions that programs ask of libraries, without what follows the name of
    the first release for an architecture."""
    magic = b"\x7fELF"
    files = [path for path in folder.rglob("*") if path.is_file() and not path.is_symlink()]
    programs = [path for path in files if path.read_bytes()[:4] == magic]
    assert programs
    text = run("readelf", "-VW", *map(str, programs))
    return set(re.findall(r"Name: (\w+_[\d.]+) ", text))


def newest(versions):
    return max(versions, key=lambda version: [int(part) for part in version.split(".")])


@pytest.mark.parametrize("name", PROGRAMS)
def test_the_systems_libraries_are_required_as_the_programs_need_them(
    architectures, tmp_path, name
):
    native = run("dpkg", "--print-architecture").strip()
    symbols = run("dpkg-query", "--control-path", f"libstdc++6:{native}", "symbols").strip()
    since = dict(re.findall(r"^ (\w+_[\d.]+)@\S+ (\S+)$", pathlib.Path(symbols).read_text(), re.M))
    for architecture, packages in architectures.items():
        folder = tmp_path / architecture
        run("dpkg-deb", "--extract", packages[name], str(folder))
        needed = needed_versions(folder)
        expected = {
            "libc6": newest(word.removeprefix("GLIBC_") for word in needed if "GLIBC_" in word),
            "libgcc-s1": newest(word.removeprefix("GCC_") for word in needed if "GCC_" in word),
            "libstdc++6": newest(
                since[word] for word in needed if re.match(r"GLIBCXX_|CXXABI_\d", word)
            ),
        }
        depends = re.findall(r"([\w.+-]+)(?: \(>= (.*?)\))?", field(packages[name], "Depends"))
        found = {library: version for library, version in depends if library.startswith("lib")}
        assert found == expected, architecture


def test_the_documents_are_in_one_package(packages):
    pages = {
        name: {line.rpartition("/")[2] for line in contents(package) if line.endswith(".md")}
        for name, package in packages.items()
    }
    assert pages.pop("boardctl-doc") >= {"README.md", "cookbook.md", "simulated-board.md"}
    assert not any(pages.values())
    assert field(packages["boardctl-doc"], "Architecture") == "all"


def test_the_links_of_the_documents_lead_to_files_of_their_package(packages, tmp_path):
    run("dpkg-deb", "--extract", packages["boardctl-doc"], str(tmp_path))
    documents = sorted((tmp_path / "usr/share/doc").rglob("*.md"))
    links = [
        (document, link)
        for document in documents
        for link in re.findall(r"\]\(([^)#:]+\.\w+)(?:#.*?)?\)", document.read_text())
        if "/" in link or link.endswith((".md", ".svg"))
    ]
    assert len(links) > 10
    for document, link in links:
        assert (document.parent / link).exists(), (document.name, link)


def test_contents(packages):
    tool = contents(packages["boardctl"])
    for name in (
        "bin/boardctl",
        "bin/boardctl-export",
        "bin/boardctl-record",
        "bin/boardctl-report",
        "bin/boardctl-shell",
        "bin/devmgr-check",
        "share/man/man1/boardctl.1.gz",
        "share/man/man1/boardctl-record.1.gz",
        "share/man/man1/devmgr-check.1.gz",
        "share/bash-completion/completions/boardctl",
        "share/zsh/vendor-completions/_boardctl",
        "share/rlwrap/completions/boardctl",
    ):
        assert f"./usr/{name}" in tool, name
    assert [name for name in tool if ".so" in name] == ["./usr/lib/boardctl/libboardctl-record.so"]
    libraries = [name for name in contents(packages["boardctl-sim"]) if ".so" in name]
    assert libraries == ["./usr/lib/boardctl/sim/libdevmgr.so.0"]
    assert "./usr/bin/boardctl-journal" in contents(packages["boardctl-sim"])


def files_below(folder):
    return {
        str(path.relative_to(folder)): path
        for path in folder.rglob("*")
        if path.is_file() and not path.is_symlink()
    }


def test_they_hold_the_files_of_this_build(packages, tmp_path):
    """The packages are built elsewhere, from the archive and without git."""
    built, packed = tmp_path / "built", tmp_path / "packed"
    run("cmake", "--install", str(BUILD), "--prefix", str(built))
    for package in packages.values():
        run("dpkg-deb", "--extract", package, str(packed))
    found = files_below(packed / "usr")
    expected = files_below(built)
    assert len(expected) > 30
    for name, path in expected.items():
        name = name.replace("zsh/site-functions", "zsh/vendor-completions")
        # The units name the program where the build would install it.
        content = path.read_bytes().replace(b"=/usr/local/bin/", b"=/usr/bin/")
        if content.startswith(b"\x7fELF"):
            # Debug information is packaged apart, and is part of what the build's number is made of.
            assert code(found[name], tmp_path) == code(path, tmp_path), name
        elif name in found:
            assert found[name].read_bytes() == content, name
        else:
            assert gzip.decompress(found[f"{name}.gz"].read_bytes()) == content, name


def code(program, folder):
    """What of a program is loaded into memory, but for the number of its build."""
    image = folder / "image"
    other = [
        f"--remove-section={name}" for name in (".note.gnu.build-id", ".gnu_debug*", ".comment")
    ]
    run("objcopy", "--strip-all", *other, str(program), str(image))
    return image.read_bytes()


def test_nothing_tells_the_loader_or_other_packages_of_the_simulated_board(packages, tmp_path):
    for package in packages.values():
        run("dpkg-deb", "--control", package, str(tmp_path / "control"))
        names = {path.name for path in (tmp_path / "control").iterdir()}
        assert names == {"control", "md5sums"}, package
        for name in names:
            (tmp_path / "control" / name).unlink()
        assert not [name for name in contents(package) if "ld.so.conf" in name], package


def test_the_packages_work_together(packages, tmp_path):
    for package in packages.values():
        run("dpkg-deb", "--extract", package, str(tmp_path))
    manifest = tmp_path / "usr/share/doc/boardctl-sim/examples/oob_manifest.json"
    printed = run(
        str(tmp_path / "usr/bin/boardctl-sim"),
        *["-m", str(manifest), "get", "gpu", "7", "gpu.power.limit.total", "0"],
        env={"PATH": os.environ["PATH"], "LD_PRELOAD": SKIP_WAIT},
    )
    assert printed == "Starting GPU Manager...\nDevice[gpu7](gpu.power.limit.total) 500\n"
    library = tmp_path / "usr/lib/boardctl/sim/libdevmgr.so.0"
    checked = subprocess.run(
        [tmp_path / "usr/bin/devmgr-check", library], timeout=HANG, check=False
    )
    assert checked.returncode == 0
