import sys
from collections.abc import Iterator
from pathlib import Path

import pytest
from engines import ROOT, Engine, running

sys.path.insert(0, str(ROOT / "clients"))


@pytest.fixture(autouse=True)
def own_folders(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Keys and pinned certificates of a test are its own."""
    monkeypatch.setenv("XDG_CACHE_HOME", str(tmp_path / "cache"))
    monkeypatch.setenv("XDG_DATA_HOME", str(tmp_path / "data"))


@pytest.fixture
def engine() -> Iterator[Engine]:
    with running(1) as engines:
        yield engines[0]
