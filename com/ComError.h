#pragma once

#include "com/Com.h"
#include "platform/Export.h"

#include <exception>
#include <string>

/// A failed COM call, or a null pointer (E_POINTER) or missing memory (E_OUTOFMEMORY) met by the owners of com/. Never
/// leaves a COM method, an exported C function or a thread procedure: whoever stands there turns it into its HRESULT.
class ZEL_FRAMEWORK_API CComError : public std::exception {
public:
    explicit CComError(HRESULT result);
    ~CComError() override;
    CComError(const CComError&);
    CComError& operator=(const CComError&);

    [[nodiscard]] HRESULT Code() const noexcept { return m_hResult; }
    /// "COM error 0x80004003".
    [[nodiscard]] const char* what() const noexcept override;

private:
    HRESULT m_hResult;
    std::string m_sText;
};

/// Throws CComError when the result is a failure; S_FALSE and its kin pass.
inline void ThrowIfFailed(HRESULT result)
{
    if (FAILED(result))
        throw CComError(result);
}
