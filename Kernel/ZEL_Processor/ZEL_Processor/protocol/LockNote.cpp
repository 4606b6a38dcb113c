#include "LockNote.h"

#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"

std::string Protocol::LockNote()
{
    return platform::ToUtf16Le(
        FormatText(L"Process id: %ld\nThread id: %ld",
                   {std::to_wstring(platform::CurrentProcessId()), std::to_wstring(platform::CurrentThreadId())}));
}
