#include "ProtocolFiles.h"

#include "SourceNames.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

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

constexpr std::size_t kMaxAnswerBytes = 4096;

} // namespace

eFileKind GetFileKind(const CString& name)
{
    const CString extension = platform::ExtensionOf(name);
    if (platform::EqualsNoCase(extension, kCommandExtension))
        return eFileKind_Command;
    if (platform::EqualsNoCase(extension, kRequestExtension) || platform::EqualsNoCase(extension, kXmlRequestExtension))
        return eFileKind_Request;
    return eFileKind_Other;
}

platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt, const GoOn& goOn)
{
    for (unsigned attempts = 0;; ++attempts) {
        const platform::eOsError error = attempt();
        if (error != platform::eOsError_SharingViolation || (goOn && !goOn()))
            return error;
        PauseBeforeRetry(attempts);
    }
}

platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt, const std::atomic<bool>* pGoOn)
{
    return RetryWhileShared(attempt, [pGoOn] { return !pGoOn || *pGoOn; });
}

platform::eOsError RetryForASecond(const std::function<platform::eOsError()>& attempt)
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kShortPatience;
    return RetryWhileShared(attempt, [end] { return platform::Clock().Steady() < end; });
}

bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn)
{
    const platform::eOsError error = RetryWhileShared([&] { return platform::Files().Move(from, to, flags); }, goOn);
    if (error == platform::eOsError_NotDurable)
        WQ_ReportErrorNow(SourceNames::kProtocolFiles, 1, L"MoveFileWhenFree",
                          L"The file was handed over, but may not survive a power cut: " + to);
    return platform::HasMoved(error);
}

bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const std::atomic<bool>* pGoOn)
{
    return MoveFileWhenFree(from, to, flags, [pGoOn] { return !pGoOn || *pGoOn; });
}

bool RemoveFileWhenFree(const CString& path)
{
    return platform::Succeeded(RetryForASecond([&] { return platform::Files().Remove(path); }));
}

bool DeleteAllFilesInDir(const CString& dir)
{
    std::vector<platform::SDirectoryEntry> entries;
    if (!platform::DirectoryExists(dir) || !platform::Succeeded(platform::Files().List(dir, entries)))
        return false;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!entry.isDirectory)
            static_cast<void>(platform::Files().Remove(platform::JoinPath(dir, entry.name)));
    }
    return true;
}

platform::eOsError ReadRegistrationAnswer(const CString& path, GUID& clientId)
{
    clientId = {};
    std::string answer;
    const platform::eOsError error =
        platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, answer, kMaxAnswerBytes);
    const std::string line = answer.substr(0, answer.find_first_of("\r\n"));
    if (platform::Succeeded(error) && !GuidFromText(platform::FromUtf8(line), clientId))
        clientId = {};
    return error;
}

} // namespace Protocol
