#pragma once

#include <string>

/// One property of one item of a data source.
struct SPropertyQuestion {
    std::wstring dataSource;
    std::wstring property;
    std::wstring item; ///< its name or its id; "GetFirst" as an id is the first item
    bool isNamed = false;
};

/// What the server answered.
struct SPropertyValue {
    std::wstring dataSource;
    std::wstring property;
    std::wstring item;
    bool isNamed = false;
    std::wstring value;
    std::wstring type;     ///< as the data source calls it; empty when it does not say
    std::wstring encoding; ///< of the value: "base64", or empty for a text as it is
    bool isNull = false;
};

/// Writes a request that asks. False with the reason. Both need a thread whose COM is initialised.
[[nodiscard]] bool WritePropertiesRequest(const SPropertyQuestion& question, const std::wstring& path,
                                          std::wstring& error);
/// Reads the response to such a request. False with the reason.
[[nodiscard]] bool ReadPropertiesResponse(const std::wstring& path, SPropertyValue& value, std::wstring& error);
