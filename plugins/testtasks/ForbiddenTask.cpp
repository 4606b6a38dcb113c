#include "plugins/testtasks/ForbiddenTask.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "plugins/testtasks/Crash.h"
#include "plugins/testtasks/SystemCalls.h"

#include <filesystem>
#include <system_error>

bool STDMETHODCALLTYPE CForbiddenTask::Init(IXMLDOMNode* task)
{
    const CParameters parameters(task);
    SetResponseText(L"was allowed");
    m_strFile = parameters.Text(L"File");
    m_strTemporary = parameters.Text(L"Temporary");
    m_strLink = parameters.Text(L"Link");
    m_strCall = parameters.Text(L"Call");
    m_strCrash = parameters.Text(L"Crash");
    return m_strCrash.empty() || IsCrashKind(m_strCrash);
}

bool STDMETHODCALLTYPE CForbiddenTask::ObtainData(CZelProcessorContext*, CZelProcessorProgress*)
{
    if (!m_strFile.empty()) {
        if (const platform::eOsError error = platform::WriteWholeFile(m_strFile, "forbidden");
            !platform::Succeeded(error))
            return Fail(platform::OsErrorText(error));
    }
    if (!m_strTemporary.empty()) {
        const CString path = platform::JoinPath(platform::TemporaryDirectory(), m_strTemporary);
        if (platform::PathExists(path))
            return Fail(L"it is there already");
        if (const platform::eOsError error = platform::WriteWholeFile(path, "temporary"); !platform::Succeeded(error))
            return Fail(platform::OsErrorText(error));
    }
    if (!m_strLink.empty()) {
        std::error_code error;
        std::filesystem::create_symlink("elsewhere", platform::StandardPath(m_strLink), error);
        if (error)
            return Fail(platform::FromUtf8(error.message()));
    }
    const CString error = m_strCall.empty() ? CString() : TrySystemCall(m_strCall);
    Crash(m_strCrash);
    return error.empty() || Fail(m_strCall + L": " + error);
}
