#include "FailedRecord.h"

#include "KeyedLines.h"
#include "ProtocolPaths.h"
#include "platform/Os.h"
#include "platform/Path.h"

namespace {

constexpr std::string_view kFirstLineOfFailed = "zel-failed\t1\n";
/// A unit of either is four bytes at most.
constexpr std::size_t kMostOfReason = 8 * 1024;
constexpr std::size_t kMostOfPath = 4 * 1024;

void TakeLine(std::string_view key, std::string_view value, SFailedRecord& record)
{
    if (key == "when")
        KeyedLines::TakeNumber(value, record.when);
    else if (key == "attempt")
        KeyedLines::TakeNumber(value, record.attempt);
    else if (key == "attempts")
        KeyedLines::TakeNumber(value, record.attempts);
    else if (key == "reason")
        record.reason = KeyedLines::ValueOf(value);
    else if (key == "crash-report")
        record.crashReport = KeyedLines::ValueOf(value);
}

} // namespace

CString FailedRecord::FolderIn(const CString& outputDir)
{
    return platform::JoinPath(platform::JoinPath(outputDir, Protocol::kServerDirectory), Protocol::kFailedDirectory);
}

CString FailedRecord::PathOf(const CString& requestPath)
{
    return requestPath + Protocol::kFailedExtension;
}

std::string FailedRecord::ToText(const SFailedRecord& record)
{
    std::string text(kFirstLineOfFailed);
    text += KeyedLines::Line("when", std::to_wstring(record.when));
    text += KeyedLines::Line("attempt", std::to_wstring(record.attempt));
    text += KeyedLines::Line("attempts", std::to_wstring(record.attempts));
    text += KeyedLines::Line("reason", record.reason.substr(0, kMostOfReason));
    if (!record.crashReport.empty())
        text += KeyedLines::Line("crash-report", record.crashReport.substr(0, kMostOfPath));
    return text + std::string(KeyedLines::kLastLine);
}

bool FailedRecord::FromText(std::string_view text, SFailedRecord& record)
{
    record = {};
    return KeyedLines::Read(text, kFirstLineOfFailed, kMaxBytes,
                            [&](std::string_view key, std::string_view value) { TakeLine(key, value, record); });
}

bool FailedRecord::Read(const CString& path, SFailedRecord& record)
{
    std::string text;
    return platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxBytes)) &&
           FromText(text, record);
}
