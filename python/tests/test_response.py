"""Tables and elements of a response, without a server."""

from __future__ import annotations

import pytest

from zel_processor import Column, Response

TABLE = b"""<?xml version="1.0" encoding="UTF-8"?>
<Response><Columns><Column Name="n" Type="integer"/><Column Name="n" Type="real"/><Column Name="t" Type="text"/>
<Column Name="b" Type="blob"/></Columns><Rows Count="2">
<Row><Value>9223372036854775807</Value><Value>-INF</Value><Value/><Value Encoding="base64">AAE=</Value></Row>
<Row><Value Null="true"/><Value Type="text">x</Value>
<Value Encoding="base64" Type="text">G1s=</Value><Value Null="true"/>
</Row></Rows></Response>"""


def test_rows_have_the_types_of_their_columns_and_values() -> None:
    response = Response(TABLE)
    assert response.columns[0] == Column("n", "integer")
    assert response.to_rows() == [(9223372036854775807, float("-inf"), "", b"\0\x01"), (None, "x", "\x1b[", None)]


def test_a_data_frame_keeps_integers_and_columns_of_one_name() -> None:
    pytest.importorskip("pandas", reason="pandas is not installed")
    frame = Response(TABLE).to_dataframe()
    assert list(frame.columns) == ["n", "n", "t", "b"]
    assert frame.iloc[0, 0] == 9223372036854775807
    assert frame.isna().iloc[1, 0]


def test_an_empty_table_is_an_empty_data_frame() -> None:
    pytest.importorskip("pandas", reason="pandas is not installed")
    frame = Response(b'<Response><Columns><Column Name="a" Type="null"/></Columns><Rows/></Response>').to_dataframe()
    assert frame.shape == (0, 1)


@pytest.mark.parametrize(
    "text",
    [
        b"<Response>5</Response>",
        b'<R><Columns><Column Name="a" Type="text"/></Columns><Rows><Row><Value/><Value/></Row></Rows></R>',
    ],
)
def test_what_is_no_table_has_no_rows(text: bytes) -> None:
    with pytest.raises(ValueError):
        Response(text).to_rows()
