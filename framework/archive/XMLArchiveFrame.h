#pragma once

/// What stands around the elements of an XML archive.
namespace XMLArchiveFrame {

constexpr const wchar_t* kElement = L"Archive";
constexpr const wchar_t* kVersionAttribute = L"version";
constexpr const wchar_t* kVersion = L"1";

} // namespace XMLArchiveFrame
