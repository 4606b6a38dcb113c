#include "tests/support/ServerKit.h"

#include "protocol/HandOver.h"
#include "reports/StringCodes.h"
#include "tests/support/Links.h"
#include "tests/support/Predicates.h"

namespace {

/// A server that tells strangers what it does not take, and waits for nobody who keeps its files open.
class Refuse : public CServerFixture {
protected:
    static inline const SZelServerOptions kOptions{
        .syncing = false, .followLinks = false, .tellRefused = true, .patience = std::chrono::milliseconds(50)};

    void SetUp() override
    {
        CServerFixture::SetUp();
        if (testsupport::IsThreadSanitized())
            GTEST_SKIP() << "IsThreadSanitized: it does not see that files order what the running server reads";
        Make(kOptions);
        Run();
    }
    /// A later request that is done proves that everything before it was looked at.
    void Scan(const std::wstring& name = L"marker.drq") { EXPECT_EQ(SendAndWait(name), eRequestStatus_Done); }
    void ExpectRefused(const std::wstring& name, const SStringCode& reason)
    {
        m_host.ExpectLogLine(L"Refused: " + In(m_requestDir, name) + L": " + TextOf(reason));
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_ServerError);
        EXPECT_EQ(m_additional.GetProgressComment(), TextOf(StringCodes::kServerError) + TextOf(reason));
    }
    [[nodiscard]] std::wstring StatusOf(const std::wstring& name) const { return In(m_outputDir, name + L".status"); }
    /// Asked without opening the file, which its writer would meet.
    [[nodiscard]] static bool HasContent(const std::wstring& path)
    {
        platform::SFileAttributes attributes;
        return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
    }
    /// A link to a whole request. False where there are none to make.
    [[nodiscard]] bool MakeRequestLink(const std::wstring& path) const
    {
        Write(m_target);
        return testsupport::MakeLink(m_target, path);
    }

    const std::wstring m_target = m_dir / L"target";
};

} // namespace

TEST_F(Refuse, ADirectoryNamedLikeARequestIsToldOnceAndStays)
{
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(m_requestDir, L"dir.drq"))));
    Scan();
    ExpectRefused(L"dir.drq", StringCodes::kRefusedDirectory);
    Scan(L"again.drq");
    EXPECT_TRUE(platform::DirectoryExists(In(m_requestDir, L"dir.drq")));
}

TEST_F(Refuse, ANameThatCameBackIsToldAgain)
{
    const std::wstring directory = In(m_requestDir, L"dir.drq");
    for (const std::wstring name : {L"1.drq", L"2.drq"}) {
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(directory)));
        Scan(name);
        ExpectRefused(L"dir.drq", StringCodes::kRefusedDirectory);
        ASSERT_TRUE(platform::Succeeded(platform::Files().RemoveEmptyDirectory(directory)));
        Scan(L"gone " + name);
    }
}

TEST_F(Refuse, ALinkIsRefusedAndWhatItLeadsToIsLeftAlone)
{
    if (!MakeRequestLink(In(m_requestDir, L"link.drq")))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    Scan();
    ExpectRefused(L"link.drq", StringCodes::kRefusedLink);
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"link.drq")));
    EXPECT_EQ(Read(m_target), "<Request/>");
}

TEST_F(Refuse, ALinkThatTakesTheFilesPlaceAfterTheLookIsRefusedInTheQueue)
{
    const std::wstring path = In(m_requestDir, L"x.drq");
    bool isLink = true;
    bool isReplaced = false; // a file whose sender closes it may be tried for each of what he did
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Move || call.path != path || std::exchange(isReplaced, true))
            return;
        EXPECT_TRUE(platform::Succeeded(platform::SystemFiles().Remove(path)));
        isLink = MakeRequestLink(path);
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Write(In(m_clientDir, L"x.drq"));
    // By a bare rename: a client has the file open for a moment after it, and open files are not removed.
    std::filesystem::rename(In(m_clientDir, L"x.drq").c_str(), path);
    const bool isTold = WaitUntil([&] { return !isLink || platform::PathExists(StatusOf(L"x.drq")); });
    if (isLink) {
        EXPECT_TRUE(isTold);
        ExpectRefused(L"x.drq", StringCodes::kRefusedLink);
        EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
        EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"x.drq")));
        EXPECT_EQ(Read(m_target), "<Request/>");
    }
    m_pServer->Stop(true); // nobody else uses the files any more
    if (!isLink) {
        static_cast<void>(m_host.TakeBoxes());
        GTEST_SKIP() << "MakeLink: this system gives no links";
    }
}

TEST_F(Refuse, ALinkIsServedWhereTheHostFollowsThem)
{
    SZelServerOptions options = kOptions;
    options.followLinks = true;
    Make(options);
    Run();
    if (!MakeRequestLink(In(m_requestDir, L"link.drq")))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    Scan();
    EXPECT_EQ(WaitForEnd(L"link.drq"), eRequestStatus_Done);
    EXPECT_EQ(Read(m_target), "<Request/>") << "the link was deleted, not the file";
}

