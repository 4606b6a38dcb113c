#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/LibraryInstance.h"
#include "apps/zel-server/ServerCheck.h"
#include "apps/zel-server/ServerProgram.h"
#include "apps/zel-server/ServerService.h"
#include "com/ComThread.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <exception>

namespace {

int Serve(const SServerOptions& options)
{
    try {
        const CComThread com;
        if (!com.IsReady()) {
            PrintError(L"zel-server", WQ_ModuleText(CommonTexts::IDS_COM_NOT_READY));
            return eExitCode_ClientError;
        }
        const CLibraryInstance library;
        if (!library.IsReady()) {
            PrintError(L"zel-server", WQ_ModuleText(CommonTexts::IDS_LIBRARY_NOT_STARTED));
            return eExitCode_ClientError;
        }
        if (options.check)
            return CheckServer(options);
        CServerProgram program(options);
        return program.Run();
    } catch (const std::exception& exception) {
        PrintError(L"zel-server", platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        SServerOptions options;
        if (const std::optional<int> code = ParseServerOptions(platform::ProgramArguments(argc, argv), options))
            return *code;
        const auto serve = [&options] { return Serve(options); };
        return options.check || options.service == eServiceAction_None ? serve()
                                                                       : CarryOutServiceAction(options, serve);
    } catch (const std::exception& exception) {
        PrintError(L"zel-server", platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
