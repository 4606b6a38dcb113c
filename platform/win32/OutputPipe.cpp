#include "platform/win32/OutputPipe.h"

#include "platform/win32/SystemError.h"

#include <atomic>

namespace platform::win32 {

COutputPipe::~COutputPipe()
{
    if (!m_bReading) {
        return;
    }
    // The system writes to our buffer until the read has really ended.
    CancelIoEx(m_pipe.Get(), &m_overlapped);
    DWORD count = 0;
    GetOverlappedResult(m_pipe.Get(), &m_overlapped, &count, TRUE);
}

eOsError COutputPipe::Create(CHandle& writingEnd)
{
    static std::atomic<unsigned> counter{0};
    constexpr DWORD bufferSize = 64 * 1024;
    const std::wstring name =
        L"\\\\.\\pipe\\ZEL_Processor." + std::to_wstring(GetCurrentProcessId()) + L"." + std::to_wstring(++counter);
    m_pipe = CHandle(CreateNamedPipeW(
        name.c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, bufferSize, bufferSize, 0, nullptr));
    m_done = CHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_pipe || !m_done) {
        return LastOsError();
    }

    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    writingEnd = CHandle(
        CreateFileW(name.c_str(), GENERIC_WRITE | FILE_READ_ATTRIBUTES, 0, &inheritable, OPEN_EXISTING, 0, nullptr));
    return writingEnd ? eOsError_None : LastOsError();
}

bool COutputPipe::BeginRead()
{
    if (m_bReading) {
        return true;
    }
    m_overlapped = {};
    m_overlapped.hEvent = m_done.Get();
    m_bReading =
        ReadFile(m_pipe.Get(), m_buffer.data(), static_cast<DWORD>(m_buffer.size()), nullptr, &m_overlapped) != FALSE ||
        GetLastError() == ERROR_IO_PENDING;
    return m_bReading;
}

eReceiveResult COutputPipe::Receive(std::string& bytes, std::chrono::milliseconds timeout)
{
    if (!m_pipe || !BeginRead()) {
        return eReceiveResult_Ended;
    }
    if (WaitForSingleObject(m_done.Get(), ToWaitTime(timeout)) != WAIT_OBJECT_0) {
        return eReceiveResult_Timeout;
    }
    m_bReading = false;
    DWORD count = 0;
    const bool done = GetOverlappedResult(m_pipe.Get(), &m_overlapped, &count, FALSE) != FALSE;
    bytes.append(m_buffer.data(), count);
    return done && count != 0 ? eReceiveResult_Data : eReceiveResult_Ended;
}

} // namespace platform::win32
