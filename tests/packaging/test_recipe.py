"""The recipe for images, as far as it can be told without the build system: its variables agree with
what is installed, and one switch leaves out the simulated board and what runs on it."""

import ast
import fnmatch
import re
import types

import pytest
from conftest import BUILD, ROOT, run

FOLDERS = {
    "bindir": "bin",
    "libdir": "lib",
    "datadir": "share",
    "docdir": "share/doc",
    "systemd_system_unitdir": "lib/systemd/system",
}
DEFAULTS = {
    **FOLDERS,
    "PN": "boardctl",
    "DISTRO_FEATURES": "ptest",
    "PACKAGES": "boardctl-doc boardctl",
    "PTEST_PATH": "lib/boardctl/ptest",
    "FILES:boardctl": "bin/* lib/lib*.so.*",
    "FILES:boardctl-doc": "share/doc share/man",
    "FILES:boardctl-ptest": "lib/boardctl/ptest",
}
# Where the build system's Python keeps the modules that its package python3-core lacks.
MODULES = {
    "calendar": "datetime",
    "datetime": "datetime",
    "json": "json",
    "pty": "terminal",
    "pytest": "pytest",
    "shlex": "shell",
    "shutil": "shell",
}
CORE = {"os", "pathlib", "re", "select", "subprocess", "sys", "time", "typing"}


class Recipe:
    """The recipe's variables, after those of a file that is read before it."""

    def __init__(self, **settings):
        (path,) = (ROOT / "packaging/bitbake").glob("*.bb")
        self.text = path.read_text().replace("\\\n", "")
        self.variables = {**DEFAULTS, **settings}
        for name, operator, value in re.findall(
            r'^([\w:${}-]+) (\?=|=\+|\+=|=) "(.*)"$', self.text, re.M
        ):
            self.assign(self.expand(name), operator, value)

    def assign(self, name, operator, value):
        before = self.variables.get(name)
        if operator == "?=":
            value = value if before is None else before
        elif operator == "+=":
            value = f"{before or ''} {value}"
        elif operator == "=+":
            value = f"{value} {before or ''}"
        self.variables[name] = value

    def expand(self, text):
        python = types.SimpleNamespace(utils=types.SimpleNamespace(contains=self.contains))
        scope = {"d": types.SimpleNamespace(getVar=self.get), "bb": python}
        text = re.sub(r"\$\{(\w+)\}", lambda found: self.get(found[1]), text)
        return re.sub(r"\$\{@(.*?)\}", lambda found: str(eval(found[1], scope)), text)

    def get(self, name):
        return self.expand(self.variables.get(name, ""))

    def contains(self, name, word, then, otherwise, _):
        return then if word in self.get(name).split() else otherwise

    def words(self, name):
        return self.get(name).split()


@pytest.fixture(scope="module")
def packages(tmp_path_factory):
    """The files of each package: a file belongs to the first that names it."""
    image = tmp_path_factory.mktemp("image")
    for component in "tool", "sim", "check", "docs", "ptest":
        run("cmake", "--install", str(BUILD), "--prefix", str(image), "--component", component)
    recipe = Recipe()
    found = {name: [] for name in ["boardctl-ptest", *recipe.words("PACKAGES")]}
    # The tests were built for this machine, with its name for the folder of libraries.
    library_folder = next(path.parent for path in image.glob("lib/**/boardctl"))
    for path in (path for path in image.rglob("*") if not path.is_dir()):
        name = str(path.relative_to(image))
        if library_folder in path.parents:
            name = "lib/" + str(path.relative_to(library_folder))
        (package,) = [
            package
            for package in found
            if any(
                fnmatch.fnmatchcase(name, pattern) or name.startswith(pattern + "/")
                for pattern in recipe.words(f"FILES:{package}")
            )
        ][:1]
        found[package].append(path)
    return found


def names(paths):
    return {path.name for path in paths}


