#include "LostAndFound.h"
#include "ServerSettings.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

namespace {

/// Strangers decide how many files there are. Those beyond are moved without a line.
constexpr std::size_t kMostTold = 1000;
constexpr int kMostOfOneName = 1000;

/// The file keeps its name, or gets a number behind it.
platform::eOsError MoveInto(const CString& folder, const CString& path)
{
    const CString target = platform::JoinPath(folder, platform::FileNameOf(path));
    platform::eOsError error = platform::Files().Move(path, target, platform::eMoveFlag_None);
    for (int number = 1; error == platform::eOsError_AlreadyExists && number < kMostOfOneName; ++number)
        error = platform::Files().Move(path, target + L"." + std::to_wstring(number), platform::eMoveFlag_None);
    return error;
}

} // namespace

void CLostAndFound::MoveAside(const CString& path, eReason reason)
{
    const CString folder = m_settings.m_paths.InOwnFolder(L"lost+found");
    platform::eOsError error = platform::MakeDirectories(folder);
    if (platform::Succeeded(error))
        error = MoveInto(folder, path);
    if (platform::Succeeded(error))
        ++m_nMoved;
    if (++m_nTold > kMostTold)
        return; // strangers decide how many there are
    const bool hasEnded = reason == eReason_HasEnded;
    const CString text = platform::Succeeded(error)
                             ? L"Moved into " + folder +
                                   (hasEnded ? L", for its end is told: " : L", for nothing tells what it is: ") + path
                             : (hasEnded ? L"The end of this request is told" : L"Nothing tells what this file is") +
                                   (L", and it cannot be moved into " + folder) + L": " + path + L": " +
                                   platform::OsErrorText(error);
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
}
