#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/zel-server/ServerProgram.h"
#include "com/ZelCom.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <exception>

namespace {

/// COM on the main thread.
class CMainCom {
public:
    CMainCom() : m_isSystem(SUCCEEDED(CoInitializeSYS(nullptr))), m_isZel(SUCCEEDED(CoInitializeZEL(nullptr))) {}
    ~CMainCom()
    {
        if (m_isZel)
            CoUninitializeZEL();
        if (m_isSystem)
            CoUninitializeSYS();
    }
    CMainCom(const CMainCom&) = delete;
    CMainCom& operator=(const CMainCom&) = delete;

    [[nodiscard]] bool IsReady() const { return m_isSystem && m_isZel; }

private:
    bool m_isSystem;
    bool m_isZel;
};

} // namespace

int main(int argc, char** argv)
{
    try {
        SServerOptions options;
        if (const std::optional<int> code = ParseServerOptions(platform::ProgramArguments(argc, argv), options))
            return *code;
        const CMainCom com;
        if (!com.IsReady()) {
            PrintError(L"zel-server", L"COM could not be initialised");
            return eExitCode_ClientError;
        }
        CServerProgram program(options);
        return program.Run();
    } catch (const std::exception& exception) {
        PrintError(L"zel-server", platform::FromUtf8(exception.what()));
        return eExitCode_ClientError;
    }
}
