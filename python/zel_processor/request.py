"""Makes the text of a request from what a program has."""

from __future__ import annotations

import re
import xml.etree.ElementTree as ElementTree
from typing import Any, Mapping, Union

# What XML 1.0 cannot carry, in whatever form.
_FORBIDDEN = re.compile("[^\t\n\r\u0020-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]")
_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_.-]*\Z")
_TYPES = {int: "integer", float: "real", str: "text"}


def _text_of(value: object) -> str:
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, float):
        return repr(value).replace("inf", "INF").replace("nan", "NaN")
    if isinstance(value, (int, str)):
        return str(value)
    raise TypeError(f"a request cannot hold a value of the type {type(value).__name__}")


def _name_of(key: object) -> str:
    if not isinstance(key, str) or not _NAME.match(key):
        raise ValueError(f"{key!r} is no name of an element")
    return key


def _add_parameters(parent: ElementTree.Element, values: Any) -> None:
    for value in values:
        element = ElementTree.SubElement(parent, "Parameter")
        if value is None:
            element.set("Type", "null")
            continue
        number = int(value) if isinstance(value, bool) else value
        if type(number) not in _TYPES:
            raise TypeError(f"a parameter cannot have the type {type(value).__name__}")
        element.set("Type", _TYPES[type(number)])
        element.text = _text_of(number)
        if isinstance(value, str) and value != value.strip():
            element.set("xml:space", "preserve")


def _add(parent: ElementTree.Element, key: object, value: Any) -> None:
    name = _name_of(key)
    if name == "Parameters" and isinstance(value, (list, tuple)):
        _add_parameters(ElementTree.SubElement(parent, name), value)
    elif isinstance(value, (list, tuple)):
        for one in value:
            _add(parent, name, one)
    elif isinstance(value, Mapping):
        element = ElementTree.SubElement(parent, name)
        for inner, one in value.items():
            _add(element, inner, one)
    else:
        element = ElementTree.SubElement(parent, name)
        if value is not None:
            element.text = _text_of(value)


def element_of(task: Mapping[str, Any]) -> ElementTree.Element:
    """The request with one task: ``Type`` is its type, every other key an element in it. A list is one element for each
    of its values, a dictionary an element with elements; the list ``Parameters`` is that of a query, with its types."""
    if not isinstance(task.get("Type"), str):
        raise ValueError('the task has no "Type"')
    request = ElementTree.Element("Request")
    element = ElementTree.SubElement(request, "Task", {"Type": task["Type"]})
    for key, value in task.items():
        if key != "Type":
            _add(element, key, value)
    return request


def text_of(request: Union[ElementTree.Element, ElementTree.ElementTree, Mapping[str, Any]]) -> bytes:
    """The bytes of a request. Raises ValueError for what XML cannot carry."""
    if isinstance(request, Mapping):
        request = element_of(request)
    elif isinstance(request, ElementTree.ElementTree):
        request = request.getroot()
    for element in request.iter():
        for text in (element.text, element.tail, *element.attrib.values()):
            if text and _FORBIDDEN.search(text):
                raise ValueError(f"element {element.tag!r}: characters that XML cannot carry")
    # As a reference, or whoever reads it takes it for the end of a line.
    return bytes(ElementTree.tostring(request, encoding="utf-8")).replace(b"\r", b"&#13;")
