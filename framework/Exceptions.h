#pragma once

#include "platform/Export.h"

#include <exception>
#include <string>

/// The framework's exceptions: used for set-up faults that leave an object unusable and for archive failures, for
/// nothing else.
class ZEL_FRAMEWORK_API CException : public std::exception {
public:
    explicit CException(std::wstring message);
    ~CException() override;
    [[nodiscard]] const char* what() const noexcept override;
    [[nodiscard]] const std::wstring& GetErrorMessage() const noexcept { return m_strMessage; }

private:
    std::wstring m_strMessage;
    std::string m_strNarrow;
};

class ZEL_FRAMEWORK_API CNotSupportedException : public CException {
public:
    CNotSupportedException();
    ~CNotSupportedException() override;
};

class ZEL_FRAMEWORK_API CUserException : public CException {
public:
    CUserException();
    ~CUserException() override;
};

class ZEL_FRAMEWORK_API CMemoryException : public CException {
public:
    CMemoryException();
    ~CMemoryException() override;
};

class ZEL_FRAMEWORK_API CInvalidArgException : public CException {
public:
    CInvalidArgException();
    ~CInvalidArgException() override;
};

/// cause 1 is the general cause.
class ZEL_FRAMEWORK_API CArchiveException : public CException {
public:
    CArchiveException(int cause, std::wstring message);
    ~CArchiveException() override;
    [[nodiscard]] int GetCause() const noexcept { return m_nCause; }

private:
    int m_nCause;
};

/// What is known of the exception that is being handled, for a handler of any.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring WQ_ReasonOfException();

[[noreturn]] ZEL_FRAMEWORK_API void AfxThrowNotSupportedException();
[[noreturn]] ZEL_FRAMEWORK_API void AfxThrowUserException();
[[noreturn]] ZEL_FRAMEWORK_API void AfxThrowMemoryException();
[[noreturn]] ZEL_FRAMEWORK_API void AfxThrowInvalidArgException();
