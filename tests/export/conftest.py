import pytest
from exporting import Stub


@pytest.fixture
def stub(tmp_path):
    return Stub(tmp_path)
