#pragma once

#include "com/Com.h"
#include "platform/Export.h"

#include <cstddef>
#include <string>
#include <string_view>

/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", 38 characters, hexadecimal digits in upper case.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring GuidToText(const GUID& guid);

/// Takes exactly the form that GuidToText gives, digits in either case; nothing before, after or between. On failure
/// the guid is all zero.
[[nodiscard]] ZEL_FRAMEWORK_API bool GuidFromText(std::wstring_view text, GUID& guid);

/// Order and hash of ids, for containers: std::map<GUID, X, SGuidLess>, std::unordered_map<GUID, X, SGuidHash>.
struct SGuidLess {
    [[nodiscard]] ZEL_FRAMEWORK_API bool operator()(const GUID& left, const GUID& right) const noexcept;
};
struct SGuidHash {
    [[nodiscard]] ZEL_FRAMEWORK_API std::size_t operator()(const GUID& guid) const noexcept;
};
