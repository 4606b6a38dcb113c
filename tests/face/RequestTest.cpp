#include "tests/face/FaceFixture.h"

namespace {

class FaceRequest : public CFaceFixture {};

} // namespace

TEST_F(FaceRequest, TheStatusTellsStatePercentAndComment)
{
    CGate gate;
    m_script.obtainData = [&](auto*, CZelProcessorProgress* progress) {
        progress->SetRange(0, 4);
        progress->SetPos(1);
        return gate.Pass();
    };
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    const zel::Status status = request.status();
    EXPECT_EQ(status.state, zel::State::gettingData);
    EXPECT_EQ(status.percent, 25);
    EXPECT_TRUE(status.isRunning());
    EXPECT_TRUE(status.changed.has_value());
    EXPECT_EQ(request.receive(PathOf(In(m_clientDir, L"a.xml"))).code(), zel::Code::notEnded);
    EXPECT_EQ(request.forget().code(), zel::Code::notEnded);
    gate.Open();
    const zel::Result<zel::Status> end = request.wait(kPatience);
    ASSERT_TRUE(end) << end.reason();
    EXPECT_EQ(end->state, zel::State::done);
}

TEST_F(FaceRequest, WhatIsNowhereIsUnknown)
{
    const zel::Request request = Named("unknown.drq");
    EXPECT_EQ(request.status().state, zel::State::notRequested);
    EXPECT_EQ(request.wait(kPatience).code(), zel::Code::unknownRequest);
    EXPECT_EQ(request.receive(PathOf(In(m_clientDir, L"a.xml"))).code(), zel::Code::unknownRequest);
    EXPECT_OK(request.forget());
}

TEST_F(FaceRequest, AFailureHasTheWordsOfTheServer)
{
    m_script.obtainData = [](auto*, auto*) { return false; };
    Run();
    const zel::Request request = Sent("a.drq");
    const zel::Result<zel::Status> end = request.wait(kPatience);
    EXPECT_EQ(end.code(), zel::Code::failed);
    EXPECT_EQ(end.reason(), request.status().comment);
    EXPECT_NE(end.reason(), "");
    m_host.ExpectReport(312, L"a.drq failed");
    EXPECT_EQ(request.receive(PathOf(In(m_clientDir, L"a.xml"))).code(), zel::Code::failed);
    EXPECT_OK(request.forget());
    EXPECT_EQ(request.status().state, zel::State::notRequested) << "the name is free";
}

TEST_F(FaceRequest, AResponseIsMovedToAFileOrIntoAFolder)
{
    Run();
    const zel::Request file = Sent("a.drq");
    ASSERT_TRUE(file.wait(kPatience));
    Write(In(m_clientDir, L"a.xml"), "old");
    EXPECT_OK(file.receive(PathOf(In(m_clientDir, L"a.xml"))));
    EXPECT_EQ(Read(In(m_clientDir, L"a.xml")), "<Response/>");
    const zel::Request folder = Sent("b.drq");
    ASSERT_TRUE(folder.wait(kPatience));
    EXPECT_OK(folder.receive(PathOf(m_clientDir)));
    EXPECT_EQ(Read(In(m_clientDir, L"b.drq")), "<Response/>");
    EXPECT_EQ(FilesIn(m_outputDir), std::vector<std::wstring>{}) << "statuses and responses are gone";
}

TEST_F(FaceRequest, ATargetOnAnotherVolumeIsCopiedTo)
{
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotSameDevice, 1, L"a.drq");
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
    EXPECT_EQ(Read(In(m_clientDir, L"a.xml")), "<Response/>");
    EXPECT_EQ(FilesIn(m_outputDir), std::vector<std::wstring>{});
    EXPECT_EQ(FilesIn(m_clientDir), std::vector<std::wstring>{L"a.xml"});
}

