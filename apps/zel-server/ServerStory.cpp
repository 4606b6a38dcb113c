#include "apps/zel-server/ServerStory.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "apps/zel-server/LibraryOptions.h"
#include "com/Bstr.h"
#include "com/Components.h"
#include "framework/Log.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ReliableWatch.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

/// Of one plug-in: a list for people.
constexpr std::size_t kMostTypes = 2000;

std::wstring TypesOf(const SComponentInfo& component)
{
    CComPtr<IUnknown> factory;
    std::wstring ignored; // the library tells of those that it leaves out
    if (FAILED(CreateComponent(component.id, ComIid<IUnknown>(), factory.PutVoid(), ignored)))
        return {};
    const auto told = factory.QueryTo<IWQ_ZELProcessorTaskTypes>();
    CBstr lines;
    if (!told || !told->GetTaskTypes(lines.Put()))
        return L"it does not tell its types";
    std::wstring types(lines.View().substr(0, kMostTypes));
    while (!types.empty() && types.back() == L'\n')
        types.pop_back();
    for (std::size_t end = types.find(L'\n'); end != std::wstring::npos; end = types.find(L'\n', end))
        types.replace(end, 1, L", ");
    return types;
}

} // namespace

std::vector<std::wstring> PluginLines()
{
    std::vector<CLSID> factories;
    EnumerateCategory(CATID_ZELProcessorFactory, factories);
    std::vector<std::wstring> plugins;
    for (const SComponentInfo& component : ListComponents(CATID_ZELProcessorFactory)) {
        if (std::ranges::find(factories, component.id) == factories.end())
            continue;
        if (const std::wstring types = TypesOf(component); !types.empty())
            plugins.push_back(L"Plug-in '" + component.name + L"' (" + component.modulePath + L"): " + types);
    }
    return plugins;
}

std::wstring DirectoryText(const std::wstring& directory)
{
    const std::wstring system = platform::FileSystemName(directory);
    return L"'" + directory + L"' (" + (system.empty() ? L"file system unknown" : system) + L")";
}

std::wstring OptionsText(const SServerOptions& options)
{
    SServerOptions others = OptionsInForce(options, platform::Environment(kQueryTimeVariable));
    others.requestDir.clear();
    others.outputDir.clear();
    others.serviceName.clear();
    std::wstring text;
    for (const std::wstring& argument : ServerArguments(others)) {
        const bool isPlain = argument.find_first_of(L" \t\"'") == std::wstring::npos;
        text += (text.empty() ? L"" : L" ") + (isPlain ? argument : L"'" + argument + L"'");
    }
    return text.empty() ? L"none" : text;
}

void TellStory(const SServerOptions& options, const std::wstring& text)
{
    if (!options.strict)
        Brel::Log::Write(*Brel::Log::Get("zel-server"), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION, text);
}

void TellStart(const SServerOptions& options)
{
    if (options.strict)
        return;
    TellStory(options, L"zel-server " + platform::FromUtf8(ZEL_VERSION) + L" starts as process " +
                           std::to_wstring(platform::CurrentProcessId()) + L": requests from " +
                           DirectoryText(options.requestDir) + L", output to " + DirectoryText(options.outputDir) +
                           L", options: " + OptionsText(options));
    for (const std::wstring& plugin : PluginLines())
        TellStory(options, plugin);
}