TEST_F(Refuse, APauseDoesNotTakeALink)
{
    if (!MakeRequestLink(m_dir / L"outside.drq"))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    ASSERT_TRUE(testsupport::MakeLink(m_target, In(m_requestDir, L"link.drq")));
    Send(L"pause.command", "<Command Type='PauseRequest'><RequestName>link.drq</RequestName></Command>");
    m_host.ExpectBox(L"Processing of command");
    ExpectRefused(L"link.drq", StringCodes::kRefusedLink);
    EXPECT_FALSE(Access().IsRequestPaused(L"link.drq"));
}

TEST_F(Refuse, ANameThatLeavesNoRoomForAStatusStaysWhereItIs)
{
    const std::wstring name = std::wstring(251, L'x') + L".drq";
    ASSERT_TRUE(platform::Succeeded(platform::WriteWholeFile(In(m_requestDir, name), "<Request/>")));
    Scan();
    m_host.ExpectLogLine(L"Refused: " + In(m_requestDir, name) + L": " + TextOf(StringCodes::kRefusedLongName));
    Scan(L"again.drq");
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, name)));
    const std::wstring shorter = std::wstring(244, L'x') + L".drq"; // with ".status" 255
    EXPECT_EQ(SendAndWait(shorter), eRequestStatus_Done);
}

TEST_F(Refuse, TheStatusOfARequestOnItsWayIsLeftAlone)
{
    CGate gate;
    m_script.createRequest = [&](const std::wstring& path) {
        return platform::FileNameOf(path) != L"x.drq" || gate.Pass();
    };
    Send(L"x.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(m_requestDir, L"x.drq"))));
    Send(L"next.drq");
    m_host.ExpectLogLine(L"Refused: " + In(m_requestDir, L"x.drq"));
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"x.drq"), eRequestStatus_Done);
}

TEST_F(Refuse, AHeldStatusCostsItsOwnRequestAloneAndIsWrittenWhenItIsFree)
{
    Write(StatusOf(L"held.drq"), "");
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_TRUE(platform::Succeeded(
        platform::Files().Open(StatusOf(L"held.drq"), platform::eOpenMode_ReadExclusive, stranger)));
    Send(L"held.drq");
    EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
    m_host.ExpectLogLine(L"'" + StatusOf(L"held.drq") + L"' is kept open by ");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(In(m_outputDir, L"held.drq")); })) << "it was run";
    stranger.reset();
    EXPECT_TRUE(WaitUntil([&] { return HasContent(StatusOf(L"held.drq")); }));
    EXPECT_EQ(WaitForEnd(L"held.drq"), eRequestStatus_Done);
}

TEST_F(Refuse, ALinkThatAppearsWhileARequestRunsIsNotWrittenThroughAndTheEndIsToldWhenItIsGone)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Send(L"x.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    ASSERT_TRUE(
        platform::Succeeded(Protocol::RetryForASecond([&] { return platform::Files().Remove(StatusOf(L"x.drq")); })));
    const bool isLink = MakeRequestLink(StatusOf(L"x.drq"));
    gate.Open();
    if (!isLink) {
        EXPECT_EQ(WaitForEnd(L"x.drq"), eRequestStatus_Done);
        GTEST_SKIP() << "MakeLink: this system gives no links";
    }
    ASSERT_TRUE(WaitUntil([&] { return FilesIn(In(m_outputDir, L"Queue")).empty(); }));
    m_host.ExpectBox(L"Unable to create/open status file: " + StatusOf(L"x.drq"));
    m_host.ExpectLogLine(StatusOf(L"x.drq") + L": " + platform::OsErrorText(platform::eOsError_LinkInTheWay));
    EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
    EXPECT_EQ(Read(m_target), "<Request/>");
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(StatusOf(L"x.drq"))));
    EXPECT_TRUE(WaitUntil([&] { return platform::PathExists(StatusOf(L"x.drq")); }));
    EXPECT_EQ(WaitForEnd(L"x.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    static_cast<void>(m_host.TakeBoxes()); // one for each status that the link kept out
    static_cast<void>(m_host.TakeLogLines());
}

TEST_F(Refuse, AHeldAnswerCostsItsOwnRegistrationAlone)
{
    const std::wstring answer = In(m_outputDir, L"answer");
    Write(answer, "");
    std::unique_ptr<platform::IFile> stranger;
    ASSERT_TRUE(platform::Succeeded(platform::Files().Open(answer, platform::eOpenMode_ReadExclusive, stranger)));
    EXPECT_FALSE(Access().RegisterNewClient(L"answer"));
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_AlreadyExists));
    EXPECT_TRUE(Access().Clients().empty());
    EXPECT_TRUE(Access().RegisterNewClient(L"other"));
}
