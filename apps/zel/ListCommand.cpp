#include "apps/zel/ListCommand.h"

#include "apps/zel/RequestNames.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <CLI/CLI.hpp>

void CListCommand::Define(CLI::App&) {}

int CListCommand::Run(CToolSession& session)
{
    std::set<std::wstring> names;
    // In the order in which a request travels, so that none is missed that moves meanwhile.
    const SToolOptions& options = session.Options();
    for (const std::wstring& directory : {options.requestDir, session.QueuePath({}), options.outputDir}) {
        if (!AddNames(directory, names))
            return eExitCode_ClientError;
    }
    for (const std::wstring& name : names) {
        eExitCode code = eExitCode_Done;
        const std::optional<SRequestState> state = session.Look(session.Client(), name, code);
        if (!state)
            return code;
        // One without any file by now was received while we looked.
        if (state->status != eRequestStatus_NotRequested || platform::PathExists(session.OutputPath(name)))
            session.Print(*state);
    }
    return eExitCode_Done;
}

bool CListCommand::AddNames(const std::wstring& directory, std::set<std::wstring>& names)
{
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError error = platform::Files().List(directory, entries);
    if (!platform::Succeeded(error) && !platform::IsAbsent(error)) {
        PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_CANNOT_BE_READ, {directory, platform::OsErrorText(error)}));
        return false;
    }
    for (const platform::SDirectoryEntry& entry : entries) {
        const std::wstring name = RequestOfFile(entry.name);
        if (!entry.isDirectory && !name.empty())
            names.insert(name);
    }
    return true;
}
