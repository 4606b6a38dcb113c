#pragma once

#include <cstdint>

// What the calls of COM return where the system has none, by the names and numbers of Windows. Do not include this
// directly; include "com/Com.h".

using HRESULT = std::int32_t;

constexpr bool SUCCEEDED(HRESULT result) noexcept
{
    return result >= 0;
}
constexpr bool FAILED(HRESULT result) noexcept
{
    return result < 0;
}

namespace com_detail {
constexpr HRESULT MakeHresult(std::uint32_t bits) noexcept
{
    return static_cast<HRESULT>(bits);
}
} // namespace com_detail

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = com_detail::MakeHresult(0x80004001U);
inline constexpr HRESULT E_NOINTERFACE = com_detail::MakeHresult(0x80004002U);
inline constexpr HRESULT E_POINTER = com_detail::MakeHresult(0x80004003U);
inline constexpr HRESULT E_ABORT = com_detail::MakeHresult(0x80004004U);
inline constexpr HRESULT E_FAIL = com_detail::MakeHresult(0x80004005U);
inline constexpr HRESULT E_UNEXPECTED = com_detail::MakeHresult(0x8000FFFFU);
inline constexpr HRESULT E_ACCESSDENIED = com_detail::MakeHresult(0x80070005U);
inline constexpr HRESULT E_HANDLE = com_detail::MakeHresult(0x80070006U);
inline constexpr HRESULT E_OUTOFMEMORY = com_detail::MakeHresult(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = com_detail::MakeHresult(0x80070057U);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = com_detail::MakeHresult(0x80020005U);
inline constexpr HRESULT DISP_E_BADVARTYPE = com_detail::MakeHresult(0x80020008U);
inline constexpr HRESULT DISP_E_OVERFLOW = com_detail::MakeHresult(0x8002000AU);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = com_detail::MakeHresult(0x80040110U);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = com_detail::MakeHresult(0x80040111U);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = com_detail::MakeHresult(0x80040154U);
inline constexpr HRESULT CO_E_NOTINITIALIZED = com_detail::MakeHresult(0x800401F0U);
inline constexpr HRESULT RPC_E_CHANGED_MODE = com_detail::MakeHresult(0x80010106U); // no thread here has a mode
inline constexpr HRESULT CO_E_CLASSSTRING = com_detail::MakeHresult(0x800401F3U);
inline constexpr HRESULT CO_E_DLLNOTFOUND = com_detail::MakeHresult(0x800401F8U);
inline constexpr HRESULT CO_E_ERRORINDLL = com_detail::MakeHresult(0x800401F9U);
inline constexpr HRESULT SELFREG_E_CLASS = com_detail::MakeHresult(0x80040201U);

constexpr HRESULT HRESULT_FROM_WIN32(std::uint32_t error) noexcept
{
    return error == 0 ? S_OK : com_detail::MakeHresult(0x80070000U | (error & 0xFFFFU));
}
