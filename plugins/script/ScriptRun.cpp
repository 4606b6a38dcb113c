#include "plugins/script/ScriptRun.h"

#include "framework/Log.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "plugins/script/ScriptOutput.h"

#include <chrono>
#include <string>

using namespace std::chrono_literals;

namespace {

/// A cancel is noticed that much later.
constexpr std::chrono::milliseconds kStep = 20ms;
constexpr std::uint64_t kLongestErrors = std::uint64_t{16} << 20;
/// Of the errors the sender is told so much.
constexpr std::size_t kToldErrors = 2000;

std::uint64_t LengthOf(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) ? attributes.length : 0;
}

} // namespace

CString CScriptRun::ResponsePath() const
{
    return platform::JoinPath(m_folder.Path(), L"response");
}

CString CScriptRun::ErrorPath() const
{
    return platform::JoinPath(m_folder.Path(), L"errors");
}

CScriptRun::eEnd CScriptRun::Run(const std::string& request, CZelProcessorContext& context,
                                 CZelProcessorProgress& progress, CString& error)
{
    // What lies in the folder is nobody's but this process's, whoever has sent the request.
    const platform::CPrivateFiles ownFiles({});
    platform::CProcess host;
    return Start(request, host, error) ? Follow(host, context, progress, error) : eEnd_Failed;
}

bool CScriptRun::Start(const std::string& request, platform::CProcess& host, CString& error) const
{
    const CString requestPath = platform::JoinPath(m_folder.Path(), L"request.xml");
    const CString work = platform::JoinPath(m_folder.Path(), L"work");
    platform::eOsError result = m_folder.Error();
    if (platform::Succeeded(result))
        result = platform::WriteWholeFile(requestPath, request);
    if (platform::Succeeded(result))
        result = platform::Files().MakeDirectory(work);
    if (!platform::Succeeded(result)) {
        error = L"The program of the task has no folder for temporary files: " + m_folder.Path() + L": " +
                platform::OsErrorText(result) + L".";
        return false;
    }
    std::vector<CString> arguments = {L"--run", requestPath, work, m_task.program};
    arguments.insert(arguments.end(), m_task.arguments.begin(), m_task.arguments.end());
    platform::SProcessOptions options;
    options.pipeInput = true; // by which it knows that this process lives
    options.pipeOutput = true;
    options.errorFile = ErrorPath();
    options.containment.emplace();
    options.environment = {{L"ZEL_TASK_TYPE", m_task.type},
                           {L"ZEL_RESPONSE", m_task.writesFile ? ResponsePath() : CString()}};
    const CString program = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel-task-host");
    result = host.Start(program, arguments, options);
    if (!platform::Succeeded(result))
        error =
            program + L", which programs of tasks run in, cannot be started: " + platform::OsErrorText(result) + L".";
    return platform::Succeeded(result);
}

CScriptRun::eEnd CScriptRun::Follow(platform::CProcess& host, CZelProcessorContext& context,
                                    CZelProcessorProgress& progress, CString& error) const
{
    CZelFileWriter response;
    const auto keepsNothing = [&] {
        error = L"The response of the task can't be kept: " + platform::OsErrorText(response.Error()) + L".";
        return eEnd_Failed;
    };
    if (!m_task.writesFile && !response.Open(ResponsePath()))
        return keepsNothing();
    CScriptOutput output(progress, m_task.writesFile ? nullptr : &response);
    platform::eProcessOutput got = platform::eProcessOutput_Data;
    std::string bytes;
    int exitCode = 0;
    // Whatever it leaves behind may keep its output open: what there is at its end is all that is waited for.
    for (bool hasEnded = false;;) {
        bytes.clear();
        if (got != platform::eProcessOutput_Ended)
            got = host.ReadSome(bytes, hasEnded ? 0ms : kStep);
        if (!output.Take(bytes))
            return keepsNothing();
        if (context.IsCanceled()) {
            LogErrors(); // it goes with its object
            return eEnd_Canceled;
        }
        if (!IsWithinLimits(output.ResponseLength(), error))
            return eEnd_Failed;
        if (got == platform::eProcessOutput_Data)
            continue;
        if (hasEnded)
            break;
        hasEnded = host.Wait(got == platform::eProcessOutput_Ended ? kStep : 0ms, exitCode);
    }
    const bool isKept = output.Finish() && (m_task.writesFile || response.Close());
    return isKept ? Conclude(exitCode, error) : keepsNothing();
}

bool CScriptRun::IsWithinLimits(std::uint64_t responseLength, CString& error) const
{
    const std::uint64_t length = m_task.writesFile ? LengthOf(ResponsePath()) : responseLength;
    if (length > m_task.longestResponse)
        error = WithErrors(L"The program of the task wrote a response of more than " +
                           std::to_wstring(m_task.longestResponse >> 20) + L" MiB");
    else if (LengthOf(ErrorPath()) > kLongestErrors)
        error = WithErrors(L"The program of the task wrote more than " + std::to_wstring(kLongestErrors >> 20) +
                           L" MiB of errors");
    return error.empty();
}

CScriptRun::eEnd CScriptRun::Conclude(int exitCode, CString& error) const
{
    if (exitCode != 0)
        error = WithErrors(L"The program of the task ended with exit code " + std::to_wstring(exitCode));
    else if (LengthOf(ResponsePath()) == 0)
        error = WithErrors(L"The program of the task ended without a response");
    else
        LogErrors();
    return error.empty() ? eEnd_Done : eEnd_Failed;
}

CString CScriptRun::WithErrors(const CString& reason) const
{
    const CString errors = LastErrors();
    return errors.empty() ? reason + L"." : reason + L": " + errors;
}

void CScriptRun::LogErrors() const
{
    if (const CString errors = LastErrors(); !errors.empty())
        Brel::Log::Write(*Brel::Log::Get("ZelProcessor"), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"The program of the task \"" + m_task.type + L"\" wrote: " + errors);
}

CString CScriptRun::LastErrors() const
{
    std::unique_ptr<platform::IFile> file;
    const std::uint64_t length = LengthOf(ErrorPath());
    const std::uint64_t from = length > kToldErrors ? length - kToldErrors : 0;
    if (!platform::Succeeded(platform::Files().Open(ErrorPath(), platform::eOpenMode_ReadShared, file)) ||
        !platform::Succeeded(file->Seek(from)))
        return {};
    std::string bytes(kToldErrors, '\0');
    std::size_t read = 0;
    if (!platform::Succeeded(file->Read(std::as_writable_bytes(std::span(bytes)), read)))
        return {};
    bytes.resize(read);
    // A line that is not whole would tell something else.
    if (const std::size_t line = bytes.find('\n'); from != 0 && line != std::string::npos)
        bytes.erase(0, line + 1);
    bytes.erase(bytes.find_last_not_of("\r\n \t") + 1);
    return platform::FromUtf8(bytes);
}
