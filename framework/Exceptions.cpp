#include "framework/Exceptions.h"

#include "platform/Text.h"

#include <utility>

CException::CException(std::wstring message)
    : m_strMessage(std::move(message)), m_strNarrow(platform::ToUtf8(m_strMessage))
{}
CException::~CException() = default;

const char* CException::what() const noexcept
{
    return m_strNarrow.c_str();
}

CNotSupportedException::CNotSupportedException() : CException(L"This operation is not supported.") {}
CNotSupportedException::~CNotSupportedException() = default;

CUserException::CUserException() : CException(L"The operation was ended after its failure had been shown.") {}
CUserException::~CUserException() = default;

CMemoryException::CMemoryException() : CException(L"Out of memory.") {}
CMemoryException::~CMemoryException() = default;

CInvalidArgException::CInvalidArgException() : CException(L"An argument is invalid.") {}
CInvalidArgException::~CInvalidArgException() = default;

CArchiveException::CArchiveException(int cause, std::wstring message) : CException(std::move(message)), m_nCause(cause)
{}
CArchiveException::~CArchiveException() = default;

std::wstring WQ_ReasonOfException()
{
    try {
        throw;
    } catch (const CException& exception) {
        return exception.GetErrorMessage();
    } catch (const std::exception& exception) {
        return platform::FromUtf8(exception.what());
    } catch (...) {
        return L"unknown exception";
    }
}

void AfxThrowNotSupportedException()
{
    throw CNotSupportedException();
}

void AfxThrowUserException()
{
    throw CUserException();
}

void AfxThrowMemoryException()
{
    throw CMemoryException();
}

void AfxThrowInvalidArgException()
{
    throw CInvalidArgException();
}
