#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// One value of a data source. Text and blob are views: they live as long as their statement stays on the row.
enum eValueType { eValue_Null, eValue_Integer, eValue_Real, eValue_Text, eValue_Blob };

struct SValue {
    eValueType type = eValue_Null;
    std::int64_t integer = 0;
    double real = 0;
    std::string_view bytes; ///< UTF-8 of a text, as far as the data source keeps to that; the bytes of a blob

    [[nodiscard]] bool IsNumber() const { return type == eValue_Integer || type == eValue_Real; }
    [[nodiscard]] double Number() const { return type == eValue_Integer ? static_cast<double>(integer) : real; }
};

/// "null", "integer", "real", "text", "blob": the names that requests and responses use.
[[nodiscard]] const char* ValueTypeName(eValueType type);

/// False when the text is no integer of 64 bits, or more than that.
[[nodiscard]] bool ParseInteger(std::string_view text, std::int64_t& value);

/// The shortest text that gives the same number when it is read. Has a point or an exponent, so that it can be told
/// from an integer; "INF", "-INF" and "NaN" as XML schemas have them.
[[nodiscard]] std::string RealText(double value);

/// True when XML can carry the bytes as text: valid UTF-8 without control characters.
[[nodiscard]] bool IsXmlText(std::string_view bytes);
/// The bytes when XML can carry them, else with each byte that it can't replaced by U+FFFD. For names, where nothing
/// depends on it.
[[nodiscard]] std::string XmlSafeText(std::string_view bytes);

[[nodiscard]] std::string Base64(std::string_view bytes);

/// Appends `<name>value</name>`. The attribute Type is written where the type is another than expected; Null, Encoding
/// where they apply (docs/datastore.md). moreAttributes is written as it is, with a blank before it.
void AppendValueXml(std::string& xml, std::string_view name, const SValue& value, eValueType expected,
                    std::string_view moreAttributes = {});
