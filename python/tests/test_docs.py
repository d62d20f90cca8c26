"""Every example in Python of the documents, one after the other, and the notebooks in docs/python/ with their pictures."""

from __future__ import annotations

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest
from conftest import ROOT, tvsym


def run_examples(document: str) -> list[str]:
    """Runs them in one module, up to the first that needs Spark, and returns them all."""
    examples = re.findall(r"^```python\n(.*?)^```$", (ROOT / document).read_text(), re.M | re.S)
    names: dict[str, object] = {}
    for example in examples:
        if "spark" in example:
            break  # part of the tests with a cluster
        exec(compile(example, document, "exec"), names)
    return examples


def test_examples(
    sample: pathlib.Path, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    document = json.loads(tvsym("dump", "--format", "json", sample))
    del document["sections"][1]["symbols"][0]
    (tmp_path / "tomorrow.json").write_text(json.dumps(document))
    tvsym("build", tmp_path / "tomorrow.json", tmp_path / "tomorrow.sym")
    for name in (sample.name, f"{sample.name}.fields.json"):
        shutil.copy(sample.with_name(name), tmp_path)
    monkeypatch.chdir(tmp_path)
    assert len(run_examples("docs/python.md")) > 8
    printed = capsys.readouterr().out
    assert "removed 2 0005.HK-HKD name 0005.HK/HKD None" in printed
    assert "symbols: 1,499 rows, 4 columns" in printed and "AAPL.US/USD USD" in printed
    assert len(run_examples("README.md")) == 1

    for day, source in (("2026-03-02", sample.name), ("2026-03-03", "tomorrow.sym")):
        (tmp_path / "archive" / day).mkdir(parents=True)
        for ending in ("", ".fields.json"):
            shutil.copy(tmp_path / f"{source}{ending}", tmp_path / "archive" / day / f"world.sym{ending}")
    tvsym("edit", "--in-place", "archive/2026-03-03/world.sym", "--where", "symbol = 'ZURN.CH-CHF'", "--set", "name=Renamed")
    assert len(run_examples("docs/archive.md")) == 3
    printed = capsys.readouterr().out
    assert "2026-03-02 2026-03-03" in printed
    assert printed.count("Renamed") == 2, "the history by torvaapi, and that by DuckDB"


@pytest.mark.parametrize("notebook", ["walk", "history"])
def test_notebooks(notebook: str, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """The pictures that the documents show are those of the notebook. ./dev python pictures draws them again."""
    for name in (sample.name, f"{sample.name}.fields.json"):
        shutil.copy(sample.with_name(name), tmp_path)
    documents = ROOT / "docs/python"
    environment = {**os.environ, "MATPLOTLIBRC": str(documents / "matplotlibrc"), "MPLBACKEND": "agg", "SOURCE_DATE_EPOCH": "0"}
    subprocess.run([sys.executable, documents / f"{notebook}.py"], cwd=tmp_path, env=environment, check=True)
    pictures = list(tmp_path.glob("*.svg"))
    assert pictures
    for picture in pictures:
        if "PICTURES" in os.environ:
            shutil.copy(picture, documents)
        assert picture.read_bytes() == (documents / picture.name).read_bytes(), picture.name
