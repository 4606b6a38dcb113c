"""The answer to a request, as bytes, elements, a file, or a table."""

from __future__ import annotations

import base64
import os
import pathlib
import xml.etree.ElementTree as ElementTree
from typing import Any, Iterator, List, NamedTuple, Optional, Tuple, Union


class Column(NamedTuple):
    """A column of a table: its name, which others may have, too, and the type of its first value."""

    name: str
    type: str


Value = Union[None, int, float, str, bytes]


def _value_of(element: ElementTree.Element, column_type: str) -> Value:
    if element.get("Null") == "true":
        return None
    text = element.text or ""
    kind = element.get("Type", column_type)
    if element.get("Encoding") == "base64":
        data = base64.b64decode(text)
        if kind != "text":
            return data
        try:
            return data.decode("utf-8")
        except UnicodeDecodeError:
            return data
    if kind == "integer":
        return int(text)
    if kind == "real":
        return float(text)
    return text


class Response:
    """What came back. It is in memory, and needs neither the client nor its directories any more."""

    def __init__(self, content: bytes) -> None:
        self._content = content
        self._root: Optional[ElementTree.Element] = None

    @property
    def content(self) -> bytes:
        """The bytes as the server wrote them."""
        return self._content

    def __bytes__(self) -> bytes:
        return self.content

    def __repr__(self) -> str:
        return f"<Response of {len(self.content)} bytes>"

    def save(self, path: Union[str, "os.PathLike[str]"]) -> pathlib.Path:
        """Writes it to a file, which is replaced."""
        target = pathlib.Path(path)
        target.write_bytes(self.content)
        return target

    # ---- As elements: the calls of xml.etree.ElementTree.ElementTree ----

    def getroot(self) -> ElementTree.Element:
        """The document element. Raises ``xml.etree.ElementTree.ParseError`` when the response is no XML."""
        if self._root is None:
            self._root = ElementTree.fromstring(self.content)
        return self._root

    def find(self, path: str) -> Optional[ElementTree.Element]:
        return self.getroot().find(path)

    def findall(self, path: str) -> List[ElementTree.Element]:
        return self.getroot().findall(path)

    def findtext(self, path: str, default: Optional[str] = None) -> Optional[str]:
        found = self.getroot().find(path)
        return default if found is None else found.text or ""

    def iter(self, tag: Optional[str] = None) -> Iterator[ElementTree.Element]:
        return self.getroot().iter(tag)

    # ---- As a table ----

    @property
    def columns(self) -> List[Column]:
        """Raises ValueError when the response is no table."""
        columns = self.getroot().find("Columns")
        if columns is None or self.getroot().find("Rows") is None:
            raise ValueError("the response is no table")
        return [Column(column.get("Name", ""), column.get("Type", "")) for column in columns.findall("Column")]

    def to_rows(self) -> List[Tuple[Value, ...]]:
        """The rows, each a tuple in the order of the columns: int, float, str, bytes, or None."""
        columns = self.columns
        rows: List[Tuple[Value, ...]] = []
        for row in self.getroot().findall("Rows/Row"):
            values = row.findall("Value")
            if len(values) != len(columns):
                raise ValueError(f"row {len(rows) + 1} has {len(values)} values, there are {len(columns)} columns")
            rows.append(tuple(_value_of(value, column.type) for value, column in zip(values, columns)))
        return rows

    def to_dataframe(self) -> Any:
        """The table as a ``pandas.DataFrame``. Integers with nulls among them stay integers (``Int64``)."""
        import pandas

        columns = self.columns
        rows = self.to_rows()
        data = {}
        for index, column in enumerate(columns):
            values = [row[index] for row in rows]
            has_nulls = any(value is None for value in values)
            is_integer = column.type == "integer" and all(value is None or isinstance(value, int) for value in values)
            data[index] = pandas.array(values, dtype="Int64") if is_integer and has_nulls else values
        frame = pandas.DataFrame(data, index=range(len(rows)))
        frame.columns = [column.name for column in columns]
        return frame
