#include "apps/common/ExitCodes.h"
#include "apps/zel-server/DirectoryClaim.h"
#include "apps/zel-server/ServerProgram.h"
#include "apps/zel-server/TakeOver.h"

#include "ServerTexts.h"

#include <chrono>
#include <functional>
#include <string>
#include <utility>

using namespace std::chrono_literals;

// What a start has to do with the server that has the directories already.

bool CServerProgram::TakeDirectories()
{
    std::wstring error;
    const auto goOn = [this] { return GoesOn(); };
    const bool hasOther = m_options.takeOver && TakeOver::HasOther(m_options);
    if (hasOther)
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_TAKES_OVER, {m_options.outputDir}));
    if (hasOther && !TakeOver::Drain(m_options, goOn, error)) {
        if (m_bStoppedEarly)
            return false;
        // It may drain already, or be asked by who may.
        m_messages.Note(error);
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_WAITS_FOR_END));
    }
    const bool isPrepared = m_directories.Prepare(
        m_options, error, hasOther ? std::function<bool()>(goOn) : [this] { return WaitsForDrained(); });
    if (!isPrepared && !m_bStoppedEarly)
        m_messages.Error(error);
    return isPrepared;
}

/// One that drains ends by itself, and what it leaves is for the next with --resume.
bool CServerProgram::WaitsForDrained()
{
    if (!m_options.resume || m_options.strict || !CDirectoryClaim::IsHolderDraining(m_options.outputDir))
        return false;
    if (!std::exchange(m_bToldDraining, true))
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_OTHER_DRAINS, {m_options.outputDir}));
    return GoesOn();
}

int CServerProgram::DrainOther()
{
    std::wstring error;
    if (!TakeOver::Drain(
            m_options, [this] { return GoesOn(); }, error) &&
        !m_bStoppedEarly) {
        m_messages.Error(error);
        return eExitCode_ClientError;
    }
    while (GoesOn() && TakeOver::HasOther(m_options)) {
    }
    return m_bStoppedEarly ? eExitCode_Interrupted : eExitCode_Done;
}

bool CServerProgram::GoesOn()
{
    platform::eProgramSignal received = platform::eProgramSignal_Reload;
    if (m_signals.WaitFor(1ms, received) && received == platform::eProgramSignal_Stop)
        m_bStoppedEarly = true;
    return !m_bStoppedEarly;
}
