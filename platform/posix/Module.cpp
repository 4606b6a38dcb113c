#include "platform/Module.h"

#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/posix/SystemError.h"

#include <dlfcn.h>
#include <link.h>
#include <string_view>
#include <unistd.h>

namespace platform {
namespace {

class CModule final : public IModule {
public:
    explicit CModule(void* handle) : m_handle(handle) {}
    ~CModule() override { dlclose(m_handle); }
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;

    void* Symbol(const char* name) override { return dlsym(m_handle, name); }

private:
    void* const m_handle;
};

/// The loader's number, which it does not give, as far as a look at the file tells it.
eOsError LoadError(const std::string& path)
{
    if (access(path.c_str(), R_OK) != 0)
        return posix::PathError(errno, path.c_str());
    return eOsError_NotSupported; // it is there, but no module, or one that lacks something
}

/// The loader knows the program by an empty name, or by the one it was started with.
bool IsProgram(const dl_phdr_info& info)
{
    return info.dlpi_name == nullptr || *info.dlpi_name == '\0';
}

int AddModule(dl_phdr_info* info, std::size_t, void* list)
{
    auto& modules = *static_cast<std::vector<std::wstring>*>(list);
    if (IsProgram(*info))
        modules.push_back(ProgramPath());
    else if (std::string_view(info->dlpi_name).find('/') != std::string_view::npos) // others have no file
        modules.push_back(AbsolutePath(FromUtf8(info->dlpi_name)));
    return 0;
}

} // namespace

eOsError LoadDynamicModule(const std::wstring& path, std::unique_ptr<IModule>& loaded, std::wstring& errorText)
{
    // Absolute, or the loader would search its own folders for a bare name.
    const std::string file = NarrowPath(AbsolutePath(path));
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* const told = dlerror();
        std::string_view text = told != nullptr ? told : "";
        if (const std::string prefix = file + ": "; text.starts_with(prefix))
            text.remove_prefix(prefix.size()); // whoever loads names the file
        errorText = FromUtf8(text);
        return LoadError(file);
    }
    loaded = std::make_unique<CModule>(handle);
    errorText.clear();
    return eOsError_None;
}

const wchar_t* ModuleExtension()
{
    return L".so";
}

std::wstring ModulePathOf(const void* address)
{
    Dl_info info = {};
    link_map* module = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0)
        return {};
    if (module == nullptr || module->l_name == nullptr || *module->l_name == '\0')
        return ProgramPath();
    return AbsolutePath(FromUtf8(module->l_name));
}

std::wstring ProgramPath()
{
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length < 0)
            return {};
        if (static_cast<std::size_t>(length) < buffer.size())
            return FromUtf8(std::string_view(buffer).substr(0, static_cast<std::size_t>(length)));
        buffer.resize(buffer.size() * 2);
    }
}

std::vector<std::wstring> LoadedModules()
{
    std::vector<std::wstring> modules;
    dl_iterate_phdr(&AddModule, &modules);
    return modules;
}

} // namespace platform
