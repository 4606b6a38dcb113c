#include "apps/zel-regsvr/Registrar.h"

#include "com/ComError.h"
#include "com/ComponentModule.h"
#include "com/Registration.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "RegsvrTexts.h"

namespace {

using EntryFunction = HRESULT(STDMETHODCALLTYPE*)();

/// Nothing is asked of a module here but that it may be loaded: one for another version must be able to go.
bool LoadAsIs(const std::wstring& path, SComponentModule& loaded, std::wstring& error)
{
    error = RefusalOfModule(path);
    if (!error.empty())
        return false;
    std::wstring reason;
    const platform::eOsError result = platform::LoadDynamicModule(path, loaded.module, reason);
    if (platform::Succeeded(result))
        return true;
    error = path + L": " + (reason.empty() ? platform::OsErrorText(result) : reason);
    return false;
}

HRESULT CallGuarded(EntryFunction entry)
{
    try {
        return entry();
    } catch (...) {
        SetRegistrationError(WQ_ModuleText(RegsvrTexts::IDS_EXCEPTION));
        return E_UNEXPECTED;
    }
}

bool CallEntry(const std::wstring& path, SComponentModule& loaded, const char* name, std::wstring& error)
{
    const std::wstring wideName = platform::FromUtf8(name);
    const auto entry = reinterpret_cast<EntryFunction>(loaded.module->Symbol(name));
    if (entry == nullptr) {
        error = path + L": " + WQ_ModuleText(RegsvrTexts::IDS_NO_ENTRY, {wideName});
        return false;
    }
    SetRegistrationError({});
    const HRESULT result = CallGuarded(entry);
    if (SUCCEEDED(result))
        return true;
    std::wstring reason = RegistrationError();
    if (reason.empty())
        reason = platform::FromUtf8(CComError(result).what());
    error = path + L": " + WQ_ModuleText(RegsvrTexts::IDS_ENTRY_FAILED, {wideName, reason});
    return false;
}

} // namespace

bool RegisterModule(const std::wstring& path, std::wstring& error)
{
    const std::wstring full = platform::AbsolutePath(path);
    SComponentModule loaded;
    return SUCCEEDED(LoadComponentModule(full, loaded, error)) && CallEntry(full, loaded, "DllRegisterServer", error);
}

bool UnregisterModule(const std::wstring& path, std::wstring& error)
{
    const std::wstring full = platform::AbsolutePath(path);
    SComponentModule loaded;
    return LoadAsIs(full, loaded, error) && CallEntry(full, loaded, "DllUnregisterServer", error);
}
