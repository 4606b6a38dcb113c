#include "com/ComponentModule.h"

#include "platform/FileSystem.h"
#include "platform/OsError.h"
#include "platform/Trust.h"

namespace {

std::wstring VersionText(std::uint32_t version)
{
    return std::to_wstring(version >> 16U) + L"." + std::to_wstring(version & 0xFFFFU);
}

/// What is wrong with the exports of a loaded module; empty when they are those of a component.
std::wstring FaultOfExports(SComponentModule& loaded)
{
    using GetClassObject = decltype(loaded.getClassObject);
    loaded.getClassObject = reinterpret_cast<GetClassObject>(loaded.module->Symbol("DllGetClassObject"));
    if (loaded.getClassObject == nullptr)
        return L"the module exports no DllGetClassObject";
    const auto version = reinterpret_cast<std::uint32_t (*)()>(loaded.module->Symbol(kComponentVersionFunction));
    if (version == nullptr)
        return {};
    const std::uint32_t built = version();
    if (built == kComponentVersion)
        return {};
    return L"the module was built for version " + VersionText(built) + L" of the plug-in interfaces; this is version " +
           VersionText(kComponentVersion);
}

} // namespace

std::wstring RefusalOfModule(const std::wstring& path)
{
    if (!platform::PathExists(path) || platform::DirectoryExists(path))
        return L"the module " + path + L" does not exist";
    const std::wstring distrust = platform::DistrustOf(path);
    return distrust.empty() ? distrust : distrust + L", so the module is not used";
}

HRESULT LoadComponentModule(const std::wstring& path, SComponentModule& loaded, std::wstring& reason)
{
    reason = RefusalOfModule(path);
    if (!reason.empty())
        return CO_E_DLLNOTFOUND;
    const platform::eOsError error = platform::LoadDynamicModule(path, loaded.module, reason);
    if (!platform::Succeeded(error)) {
        reason = path + L": " + (reason.empty() ? platform::OsErrorText(error) : reason);
        return CO_E_DLLNOTFOUND;
    }
    reason = FaultOfExports(loaded);
    if (reason.empty())
        return S_OK;
    reason = path + L": " + reason;
    return CO_E_ERRORINDLL;
}
