#include "server/OperatorCommands.h"

#include "protocol/CommandFile.h"
#include "reports/StringCodes.h"
#include "server/FailedRequests.h"
#include "server/RequestStatuses.h"
#include "tests/library/server/RunFixture.h"

namespace {

class OperatorCommandsTest : public CRunFixture {
protected:
    OperatorCommandsTest() { m_settings.m_options.operatorCommands = true; }
    void SetUp() override
    {
        CRunFixture::SetUp();
        Write(Queued(L"c.command"));
    }
    CString CarryOut(eCommandType type) { return m_commands.CarryOut({type, L"Queue", {}}, Queued(L"c.command")); }
    /// A request that failed.
    void Keep(const std::wstring& name)
    {
        m_settings.m_options.keepFailed = std::chrono::hours(1);
        CFailedRequests failed(m_settings);
        Write(Queued(name));
        ASSERT_TRUE(failed.Begin({Queued(name)}, {.when = 5, .reason = L"why"}));
        ASSERT_EQ(failed.Take(Queued(name)), platform::eOsError_None);
    }
    [[nodiscard]] bool IsKept(const std::wstring& name) const
    {
        const std::wstring path = platform::JoinPath(FailedRecord::FolderIn(m_outputDir), name);
        return platform::PathExists(path) && platform::PathExists(FailedRecord::PathOf(path));
    }
    [[nodiscard]] bool IsHeld() const
    {
        return platform::PathExists(m_settings.m_paths.InOwnFolder(Protocol::kHeldFile));
    }

    CRequestStatuses m_statuses{m_settings, m_requests};
    COperatorCommands m_commands{m_settings, m_requests, m_statuses};
};

TEST_F(OperatorCommandsTest, TheWordsOfAnOperatorAreNotThoseOfEverybody)
{
    EXPECT_TRUE(COperatorCommands::IsOne(CommandFile::kHoldQueue));
    EXPECT_TRUE(COperatorCommands::IsOne(CommandFile::kReleaseQueue));
    EXPECT_TRUE(COperatorCommands::IsOne(CommandFile::kMoveRequest));
    EXPECT_TRUE(COperatorCommands::IsOne(CommandFile::kRetryFailed));
    EXPECT_TRUE(COperatorCommands::IsOne(CommandFile::kDiscardFailed));
    EXPECT_FALSE(COperatorCommands::IsOne(eCommandType_PauseRequest));
    EXPECT_FALSE(COperatorCommands::IsOne(eCommandType_NotInitialized));
}

TEST_F(OperatorCommandsTest, WhoeverTheServerRunsAsHoldsAndReleasesTheQueue)
{
    EXPECT_EQ(CarryOut(CommandFile::kHoldQueue), L"");
    EXPECT_TRUE(IsHeld());
    EXPECT_EQ(CarryOut(CommandFile::kReleaseQueue), L"");
    EXPECT_FALSE(IsHeld());
}

TEST_F(OperatorCommandsTest, OthersAreRefusedAndNothingIsDone)
{
    m_settings.m_paths.m_strRequestDir = m_dir / L"none"; // of which nobody knows who may write there
    EXPECT_EQ(CarryOut(CommandFile::kHoldQueue), TextOf(StringCodes::kOperatorsOnly));
    EXPECT_FALSE(IsHeld());
}

TEST_F(OperatorCommandsTest, WhatWaitsIsMovedAndWhatCannotBeIsToldWhy)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    const auto move = [this](const CString& name, const CommandFile::SWhere& where) {
        return m_commands.CarryOut({CommandFile::kMoveRequest, name, {}, where}, Queued(L"c.command"));
    };
    EXPECT_EQ(move(L"b.drq", {eRequestPlace_First}), L"");
    EXPECT_EQ(move(L"x.drq", {eRequestPlace_First}), FormatText(TextOf(StringCodes::kDoesNotWait), {L"x.drq"}));
    EXPECT_EQ(move(L"a.drq", {eRequestPlace_Before, L"x.drq"}),
              FormatText(TextOf(StringCodes::kDoesNotWait), {L"x.drq"}));
    EXPECT_EQ(move(L"a.drq", {eRequestPlace_Before}), TextOf(StringCodes::kMoveToNowhere));
    EXPECT_EQ(move(L"a.drq", {}), TextOf(StringCodes::kMoveToNowhere));
    TSRequestItem item;
    bool bLast = false;
    ASSERT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
    EXPECT_EQ(item.m_strFile, Queued(L"b.drq"));
}

TEST_F(OperatorCommandsTest, NothingIsMovedBeforeWhatWaitsInAnotherTurn)
{
    m_requests.Clear(true);
    m_requests.Add({Queued(L"a.drq"), 0, "one"});
    m_requests.Add({Queued(L"b.drq"), 0, "other"});
    EXPECT_EQ(m_commands.CarryOut({CommandFile::kMoveRequest, L"b.drq", {}, {eRequestPlace_Before, L"a.drq"}},
                                  Queued(L"c.command")),
              FormatText(TextOf(StringCodes::kOfAnotherTurn), {L"b.drq", L"a.drq"}));
}

