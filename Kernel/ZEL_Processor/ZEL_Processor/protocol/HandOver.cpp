#include "HandOver.h"

#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <chrono>

namespace Protocol {

namespace {

constexpr unsigned kYieldsBeforeNap = 200;
constexpr std::chrono::seconds kShortPatience{1};

void PauseBeforeRetry(unsigned attempts)
{
    if (attempts < kYieldsBeforeNap)
        platform::Clock().YieldThread();
    else
        platform::Clock().SleepFor(std::chrono::milliseconds(1));
}

} // namespace

platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt, const GoOn& goOn)
{
    for (unsigned attempts = 0;; ++attempts) {
        const platform::eOsError error = attempt();
        if (error != platform::eOsError_SharingViolation || (goOn && !goOn()))
            return error;
        PauseBeforeRetry(attempts);
    }
}

platform::eOsError RetryForASecond(const std::function<platform::eOsError()>& attempt)
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kShortPatience;
    return RetryWhileShared(attempt, [end] { return platform::Clock().Steady() < end; });
}

platform::eOsError MoveWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn)
{
    const platform::eOsError error = RetryWhileShared([&] { return platform::Files().Move(from, to, flags); }, goOn);
    if (error == platform::eOsError_NotDurable)
        WQ_ReportErrorNow(SourceNames::kProtocolFiles, ReportLines::kMoveNotSynced, L"MoveFileWhenFree",
                          L"The file was handed over, but may not survive a power cut: " + to);
    return error;
}

bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn)
{
    return platform::HasMoved(MoveWhenFree(from, to, flags, goOn));
}

platform::eOsError RemoveWhenFree(const CString& path, const GoOn& goOn)
{
    return RetryWhileShared([&] { return platform::Files().Remove(path); }, goOn);
}

bool RemoveFileWhenFree(const CString& path)
{
    return platform::Succeeded(RetryForASecond([&] { return platform::Files().Remove(path); }));
}

bool DeleteAllFilesInDir(const CString& dir)
{
    // While they are shown, for there may be a million. Again when something went, for not every file system shows all
    // the others then; but somebody may make new ones all the time.
    constexpr int kMaxLooks = 20;
    bool isAgain = platform::DirectoryExists(dir);
    for (int look = 0; isAgain && look < kMaxLooks; ++look) {
        isAgain = false;
        const platform::eOsError error = platform::Files().Visit(dir, [&](const platform::SDirectoryEntry& entry) {
            isAgain |= !entry.isDirectory &&
                       platform::Succeeded(platform::Files().Remove(platform::JoinPath(dir, entry.name)));
            return true;
        });
        if (!platform::Succeeded(error))
            return false;
    }
    return platform::DirectoryExists(dir);
}

} // namespace Protocol
