"""Everything else is in pyproject.toml; the version has its one home in the sources of the library."""

import pathlib
import re

import setuptools


def version() -> str:
    place = pathlib.Path(__file__).resolve().parent
    kept = place / "PKG-INFO"  # a source distribution has no sources of the library
    if kept.exists():
        return re.findall(r"^Version: (.*)$", kept.read_text(encoding="utf-8"), re.MULTILINE)[0]
    header = (place.parent / "platform" / "Version.h").read_text(encoding="utf-8")
    return ".".join(re.findall(r"^#define ZEL_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header, re.MULTILINE))


setuptools.setup(version=version())
