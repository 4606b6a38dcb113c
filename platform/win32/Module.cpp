#include "platform/Module.h"

#include "platform/Path.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <psapi.h>

namespace platform {

namespace {

class CWin32Module final : public IModule {
public:
    explicit CWin32Module(HMODULE module) : m_module(module) {}
    ~CWin32Module() override { FreeLibrary(m_module); }
    CWin32Module(const CWin32Module&) = delete;
    CWin32Module& operator=(const CWin32Module&) = delete;

    void* Symbol(const char* name) override { return reinterpret_cast<void*>(GetProcAddress(m_module, name)); }

private:
    const HMODULE m_module;
};

/// While it lives, a module that can't be loaded does not put up a box that nobody is there to close.
class CNoErrorBoxes {
public:
    CNoErrorBoxes() { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_old); }
    ~CNoErrorBoxes() { SetThreadErrorMode(m_old, nullptr); }
    CNoErrorBoxes(const CNoErrorBoxes&) = delete;
    CNoErrorBoxes& operator=(const CNoErrorBoxes&) = delete;

private:
    DWORD m_old = 0;
};

std::wstring PathOf(HMODULE module)
{
    constexpr std::size_t longestPath = 32768;
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            return {};
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        if (path.size() >= longestPath) {
            return {};
        }
        path.resize(path.size() * 2); // it was cut
    }
}

} // namespace

eOsError LoadDynamicModule(const std::wstring& path, std::unique_ptr<IModule>& loaded, std::wstring& errorText)
{
    const CNoErrorBoxes noBoxes;
    // With this flag, what the module needs is looked for beside the module; it takes a full path for that.
    const HMODULE module =
        LoadLibraryExW(win32::ToSystemPath(AbsolutePath(path)).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        const eOsError error = win32::LastOsError();
        errorText = OsErrorText(error);
        return error;
    }
    loaded = std::make_unique<CWin32Module>(module);
    return eOsError_None;
}

const wchar_t* ModuleExtension()
{
    return L".dll";
}

std::wstring ModulePathOf(const void* address)
{
    HMODULE module = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // For a null pointer the system would name the program.
    if (address == nullptr || !GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), &module)) {
        return {};
    }
    return PathOf(module);
}

std::wstring ProgramPath()
{
    return PathOf(nullptr);
}

std::vector<std::wstring> LoadedModules()
{
    std::vector<HMODULE> modules(256);
    for (;;) {
        DWORD bytes = 0;
        const auto room = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
        if (!EnumProcessModules(GetCurrentProcess(), modules.data(), room, &bytes)) {
            return {};
        }
        modules.resize(bytes / sizeof(HMODULE));
        if (bytes <= room) {
            break; // otherwise it has grown to what is needed
        }
    }
    std::vector<std::wstring> paths;
    paths.reserve(modules.size());
    for (const HMODULE module : modules) {
        if (std::wstring path = PathOf(module); !path.empty()) {
            paths.push_back(std::move(path));
        }
    }
    return paths;
}

} // namespace platform
