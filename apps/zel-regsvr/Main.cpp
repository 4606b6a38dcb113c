#include "apps/common/ComThread.h"
#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/LibraryInstance.h"
#include "apps/zel-regsvr/ComponentList.h"
#include "apps/zel-regsvr/Registrar.h"
#include "apps/zel-regsvr/RegsvrOptions.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <exception>

namespace {

constexpr const wchar_t* kProgram = L"zel-regsvr";

int List()
{
    bool isBroken = false;
    const std::wstring text = ListOfComponents(isBroken);
    platform::WriteConsoleText(platform::eStream_Output, text.empty() ? L"nothing is registered\n" : text);
    return isBroken ? eExitCode_ClientError : eExitCode_Done;
}

/// Goes on after a failure: the others are no worse for it.
int Register(const SRegsvrOptions& options)
{
    const CRegistrationScope scope(options.scope);
    int code = eExitCode_Done;
    for (const std::wstring& module : options.modules) {
        std::wstring error;
        if (options.unregister ? UnregisterModule(module, error) : RegisterModule(module, error)) {
            platform::WriteConsoleText(platform::eStream_Output,
                                       (options.unregister ? L"unregistered " : L"registered ") + module + L"\n");
        } else {
            PrintError(kProgram, error);
            code = eExitCode_ClientError;
        }
    }
    return code;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        SRegsvrOptions options;
        if (const std::optional<int> code = ParseRegsvrOptions(platform::ProgramArguments(argc, argv), options))
            return *code;
        const CComThread com;
        if (!com.IsReady()) {
            PrintError(kProgram, L"COM could not be initialised");
            return eExitCode_ClientError;
        }
        const CLibraryInstance library;
        if (!library.IsReady()) {
            PrintError(kProgram, L"the library could not be started");
            return eExitCode_ClientError;
        }
        return options.list ? List() : Register(options);
    } catch (const std::exception& exception) {
        PrintError(kProgram, platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
