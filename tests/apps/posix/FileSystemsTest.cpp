#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/posix/Mirror.h"
#include "tests/support/posix/MountedImage.h"

namespace {

/// Server and client on two sides of a mount, where the one that is on it is told of nothing that the other one does.
class MirrorServerTest : public CProgramTest {
protected:
    void SetUp() override
    {
        if (!m_mirror.IsMounted())
            GTEST_SKIP() << "CMirror: bindfs or /dev/fuse is missing here, or may not be used";
    }
    /// For the programs that are started from now on.
    void UseMount() { Use(m_mirror.Path()); }
    void UseBeneath() { Use(m_root.Path()); }

    /// Waits long enough for any machine. One that is not found by looking is served with the next one alone, which
    /// comes when this one is answered.
    void SendAndWait(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"send", MakeEcho(name, L"x"), L"--wait", L"--timeout", L"30"});
        EXPECT_EQ(result.code, 0) << result.output << result.errors;
        EXPECT_EQ(Read(InOutput(name)), EchoResponse("x"));
    }

private:
    void Use(const std::wstring& root)
    {
        m_strRequests = platform::JoinPath(root, L"requests");
        m_strOutput = platform::JoinPath(root, L"output");
    }

    const testsupport::CMirror m_mirror{m_root.Path()};
};

TEST_F(MirrorServerTest, AServerOnTheMountServesAClientBeneath)
{
    UseMount();
    CRunningProgram server = StartServer();
    UseBeneath();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        SendAndWait(name);
    StopServer(server);
}

TEST_F(MirrorServerTest, AClientOnTheMountIsServedByAServerBeneath)
{
    CRunningProgram server = StartServer();
    UseMount();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        SendAndWait(name);
    StopServer(server);
}

TEST_F(MirrorServerTest, AListenerOnTheMountHearsOfChanges)
{
    CRunningProgram server = StartServer();
    UseMount();
    CRunningProgram listener = StartZel({L"listen", L"--json"});
    ASSERT_TRUE(listener.WaitForErrors("listening")) << listener.Errors();
    UseBeneath();
    const std::wstring fire = MakeRequest(L"f.drq", L"Type=\"FireEvents\" Times=\"1\" Added=\"1\"");
    ASSERT_EQ(Zel({L"send", fire, L"--wait"}).code, 0);
    std::wstring line;
    EXPECT_TRUE(listener.Process().ReadLine(line, kPatience)) << listener.Errors();
    EXPECT_TRUE(Contains(platform::ToUtf8(line), "\"added\"")) << platform::ToUtf8(line);
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0) << listener.Errors();
    StopServer(server);
}

TEST_F(MirrorServerTest, APollOfOnesOwnIsTakenWhateverTheFileSystem)
{
    UseMount();
    CRunningProgram server = StartServer({L"--strict", L"--poll", L"20"});
    UseBeneath();
    SendAndWait(L"a.drq");
    StopServer(server);
}

class ImageServerTest : public CProgramTest, public testing::WithParamInterface<const wchar_t*> {
protected:
    void SetUp() override
    {
        if (!m_image.IsMounted())
            GTEST_SKIP() << m_image.WhyNot();
        m_strRequests = platform::JoinPath(m_image.Path(), L"requests");
        m_strOutput = platform::JoinPath(m_image.Path(), L"output");
    }

    const testsupport::CMountedImage m_image{GetParam()};
};

TEST_P(ImageServerTest, ARequestIsServed)
{
    CRunningProgram server = StartServer({L"--create-dirs"});
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        const SProgramResult result = Zel({L"send", MakeEcho(name, L"x"), L"-o", InHome(L"answer")});
        EXPECT_EQ(result.code, 0) << result.output << result.errors;
        EXPECT_EQ(Read(InHome(L"answer")), EchoResponse("x"));
    }
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "does not tell of changes")) << server.Errors();
}

INSTANTIATE_TEST_SUITE_P(Kinds, ImageServerTest, testing::Values(L"ext4", L"xfs", L"btrfs"), [](const auto& kind) {
    const std::wstring name = kind.param;
    return std::string(name.begin(), name.end());
});

using DoctorHereTest = CProgramTest;

TEST_F(DoctorHereTest, TheFileSystemIsToldOfADirectoryThatCanOnlyBeRead)
{
    const SProgramResult result = Zel({L"doctor", L"--json", L"--output-dir", L"/proc"});
    std::vector<nlohmann::json> told = result.Objects();
    std::erase_if(told, [](const nlohmann::json& finding) {
        return finding["check"] != "file-system" || !Contains(finding["text"].get<std::string>(), "'/proc'");
    });
    EXPECT_EQ(told.size(), 1U) << result.output << result.errors;
}

} // namespace