def test_every_file_is_in_its_package(packages):
    assert {"boardctl", "boardctl-export", "boardctl-export.service"} <= names(packages["boardctl"])
    assert names(packages["boardctl"]) & {"boardctl-sim", "devmgr-check", "run-ptest"} == set()
    assert {"boardctl-sim", "boardctl-journal", "libdevmgr.so.0", "oob_manifest.json"} <= names(
        packages["boardctl-sim"]
    )
    assert {"run-ptest", "libskip_wait.so"} <= names(packages["boardctl-ptest"])
    assert {"boardctl.1", "simulated-board.md"} <= names(packages["boardctl-doc"])
    assert names(packages["boardctl-check"]) == {"devmgr-check"}


def test_no_package_is_required_for_a_library_that_is_its_own(packages):
    recipe = Recipe()
    private = set()
    for package, files in packages.items():
        libraries = {name for name in names(files) if ".so" in name}
        assert libraries == set(recipe.words(f"PRIVATE_LIBS:{package}")), package
        private |= libraries
    for package, files in packages.items():
        programs = [path for path in files if path.read_bytes()[:4] == b"\x7fELF"]
        needed = run("readelf", "-dW", *map(str, programs)) if programs else ""
        own = private & names(files)
        if own or private & set(re.findall(r"NEEDED.*\[(.*)\]", needed)):
            assert recipe.get(f"SKIP_FILEDEPS:{package}") == "1", package


def test_the_modules_that_the_tests_import_are_required(packages):
    sources = [path for path in packages["boardctl-ptest"] if path.suffix == ".py"]
    imported = set()
    for node in (node for path in sources for node in ast.walk(ast.parse(path.read_text()))):
        if isinstance(node, ast.Import):
            imported |= {alias.name.partition(".")[0] for alias in node.names}
        elif isinstance(node, ast.ImportFrom):
            imported.add(node.module.partition(".")[0])
    imported -= CORE | {path.stem for path in sources}
    required = {f"python3-{MODULES[module]}" for module in imported}
    assert required == {
        name for name in Recipe().words("RDEPENDS:boardctl-ptest") if name.startswith("python3-")
    }


def test_what_the_classes_set_is_kept():
    text = Recipe().text
    assert re.search(r"^RDEPENDS:\$\{PN\}-ptest \+=", text, re.M)
    assert not re.search(r"^S =", text, re.M)
    for name in "SUMMARY", "DESCRIPTION", "HOMEPAGE", "SECTION", "LICENSE":
        assert re.search(rf"^{name} = ", text, re.M), name


@pytest.mark.parametrize("library", ["", "/usr/lib/libdevmgr.so.0"])
def test_a_library_of_the_maker_leaves_out_the_simulated_board_and_the_tests(library):
    recipe = Recipe(DEVMGR_LIBRARY=library)
    simulated = not library
    assert ("boardctl-sim" in recipe.words("PACKAGES")) == simulated
    assert (recipe.get("PTEST_ENABLED") == "1") == simulated
    assert recipe.words("DEPENDS") == (["nlohmann-json", "googletest"] if simulated else [])
    assert (recipe.get("SKIP_FILEDEPS:boardctl") == "1") == simulated
    options = recipe.words("EXTRA_OECMAKE")
    assert f"-DBOARDCTL_DEVMGR_LIBRARY:PATH={library}" in options
    assert ("-DBOARDCTL_TESTS=OFF" in options) == (not simulated)


def test_every_option_is_one_of_the_builds():
    given = set(re.findall(r"-D(BOARDCTL_\w+)", Recipe().text))
    assert len(given) > 4
    cache = (BUILD / "CMakeCache.txt").read_text()
    here = set(re.findall(r"^(BOARDCTL_\w+):", cache, re.M))
    assert given - here == {"BOARDCTL_BUILD_CXX"}
    assert "set(BOARDCTL_BUILD_CXX c++ CACHE" in (ROOT / "packaging/CMakeLists.txt").read_text()
