import pytest
from built_program import Boardctl, put_board


@pytest.fixture
def boardctl(tmp_path):
    put_board(tmp_path)
    return Boardctl(tmp_path)
