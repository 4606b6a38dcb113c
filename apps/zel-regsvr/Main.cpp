#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/LibraryInstance.h"
#include "apps/zel-regsvr/ComponentList.h"
#include "apps/zel-regsvr/Registrar.h"
#include "apps/zel-regsvr/RegsvrOptions.h"
#include "com/ComThread.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "CommonTexts.h"
#include "RegsvrTexts.h"

#include <exception>

namespace {

constexpr const wchar_t* kProgram = L"zel-regsvr";

int List()
{
    bool isBroken = false;
    const std::wstring text = ListOfComponents(isBroken);
    platform::WriteConsoleText(platform::eStream_Output,
                               text.empty() ? WQ_ModuleText(RegsvrTexts::IDS_NOTHING_REGISTERED) + L"\n" : text);
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
            const STextCode& done = options.unregister ? RegsvrTexts::IDS_UNREGISTERED : RegsvrTexts::IDS_REGISTERED;
            platform::WriteConsoleText(platform::eStream_Output, WQ_ModuleText(done, {module}) + L"\n");
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
            PrintError(kProgram, WQ_ModuleText(CommonTexts::IDS_COM_NOT_READY));
            return eExitCode_ClientError;
        }
        const CLibraryInstance library;
        if (!library.IsReady()) {
            PrintError(kProgram, WQ_ModuleText(CommonTexts::IDS_LIBRARY_NOT_STARTED));
            return eExitCode_ClientError;
        }
        return options.list ? List() : Register(options);
    } catch (const std::exception& exception) {
        PrintError(kProgram, platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
