#include "RegistrationAnswer.h"

#include "com/Guid.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include <span>

namespace {

constexpr std::size_t kMaxAnswerBytes = 4096;

platform::eOsError Create(const CString& path, const std::string& content)
{
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError error = platform::Files().Open(path, platform::eOpenMode_CreateExclusive, file);
    if (!platform::Succeeded(error))
        return error;
    const platform::eOsError written = file->Write(std::as_bytes(std::span(content)));
    const platform::eOsError closed = file->Close();
    return platform::Succeeded(written) ? closed : written;
}

} // namespace

platform::eOsError RegistrationAnswer::Write(const CString& path, const GUID& clientId, const Protocol::GoOn& goOn)
{
    const std::string text = platform::ToUtf8(GuidToText(clientId));
    return Protocol::RetryWhileShared([&] { return Create(path, text); }, goOn);
}

platform::eOsError RegistrationAnswer::Read(const CString& path, GUID& clientId)
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
