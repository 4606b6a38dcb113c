#include "tests/support/ScriptedPlugin.h"

#include "com/Components.h"
#include "platform/FileSystem.h"

#include <atomic>

static_assert(sizeof(wchar_t) >= 2);

CZelModule& ZelModule() noexcept
{
    static CZelModule module;
    return module;
}

namespace {

constexpr CLSID kFirst = {0x1F3A6C10, 0x52D4, 0x4E17, {0x8A, 0x01, 0x5B, 0x7C, 0x99, 0x20, 0x41, 0xA1}};
constexpr CLSID kSecond = {0x1F3A6C10, 0x52D4, 0x4E17, {0x8A, 0x01, 0x5B, 0x7C, 0x99, 0x20, 0x41, 0xA2}};

std::atomic<SPluginScript*> g_scripts[2] = {nullptr, nullptr};
std::atomic<bool> g_installed = true;
std::atomic<int> g_objects = 0;

class CCounted {
public:
    CCounted(SPluginScript& script, const wchar_t* name) : m_script(script), m_name(name) { ++g_objects; }
    ~CCounted()
    {
        --g_objects;
        if (m_script.released)
            m_script.released(m_name);
    }
    CCounted(const CCounted&) = delete;
    CCounted& operator=(const CCounted&) = delete;

private:
    SPluginScript& m_script;
    const wchar_t* m_name;
};

class CScriptedRequest final : public CZelObject<IWQ_ZELProcessorRequest> {
public:
    explicit CScriptedRequest(SPluginScript& script) : m_script(script) {}
    bool STDMETHODCALLTYPE GetXml(BSTR* xml) override
    {
        std::wstring text;
        if (!m_script.getXml(text))
            return false;
        *xml = CBstr(text).Detach();
        return true;
    }
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override
    {
        *text = CBstr(m_script.errorText).Detach();
        return true;
    }

private:
    SPluginScript& m_script;
    CCounted m_counted{m_script, L"request"};
};

/// The second interface is there only when the script has a step for it.
class CScriptedTask final : public CZelObject<IWQ_ZELProcessorTask, IWQ_ZELProcessorTaskReadiness> {
public:
    explicit CScriptedTask(SPluginScript& script) : m_script(script) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid == ComIid<IWQ_ZELProcessorTaskReadiness>() && !m_script.canProcess) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        return CZelObject::QueryInterface(iid, object);
    }
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override { return m_script.init(task); }
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override
    {
        return m_script.obtainData(context, progress);
    }
    bool STDMETHODCALLTYPE CanProcess(CZelProcessorContext*, bool force) override { return m_script.canProcess(force); }

private:
    SPluginScript& m_script;
    CCounted m_counted{m_script, L"task"};
};

class CScriptedResponse final : public CZelObject<IWQ_ZELProcessorResponse, IWQ_ZELProcessorTaskError> {
public:
    explicit CScriptedResponse(SPluginScript& script) : m_script(script) {}
    bool STDMETHODCALLTYPE SetTask(IWQ_ZELProcessorTask* task) override { return m_script.setTask(task); }
    bool STDMETHODCALLTYPE Save(const wchar_t* path) override
    {
        return m_script.save ? m_script.save(path) : platform::Succeeded(platform::WriteWholeFile(path, "<Response/>"));
    }
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override
    {
        *text = CBstr(m_script.saveErrorText).Detach();
        return !m_script.saveErrorText.empty();
    }

private:
    SPluginScript& m_script;
    CCounted m_counted{m_script, L"response"};
};

class CScriptedFactory final : public CZelObject<IWQ_ZELProcessorFactory> {
public:
    explicit CScriptedFactory(std::atomic<SPluginScript*>& script) : m_pScript(script) {}
    bool STDMETHODCALLTYPE CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request) override
    {
        SPluginScript* script = m_pScript;
        if (!script || !script->createRequest(path))
            return false;
        *request = ZelMake<CScriptedRequest>(*script).Detach();
        return true;
    }
    bool STDMETHODCALLTYPE CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task) override
    {
        SPluginScript* script = m_pScript;
        if (!script || !script->createTask(type))
            return false;
        if (script->givesTask)
            *task = ZelMake<CScriptedTask>(*script).Detach();
        return true;
    }
    bool STDMETHODCALLTYPE CreateResponse(IWQ_ZELProcessorRequest*, IWQ_ZELProcessorResponse** response) override
    {
        SPluginScript* script = m_pScript;
        if (!script || !script->createResponse())
            return false;
        *response = ZelMake<CScriptedResponse>(*script).Detach();
        return true;
    }

private:
    std::atomic<SPluginScript*>& m_pScript;
};

/// A class that is registered already stays as it is.
void Register()
{
    for (const auto& [id, index] : {std::pair(kFirst, 0), std::pair(kSecond, 1)}) {
        const ComponentFactoryFunction make = [script = &g_scripts[index]](REFIID iid, void** object) -> HRESULT {
            if (!g_installed)
                return CLASS_E_CLASSNOTAVAILABLE;
            return ZelMake<CScriptedFactory>(*script)->QueryInterface(iid, object);
        };
        static_cast<void>(RegisterComponentClass(id, make, {CATID_ZELProcessorFactory}));
    }
}

} // namespace

CScriptedPlugin::CScriptedPlugin(SPluginScript& first, SPluginScript* second)
{
    Register();
    g_scripts[0] = &first;
    g_scripts[1] = second;
}

CScriptedPlugin::~CScriptedPlugin()
{
    g_scripts[0] = nullptr;
    g_scripts[1] = nullptr;
}

void CScriptedPlugin::SetInstalled(bool installed)
{
    Register();
    g_installed = installed;
}

void CScriptedPlugin::SetListed(bool listed)
{
    if (listed)
        return Register();
    for (const CLSID& id : {kFirst, kSecond})
        static_cast<void>(RevokeComponentClass(id));
}

bool CScriptedPlugin::HasLiveObjects()
{
    return g_objects != 0;
}