TEST_F(FaceRequest, ACopyIsForNobodyWhoCouldNotReadTheResponse)
{
    using std::filesystem::perms;
    const auto modeOf = [](const std::wstring& path) { return std::filesystem::status(PathOf(path)).permissions(); };
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    const std::wstring response = In(m_outputDir, L"a.drq");
    std::filesystem::permissions(PathOf(response), perms::owner_read | perms::owner_write);
    if ((modeOf(response) & perms::others_read) != perms::none)
        GTEST_SKIP() << "files have no modes here: the access list of the folder decides";
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotSameDevice, 1, L"a.drq");
    perms written = perms::none;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Write && call.path.ends_with(L".tmp"))
            written = modeOf(call.path);
    });
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
    m_files.OnCall({});
    EXPECT_EQ(written, perms::owner_read | perms::owner_write) << "from its first byte on";
    EXPECT_EQ(modeOf(In(m_clientDir, L"a.xml")), perms::owner_read | perms::owner_write);
    EXPECT_EQ(Read(In(m_clientDir, L"a.xml")), "<Response/>");
    EXPECT_EQ(FilesIn(m_clientDir), std::vector<std::wstring>{L"a.xml"});
}

TEST_F(FaceRequest, ACopyOfWhatAllMayReadIsAsAnyNewFile)
{
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    std::filesystem::permissions(PathOf(In(m_outputDir, L"a.drq")), std::filesystem::perms(0666));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotSameDevice, 1, L"a.drq");
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
    Write(In(m_clientDir, L"new.xml"));
    EXPECT_EQ(std::filesystem::status(PathOf(In(m_clientDir, L"a.xml"))).permissions(),
              std::filesystem::status(PathOf(In(m_clientDir, L"new.xml"))).permissions());
}

TEST_F(FaceRequest, WhatIsCopiedIsSyncedBeforeTheResponseGoes)
{
    zel::Options options = Options();
    options.syncing = true;
    m_face.emplace(options);
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotSameDevice, 1, L"a.drq");
    std::vector<testsupport::eFileCall> calls;
    bool isHeld = false;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        const bool isCopy = call.path.ends_with(L".tmp");
        const bool isEnd = call.call == testsupport::eFileCall_Remove && call.path == In(m_outputDir, L"a.drq");
        if ((isCopy && call.call != testsupport::eFileCall_Close) || isEnd)
            calls.push_back(call.call);
        if (isCopy && call.call == testsupport::eFileCall_Write) {
            std::unique_ptr<platform::IFile> other;
            isHeld = platform::SystemFiles().Open(In(m_outputDir, L"a.drq"), platform::eOpenMode_ReadExclusive,
                                                  other) == platform::eOsError_SharingViolation;
        }
    });
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
    m_files.OnCall({});
    EXPECT_TRUE(isHeld) << "nobody else takes it meanwhile";
    ASSERT_GE(calls.size(), 5U);
    EXPECT_EQ(calls.front(), testsupport::eFileCall_Open);
    const std::vector<testsupport::eFileCall> last(calls.end() - 3, calls.end());
    EXPECT_EQ(last,
              (std::vector{testsupport::eFileCall_Sync, testsupport::eFileCall_Move, testsupport::eFileCall_Remove}));
}

TEST_F(FaceRequest, ACopyThatFailsLeavesTheResponseAndNothingElse)
{
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_NotSameDevice, 1, L"a.drq");
    m_files.FailCall(testsupport::eFileCall_Write, 1, platform::eOsError_DiskFull, 1, L".tmp");
    const zel::Result<void> received = request.receive(PathOf(In(m_clientDir, L"a.xml")));
    EXPECT_EQ(received.code(), zel::Code::fileError);
    EXPECT_NE(received.reason().find("a.xml': "), std::string::npos) << received.reason();
    EXPECT_EQ(FilesIn(m_clientDir), std::vector<std::wstring>{});
    EXPECT_EQ(Read(In(m_outputDir, L"a.drq")), "<Response/>");
    EXPECT_EQ(request.status().state, zel::State::done);
}

TEST_F(FaceRequest, AResponseThatCannotBeWrittenStaysWhereItIs)
{
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    const zel::Result<void> received = request.receive(PathOf(In(In(m_clientDir, L"nowhere"), L"a.xml")));
    EXPECT_EQ(received.code(), zel::Code::fileError);
    EXPECT_NE(received.reason().find("nowhere"), std::string::npos) << received.reason();
    EXPECT_EQ(Read(In(m_outputDir, L"a.drq")), "<Response/>");
    EXPECT_EQ(request.status().state, zel::State::done);
}

TEST_F(FaceRequest, ItOutlivesItsClient)
{
    Run();
    const zel::Request request = Sent("a.drq");
    ASSERT_TRUE(request.wait(kPatience));
    m_face.reset();
    EXPECT_EQ(request.status().state, zel::State::done);
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
}
