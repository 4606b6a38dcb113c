"""The programs of docs/python.md, one after the other in one module, as a reader would type them."""

from __future__ import annotations

import pathlib
import re
import sqlite3
from typing import Any, Dict

import pytest
from conftest import BUILD, Server

PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"


def test_the_programs_of_the_page_run(
    tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    (tmp_path / "data").mkdir()
    with sqlite3.connect(tmp_path / "data" / "box.sqlite") as box:
        box.execute("create table birds (name text, size real)")
        box.executemany("insert into birds values (?, ?)", [("heron", 98.0), ("wren", 9.5)])
    box.close()
    monkeypatch.setenv("ZEL_DATA_DIR", str(tmp_path / "data"))
    server = Server(tmp_path, "--components", str(BUILD / "bin" / "plugins"))
    try:
        monkeypatch.setenv("ZEL_REQUEST_DIR", str(server.requests))
        monkeypatch.setenv("ZEL_OUTPUT_DIR", str(server.output))
        programs = re.findall(r"^```python\n(.*?)^```$", PAGE.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)
        assert len(programs) == 4
        known: Dict[str, Any] = {}
        for program in programs:
            exec(compile(program, str(PAGE), "exec"), known)
    finally:
        server.stop()
    printed = capsys.readouterr().out
    assert "\nheron 98.0\n" in printed and "[('heron', 98.0)]" in printed
    assert printed.count(" 1\n") >= 10 and 'There is no data source "none"' in printed
