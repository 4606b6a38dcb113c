#include "ProtocolFiles.h"

#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
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

platform::eOsError MoveWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn)
{
    const platform::eOsError error = RetryWhileShared([&] { return platform::Files().Move(from, to, flags); }, goOn);
    if (error == platform::eOsError_NotDurable)
        WQ_ReportErrorNow(SourceNames::kProtocolFiles, 1, L"MoveFileWhenFree",
                          L"The file was handed over, but may not survive a power cut: " + to);
    return error;
}

bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn)
{
    return platform::HasMoved(MoveWhenFree(from, to, flags, goOn));
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
