"""Every example of docs/python.md, one after the other, and the notebooks in docs/python/ with their pictures."""

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
    examples = re.findall(r"^```python\n(.*?)^```$", (ROOT / "docs/python.md").read_text(), re.M | re.S)
    assert len(examples) > 8
    names: dict[str, object] = {}
    for example in examples:
        exec(compile(example, "docs/python.md", "exec"), names)
    printed = capsys.readouterr().out
    assert "removed 2 0005.HK-HKD name 0005.HK/HKD None" in printed
    assert "symbols: 1,499 rows, 4 columns" in printed and "AAPL.US/USD USD" in printed


@pytest.mark.parametrize("notebook", ["walk"])
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