TEST_F(OperatorCommandsTest, AServerDrainsForAHostThatIsToldOfItsEnd)
{
    EXPECT_FALSE(COperatorCommands::Takes(m_settings.m_options, CommandFile::kDrainServer));
    m_settings.m_options.drained = [](void*) {};
    EXPECT_TRUE(COperatorCommands::Takes(m_settings.m_options, CommandFile::kDrainServer));
    EXPECT_FALSE(COperatorCommands::Takes({.drained = m_settings.m_options.drained}, CommandFile::kDrainServer));
    Queue(L"a.drq");
    EXPECT_EQ(CarryOut(CommandFile::kDrainServer), L"");
    m_host.ExpectLogLine(L"The server takes nothing more");
    EXPECT_TRUE(m_requests.IsDraining());
    EXPECT_FALSE(m_requests.TakeDrained()) << "without resume what waits would be lost";
}

TEST_F(OperatorCommandsTest, WhatTheNextServerTakesOverIsNotWaitedFor)
{
    m_settings.m_options.drained = [](void*) {};
    m_settings.m_options.resume = true;
    Queue(L"a.drq");
    EXPECT_EQ(CarryOut(CommandFile::kDrainServer), L"");
    EXPECT_TRUE(m_requests.TakeDrained());
}

TEST_F(OperatorCommandsTest, AFailedRequestThatIsKeptWaitsAgain)
{
    Keep(L"a.drq");
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_ServerError, L"why");
    Write(m_settings.m_paths.Output(L"a.drq")); // a part that could not be removed
    EXPECT_EQ(m_commands.CarryOut({CommandFile::kRetryFailed, L"a.drq", {}}, Queued(L"c.command")), L"");
    EXPECT_TRUE(m_requests.IsRequestInQueue(Queued(L"a.drq")));
    EXPECT_TRUE(HasFile(L"a.drq"));
    EXPECT_FALSE(platform::PathExists(m_settings.m_paths.Status(L"a.drq"))) << "its client would read of the old end";
    EXPECT_FALSE(IsKept(L"a.drq"));
    EXPECT_EQ(m_commands.CarryOut({CommandFile::kRetryFailed, L"a.drq", {}}, Queued(L"c.command")),
              FormatText(TextOf(StringCodes::kNameInUse), {L"a.drq"}));
}

TEST_F(OperatorCommandsTest, AFailedRequestWhoseNameIsInUseStaysKept)
{
    Keep(L"a.drq");
    const auto retry = [this] {
        return m_commands.CarryOut({CommandFile::kRetryFailed, L"a.drq", {}}, Queued(L"c.command"));
    };
    const CString inUse = FormatText(TextOf(StringCodes::kNameInUse), {L"a.drq"});
    Write(m_settings.m_paths.InRequestDir(L"a.drq"));
    EXPECT_EQ(retry(), inUse) << "sent";
    ASSERT_EQ(platform::Files().Remove(m_settings.m_paths.InRequestDir(L"a.drq")), platform::eOsError_None);
    m_requests.Pause({Queued(L"a.drq")});
    EXPECT_EQ(retry(), inUse) << "paused";
    TSRequestItem item;
    ASSERT_TRUE(m_requests.TakePaused(Queued(L"a.drq"), item));
    Write(Queued(L"a.drq"));
    EXPECT_EQ(retry(), inUse) << "left in the queue";
    ASSERT_EQ(platform::Files().Remove(Queued(L"a.drq")), platform::eOsError_None);
    Write(m_settings.m_paths.Output(L"a.drq"));
    EXPECT_EQ(retry(), inUse) << "done, and not taken yet";
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Done, {});
    ASSERT_EQ(platform::Files().Remove(m_settings.m_paths.Output(L"a.drq")), platform::eOsError_None);
    EXPECT_EQ(retry(), inUse) << "its client has the response only";
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Canceled, {});
    EXPECT_EQ(retry(), inUse) << "cancelled, and its client does not know yet";
    m_requests.Drain(false);
    EXPECT_EQ(retry(), TextOf(StringCodes::kServerDrains));
    EXPECT_TRUE(IsKept(L"a.drq"));
}

TEST_F(OperatorCommandsTest, AFailedRequestIsDiscardedAndWhatIsNotKeptIsToldSo)
{
    const auto carryOut = [this](eCommandType type, const CString& name) {
        return m_commands.CarryOut({type, name, {}}, Queued(L"c.command"));
    };
    Keep(L"a.drq");
    for (const wchar_t* name : {L"b.drq", L"a.drq.failed", L"../Queue/c.command"}) {
        for (const eCommandType type : {CommandFile::kDiscardFailed, CommandFile::kRetryFailed}) {
            EXPECT_EQ(carryOut(type, name), FormatText(TextOf(StringCodes::kNotKept), {name}));
        }
    }
    EXPECT_TRUE(IsKept(L"a.drq"));
    EXPECT_EQ(carryOut(CommandFile::kDiscardFailed, L"a.drq"), L"");
    EXPECT_TRUE(FilesIn(FailedRecord::FolderIn(m_outputDir)).empty());
    EXPECT_EQ(carryOut(CommandFile::kDiscardFailed, L"a.drq"), FormatText(TextOf(StringCodes::kNotKept), {L"a.drq"}));
}

TEST_F(OperatorCommandsTest, WhatFailsIsToldWithTheFileAndTheReason)
{
    m_files.FailAlways(testsupport::eFileCall_Sync, platform::eOsError_DiskFull);
    const platform::CScopedOs os(&m_files, nullptr);
    const CString refusal = CarryOut(CommandFile::kHoldQueue);
    EXPECT_NE(refusal.find(m_settings.m_paths.InOwnFolder(Protocol::kHeldFile)), CString::npos);
    EXPECT_NE(refusal.find(platform::OsErrorText(platform::eOsError_DiskFull)), CString::npos);
    EXPECT_FALSE(IsHeld());
}

} // namespace
