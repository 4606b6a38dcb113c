#include "framework/Log.h"
#include "plugins/script/ScriptConfiguration.h"
#include "plugins/script/ScriptTask.h"

namespace {

/// Read once: the slots of a server serve the same tasks.
const CScriptConfiguration& Configuration()
{
    static const CScriptConfiguration configuration = [] {
        CScriptConfiguration read;
        const CString path = CScriptConfiguration::Path();
        CString error;
        if (!path.empty() && !read.Load(path, error))
            Brel::Log::Write(*Brel::Log::Get("ZelProcessor"), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION,
                             L"No programs for tasks: " + error);
        return read;
    }();
    return configuration;
}

class CScriptFactory : public CZelXmlFactory {
protected:
    std::vector<CString> Types() override
    {
        std::vector<CString> types;
        for (const SScriptTask& task : Configuration().Tasks())
            types.push_back(task.type);
        return types;
    }
    bool TakesType(const CString& type) override { return Configuration().Find(type) != nullptr; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString& type) override
    {
        const SScriptTask* const task = Configuration().Find(type);
        return task != nullptr ? CComPtr<IWQ_ZELProcessorTask>(ZelMake<CScriptTask>(*task).Get()) : nullptr;
    }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override
    {
        return CComPtr<IWQ_ZELProcessorResponse>(ZelMake<CScriptResponse>().Get());
    }
};

} // namespace

ZEL_PLUGIN_FACTORY(CScriptFactory)
