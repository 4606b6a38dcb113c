#include "platform/Service.h"
#include "tests/apps/ProgramFixture.h"

namespace {

class ServerServiceTest : public CProgramTest {};

TEST_F(ServerServiceTest, ServicesAreKeptInAnotherWayHere)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--log-file", m_root / L"log.txt"});
    for (const wchar_t* action : {L"install", L"run", L"remove"}) {
        std::vector<std::wstring> all = arguments;
        all.insert(all.end(), {L"--service", action});
        const SProgramResult result = ServerResult(all);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_TRUE(Contains(result.errors, "zel-server.service")) << result.errors;
    }
    int result = 0;
    EXPECT_EQ(platform::InstallService({}), platform::eOsError_NotSupported);
    EXPECT_EQ(platform::RemoveService(L""), platform::eOsError_NotSupported);
    EXPECT_EQ(platform::RunService(
                  L"", [] { return 0; }, result),
              platform::eOsError_NotSupported);
}

} // namespace
