"""The source archive: the same bytes each time, built without git, to the same files anywhere."""

import hashlib
import os
import tarfile

import pytest
from conftest import ROOT, run

pytestmark = pytest.mark.skipif(
    not (ROOT / ".git").exists(), reason="the archive is made from a commit"
)


def make_archive(folder, **environment):
    run("scripts/source-archive", str(folder), cwd=ROOT, env={**os.environ, **environment})
    (archive,) = folder.iterdir()
    return archive


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    return make_archive(tmp_path_factory.mktemp("archive"))


def test_the_same_revision_gives_the_same_bytes(archive, tmp_path):
    before = os.umask(0o077)
    try:
        again = make_archive(tmp_path, TZ="Asia/Tokyo", LC_ALL="C.UTF-8")
    finally:
        os.umask(before)
    assert again.name == "boardctl-0.1.tar.gz"
    assert again.read_bytes() == archive.read_bytes()


def test_the_time_of_its_files_can_be_given(tmp_path):
    with tarfile.open(make_archive(tmp_path, SOURCE_DATE_EPOCH="1700000000")) as files:
        assert {member.mtime for member in files} == {1700000000}
        assert {(member.uid, member.gid, member.uname) for member in files} == {(0, 0, "")}


def test_it_holds_what_the_repository_holds(archive):
    with tarfile.open(archive) as files:
        names = {member.name.partition("/")[2] for member in files if not member.isdir()}
    assert names == set(run("git", "ls-tree", "-r", "--name-only", "HEAD", cwd=ROOT).split("\n")) - {""}


def test_two_builds_in_two_folders_give_identical_files(archive, tmp_path):
    environment = {**os.environ, "GIT_DIR": "/nonexistent"}
    installed = []
    for source, build in (("one", "one/build"), ("another/tree", "apart")):
        folder = tmp_path / source
        folder.mkdir(parents=True)
        run("tar", "-xzf", str(archive), "--strip-components=1", "-C", str(folder))
        assert not (folder / ".git").exists()
        binaries = str(tmp_path / build)
        run("cmake", "--preset", "release", "-B", binaries, cwd=folder, env=environment)
        run("nice", "cmake", "--build", binaries, "-j2", cwd=folder, env=environment)
        prefix = tmp_path / "installed" / str(len(installed))
        run("cmake", "--install", binaries, "--prefix", str(prefix), env=environment)
        installed.append(
            {
                str(path.relative_to(prefix)): hashlib.sha256(path.read_bytes()).hexdigest()
                for path in prefix.rglob("*")
                if path.is_file()
            }
        )
    assert len(installed[0]) > 30
    assert installed[0] == installed[1]


def test_it_configures_with_all_of_its_tests(archive, tmp_path):
    run("tar", "-xzf", str(archive), "--strip-components=1", "-C", str(tmp_path))
    run("cmake", "--preset", "dev", cwd=tmp_path, env={**os.environ, "GIT_DIR": "/nonexistent"})
