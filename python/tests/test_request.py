"""Requests from dictionaries and elements, without a server."""

from __future__ import annotations

import xml.etree.ElementTree as ElementTree

import pytest

from zel_processor import element_of
from zel_processor.request import text_of


def test_a_dictionary_becomes_the_elements_of_a_task() -> None:
    text = text_of({"Type": "Statistics", "DataSource": "a&b", "Column": ["x", "y"], "Inner": {"Empty": None}})
    assert text.endswith(
        b'<Request><Task Type="Statistics"><DataSource>a&amp;b</DataSource><Column>x</Column><Column>y</Column>'
        b"<Inner><Empty /></Inner></Task></Request>"
    )


def test_parameters_have_the_types_of_their_values() -> None:
    parameters = element_of({"Type": "Query", "Parameters": [1, 2.5, " a", None, True]}).findall(".//Parameter")
    assert [(p.get("Type"), p.text) for p in parameters] == [
        ("integer", "1"),
        ("real", "2.5"),
        ("text", " a"),
        ("null", None),
        ("integer", "1"),
    ]
    assert parameters[2].get("xml:space") == "preserve"


@pytest.mark.parametrize("text", ["\0", "\x1b[2J", "\ud800", "\uffff"])
def test_what_xml_cannot_carry_is_refused(text: str) -> None:
    with pytest.raises(ValueError):
        text_of({"Type": "Echo", "Text": text})


@pytest.mark.parametrize("name", ["a b", "a><b", "", "1a", "a\n"])
def test_a_name_that_is_none_is_refused(name: str) -> None:
    with pytest.raises(ValueError):
        text_of({"Type": "Echo", name: "x"})


def test_ends_of_lines_come_through_as_they_are() -> None:
    element = ElementTree.fromstring(text_of({"Type": "Echo", "Text": "a\r\nb\rc"}))
    assert element.findtext("Task/Text") == "a\r\nb\rc"


def test_a_task_needs_a_type_and_values_that_are_text() -> None:
    with pytest.raises(ValueError):
        element_of({"Text": "x"})
    with pytest.raises(TypeError):
        element_of({"Type": "Echo", "Text": b"x"})
