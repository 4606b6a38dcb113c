#include "IsolatedRunner.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/Components.h"
#include "com/XmlLimits.h"
#include "framework/Language.h"
#include "framework/Log.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "reports/SourceNames.h"

#include <algorithm>

// What a process of tasks is started with.

CString CIsolatedRunner::FindProgram(const SZelIsolation& isolation)
{
    const CString self = platform::ProgramPath();
    const CString extension = platform::EqualsNoCase(platform::ExtensionOf(self), L".exe") ? L".exe" : L"";
    const CString program = !isolation.program.empty()
                                ? isolation.program
                                : platform::JoinPath(platform::DirectoryOf(self), L"zel-task-host" + extension);
    return platform::PathExists(program) ? program : CString();
}

/// What a process of tasks has to know before the first request. The folders of plug-ins in the order of their classes,
/// which decides who serves what; those that the system's registry knows it finds itself.
void CIsolatedRunner::MakeSetup()
{
    std::vector<std::vector<CString>>& lines = m_hostSetup.lines;
    lines = {{L"output", m_setup.outputDir},
             {L"reasons", m_setup.tellReasons ? L"1" : L"0"},
             {L"private", m_setup.privateFiles ? L"1" : L"0"},
             {L"language", WQ_FindLanguage()}};
    std::vector<CString> limits = {L"limits"};
    for (const SXmlLimit& limit : kXmlLimits)
        limits.push_back(std::to_wstring(m_setup.xmlLimits.*limit.value));
    lines.push_back(limits);
    for (const CString& text : m_setup.leftOut)
        lines.push_back({L"leftout", text});
    std::vector<CString> folders;
    for (const SComponentInfo& component : ListComponents(CATID_ZELProcessorFactory)) {
        const auto& categories = component.categories;
        if (component.modulePath.empty() &&
            std::find(categories.begin(), categories.end(), CATID_ZELProcessorFactory) != categories.end())
            Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                             L"A plug-in that lives in this process serves no isolated request: " + component.name);
        const CString folder = platform::DirectoryOf(component.source);
        if (component.modulePath.empty() || !platform::PathExists(component.source) ||
            std::find(folders.begin(), folders.end(), folder) != folders.end())
            continue;
        folders.push_back(folder);
        lines.push_back({L"folder", folder});
    }
    lines.push_back({L"begin"});
}
