#include "com/ComError.h"

#include <array>
#include <cstdint>
#include <cstdio>

CComError::CComError(HRESULT result) : m_hResult(result)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "COM error 0x%08lx",
                  static_cast<unsigned long>(static_cast<std::uint32_t>(result)));
    m_sText = text.data();
}

CComError::~CComError() = default;
CComError::CComError(const CComError&) = default;
CComError& CComError::operator=(const CComError&) = default;

const char* CComError::what() const noexcept
{
    return m_sText.c_str();
}
