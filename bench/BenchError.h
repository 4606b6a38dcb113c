#pragma once

#include "platform/OsError.h"
#include "platform/Text.h"

#include <stdexcept>
#include <string>

/// What goes wrong ends the run: numbers of a run that was not as it should be are worth nothing.
[[noreturn]] inline void Fail(const std::wstring& text)
{
    throw std::runtime_error(platform::ToUtf8(text));
}

inline void Check(platform::eOsError error, const std::wstring& what)
{
    if (!platform::Succeeded(error))
        Fail(L"cannot " + what + L": " + platform::OsErrorText(error));
}
