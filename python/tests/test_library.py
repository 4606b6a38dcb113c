"""How the library is found, each in a Python of its own."""

from __future__ import annotations

import os
import subprocess
import sys


def load(library: str) -> str:
    script = "from zel_processor import LibraryNotFound, _library\ntry: _library.load(); print('loaded')\n"
    script += "except LibraryNotFound as error: print(error)"
    environment = {**os.environ, "ZEL_LIBRARY": library}
    return subprocess.run([sys.executable, "-c", script], env=environment, capture_output=True, text=True).stdout


def test_the_variable_names_the_library() -> None:
    assert load(os.environ["ZEL_LIBRARY"]) == "loaded\n"


def test_a_library_that_is_not_there_is_named() -> None:
    assert "Tried: /no/such/library.so: " in load("/no/such/library.so")


def test_another_library_is_refused() -> None:
    assert "libc.so.6: has no interface for C" in load("libc.so.6")
