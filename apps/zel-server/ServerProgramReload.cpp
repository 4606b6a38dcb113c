#include "apps/zel-server/ServerProgram.h"
#include "apps/zel-server/ServerStory.h"

#include "ServerTexts.h"

#include <algorithm>

void CServerProgram::Reload()
{
    m_messages.Reopen();
    if (m_options.configFile.empty()) {
        TellStory(m_options, L"No options are read again: no file of them was named with --config");
        return;
    }
    SServerOptions read;
    if (const std::wstring mistake = ReadServerOptionsAgain(m_options, read); !mistake.empty())
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_CONFIG_NOT_TAKEN, {mistake}));
    else
        TakeOver(read);
}

/// What only this program itself looks at changes at once. The library and the plug-ins have seen the rest, on threads
/// of their own.
void CServerProgram::TakeOver(const SServerOptions& read)
{
    SServerOptions changed = InForce();
    const std::vector<std::wstring> different = DifferentOptions(changed, read);
    changed.logLevel = read.logLevel;
    if (changed.logFile == read.logFile)
        changed.logSizeMiB = read.logSizeMiB;
    changed.stopTimeout = read.stopTimeout;
    if (!m_messages.Change(changed))
        return;
    const std::vector<std::wstring> later = DifferentOptions(changed, read);
    {
        const platform::CMutexLock lock(m_mutex);
        m_inForce = changed;
    }
    m_bPublishes = true;
    m_messages.Note(WQ_ModuleText(ServerTexts::IDS_CONFIG_READ, {m_options.configFile}));
    for (const std::wstring& option : different) {
        const bool isLater = std::ranges::find(later, option) != later.end();
        m_messages.Note(
            WQ_ModuleText(isLater ? ServerTexts::IDS_OPTION_AT_NEXT_START : ServerTexts::IDS_OPTION_CHANGED, {option}));
    }
}

SServerOptions CServerProgram::InForce()
{
    const platform::CMutexLock lock(m_mutex);
    return m_inForce;
}
