"""The source archive: the same bytes each time, and what is in it. It holds the tree as it is now,
whether committed or not. The packages are built from it, and compared with this build."""

import os
import tarfile

import pytest
from conftest import ROOT, run

pytestmark = pytest.mark.skipif(
    not (ROOT / ".git").exists(), reason="the archive is made from a commit"
)


def make_archive(folder, **environment):
    run(
        "scripts/source-archive",
        str(folder),
        "WORKTREE",
        cwd=ROOT,
        env={**os.environ, **environment},
    )
    (archive,) = folder.iterdir()
    return archive


@pytest.fixture(scope="module")
def archive(tmp_path_factory):
    return make_archive(tmp_path_factory.mktemp("archive"))


def test_the_same_files_give_the_same_bytes(archive, tmp_path):
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
    tracked = ["git", "ls-files", "--cached", "--others", "--exclude-standard"]
    assert names == {
        name for name in run(*tracked, cwd=ROOT).splitlines() if (ROOT / name).exists()
    }


def test_it_configures_with_all_of_its_tests(archive, tmp_path):
    run("tar", "-xzf", str(archive), "--strip-components=1", "-C", str(tmp_path))
    assert not (tmp_path / ".git").exists()
    run("cmake", "--preset", "dev", cwd=tmp_path, env={**os.environ, "GIT_DIR": "/nonexistent"})
