#include "platform/win32/StopRequest.h"

#include <string>

namespace platform::win32 {

namespace {

CHandle MakeNamedEvent(const wchar_t* what, std::uint32_t processId, bool manualReset)
{
    // In the session's own name space: processes of other sessions can't be asked in this way.
    const std::wstring name = std::wstring(L"Local\\ZEL_Processor.") + what + L"." + std::to_wstring(processId);
    return CHandle(CreateEventW(nullptr, manualReset, FALSE, name.c_str())); // opens it when it exists
}

} // namespace

CHandle MakeStopEvent(std::uint32_t processId)
{
    return MakeNamedEvent(L"Stop", processId, false);
}

CHandle MakeReloadEvent(std::uint32_t processId)
{
    return MakeNamedEvent(L"Reload", processId, false);
}

CHandle MakeListeningEvent(std::uint32_t processId)
{
    return MakeNamedEvent(L"Listening", processId, true);
}

} // namespace platform::win32
