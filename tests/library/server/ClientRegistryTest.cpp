#include "server/ClientRegistry.h"

#include "com/Guid.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/RegistrationAnswer.h"
#include "server/ClientRecords.h"
#include "server/ServerSettings.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

/// Without a server, and without a thread.
class ClientRegistry : public testing::Test {
protected:
    static GUID Id(std::uint32_t number) { return {number * 7919, 1, 2, {3}}; }
    bool Register(const std::wstring& name = L"answer", const std::string& owner = {})
    {
        return m_registry.Register(m_paths.Output(name), owner,
                                   [this] { return [this] { return m_isRunning.load(); }; });
    }
    std::wstring EventsFile() const { return m_paths.DsEvents(m_registry.All().back()); }
    static std::string Content(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 1000), platform::eOsError_None);
        return bytes;
    }
    std::size_t FileCount() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(m_dir.Path(), entries), platform::eOsError_None);
        return entries.size();
    }

    /// As at two turns of the listener that are a second apart.
    void LookAgain()
    {
        m_clock.Advance(std::chrono::seconds(1));
        m_registry.UnregisterDead();
    }
    /// A killed holder leaves the file on Linux.
    void BeSeenAndKilled(const GUID& id)
    {
        {
            std::unique_ptr<platform::ILockFile> held;
            ASSERT_EQ(platform::Files().OpenLockFile(m_paths.Presence(id), {}, held), platform::eOsError_None);
            LookAgain();
            EXPECT_TRUE(m_registry.IsSeen(id));
        }
        ASSERT_EQ(platform::WriteWholeFile(m_paths.Presence(id), {}), platform::eOsError_None);
    }
    /// The files of a client, and one for each of their locks, as somebody leaves them who dies as a holder.
    std::vector<std::wstring> MakeAllFiles(const GUID& id) const
    {
        std::vector<std::wstring> paths;
        for (const std::wstring& path : {m_paths.DsEvents(id), m_paths.InsertableItems(id), m_paths.LockResults(id)}) {
            for (const std::wstring& file : {path, path + L".lock"}) {
                EXPECT_EQ(platform::WriteWholeFile(file, "x"), platform::eOsError_None);
                paths.push_back(file);
            }
        }
        return paths;
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
    const SProtocolPaths m_paths = SProtocolPaths::Of(m_dir / L"requests", m_dir.Path());
    std::atomic<bool> m_isRunning = true;
    CClientRegistry m_registry{m_paths, m_isRunning};
};

} // namespace

TEST_F(ClientRegistry, TenThousandComeAndGoInTheirOrder)
{
    std::vector<GUID> registered;
    for (std::uint32_t index = 1; index <= 10'000; ++index) {
        registered.push_back(Id(index));
        m_registry.Add(registered.back(), {});
    }
    EXPECT_EQ(m_registry.All(), registered);
    for (const GUID& id : registered)
        EXPECT_TRUE(m_registry.Remove(id));
    EXPECT_TRUE(m_registry.All().empty());
    EXPECT_FALSE(m_registry.Remove(registered.front())) << "only once";
}

TEST_F(ClientRegistry, NobodyIsRegisteredWhereNothingRuns)
{
    m_registry.Add(Id(1), {});
    m_isRunning = false;
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ClientRegistry, TheClientsOfEachOwnerAreCounted)
{
    m_registry.Add(Id(1), "a");
    m_registry.Add(Id(2), "b");
    m_registry.Add(Id(3), "a");
    EXPECT_EQ(m_registry.CountOf("a"), 2U);
    EXPECT_EQ(m_registry.CountOf("b"), 1U);
    EXPECT_EQ(m_registry.CountOf("c"), 0U);
    EXPECT_EQ(m_registry.OwnerOf(Id(2)), "b");
    EXPECT_TRUE(m_registry.Remove(Id(2)));
    EXPECT_EQ(m_registry.CountOf("b"), 0U);
    EXPECT_EQ(m_registry.OwnerOf(Id(2)), "");
    m_registry.Clear();
    EXPECT_EQ(m_registry.CountOf("a"), 0U);
    EXPECT_FALSE(m_registry.Contains(Id(1)));
}

TEST_F(ClientRegistry, ARegistrationIsAnAnswerAndTwoEmptyFiles)
{
    ASSERT_TRUE(Register(L"answer", "me"));
    const GUID id = m_registry.All().at(0);
    GUID answered{};
    EXPECT_EQ(RegistrationAnswer::Read(m_paths.Output(L"answer"), answered), platform::eOsError_None);
    EXPECT_TRUE(IsEqualGUID(answered, id));
    EXPECT_EQ(Content(m_paths.DsEvents(id)), "");
    EXPECT_EQ(Content(m_paths.InsertableItems(id)), "");
    EXPECT_EQ(FileCount(), 3U);
    EXPECT_EQ(m_registry.CountOf("me"), 1U);
}

TEST_F(ClientRegistry, WhoHasNoAnswerIsNotRegistered)
{
    const std::wstring path = m_paths.Output(L"answer");
    ASSERT_EQ(platform::WriteWholeFile(path, "another's"), platform::eOsError_None);
    EXPECT_FALSE(Register());
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_AlreadyExists) + L"\n   " + path);
    EXPECT_TRUE(m_registry.All().empty());
    EXPECT_EQ(Content(path), "another's");
    EXPECT_EQ(FileCount(), 2U) << "the answer's, and the file of groups";
}

TEST_F(ClientRegistry, AFileThatIsNotThereAfterItWasMadeIsReported)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_GetAttributes, platform::eOsError_FileNotFound, L"DsEvents_");
    EXPECT_FALSE(Register());
    m_host.ExpectReport(831, L"!CFileTools::FileExists(csDsEventsFile)\n   ");
    m_files.StopFailing();
    m_files.FailAlways(testsupport::eFileCall_GetAttributes, platform::eOsError_FileNotFound, L"InsertableItemsGroup_");
    EXPECT_FALSE(Register());
    m_host.ExpectReport(851, L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   ");
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ClientRegistry, AStopEndsTheWaitOfARegistrationWithoutAReport)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"answer");
    m_clock.OnWait([this] { m_isRunning = m_clock.Yields() < 5; });
    {
        const platform::CScopedOs os(&m_files, &m_clock);
        EXPECT_FALSE(Register());
    }
    m_isRunning = true;
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ClientRegistry, AnEventsFileThatSomebodyHoldsGoesWhenHeLetsGo)
{
    ASSERT_TRUE(Register());
    const std::wstring held = EventsFile();
    const GUID id = m_registry.All().back();
    const platform::CScopedOs os(&m_files, &m_clock);
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, held);
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_TRUE(m_registry.UnregisterClient(id)) << "on its way";
    EXPECT_EQ(m_clock.Steady() - start, std::chrono::milliseconds(50)) << "who has the others to serve waits no longer";
    EXPECT_FALSE(m_registry.Contains(id));
    m_registry.RemoveLeftFiles();
    EXPECT_TRUE(platform::PathExists(held));
    m_files.StopFailing();
    m_registry.RemoveLeftFiles();
    EXPECT_FALSE(platform::PathExists(held));
}

TEST_F(ClientRegistry, WhatIsClearedIsNotTriedAgain)
{
    ASSERT_TRUE(Register());
    const std::wstring held = EventsFile();
    const platform::CScopedOs os(&m_files, &m_clock);
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, held);
    EXPECT_TRUE(m_registry.UnregisterClient(m_registry.All().back()));
    m_registry.Clear();
    m_files.StopFailing();
    m_registry.RemoveLeftFiles();
    EXPECT_TRUE(platform::PathExists(held)) << "by then it may be another's";
}

TEST_F(ClientRegistry, WhoseFileOfPresenceIsSeenAndGoneHasDied)
{
    ASSERT_TRUE(Register(L"one") && Register(L"another"));
    const GUID dies = m_registry.All().front();
    const GUID lives = m_registry.All().back();
    const std::vector<std::wstring> files = MakeAllFiles(dies);
    const platform::CScopedOs os(&m_files, &m_clock);
    std::unique_ptr<platform::ILockFile> ofWhoDies;
    std::unique_ptr<platform::ILockFile> ofWhoLives;
    ASSERT_EQ(platform::Files().OpenLockFile(m_paths.Presence(dies), {}, ofWhoDies), platform::eOsError_None);
    ASSERT_EQ(platform::Files().OpenLockFile(m_paths.Presence(lives), {}, ofWhoLives), platform::eOsError_None);
    LookAgain();
    LookAgain();
    EXPECT_EQ(m_registry.All().size(), 2U);
    ofWhoDies.reset();
    LookAgain();
    m_host.ExpectLogLine(L"The client " + GuidToText(dies) + L" has died: its registration has ended");
    EXPECT_EQ(m_registry.All(), std::vector<GUID>{lives});
    for (const std::wstring& path : files)
        EXPECT_FALSE(platform::PathExists(path)) << platform::ToUtf8(path);
    EXPECT_TRUE(platform::PathExists(m_paths.DsEvents(lives)));
}

TEST_F(ClientRegistry, WhoNeverShowedAFileOfPresenceStays)
{
    ASSERT_TRUE(Register());
    const platform::CScopedOs os(&m_files, &m_clock);
    for (int look = 0; look < 5; ++look)
        LookAgain();
    EXPECT_EQ(m_registry.All().size(), 1U);
}

TEST_F(ClientRegistry, AFileOfPresenceThatNobodyHoldsIsLeftAloneUntilSomebodyHeldIt)
{
    ASSERT_TRUE(Register());
    const GUID id = m_registry.All().back();
    // As somebody puts it there who means no good, and as one who is about to lock it has it for a moment.
    ASSERT_EQ(platform::WriteWholeFile(m_paths.Presence(id), {}), platform::eOsError_None);
    const platform::CScopedOs os(&m_files, &m_clock);
    for (int look = 0; look < 3; ++look)
        LookAgain();
    EXPECT_TRUE(m_registry.Contains(id));
    EXPECT_TRUE(platform::PathExists(m_paths.Presence(id)));
    BeSeenAndKilled(id);
    LookAgain();
    m_host.ExpectLogLine(L"has died: its registration has ended");
    EXPECT_FALSE(m_registry.Contains(id));
    EXPECT_FALSE(platform::PathExists(m_paths.Presence(id)));
}

TEST_F(ClientRegistry, WhatKeepsAFileOfPresenceFromBeingRemovedIsNoDeath)
{
    ASSERT_TRUE(Register());
    const GUID id = m_registry.All().back();
    const platform::CScopedOs os(&m_files, &m_clock);
    BeSeenAndKilled(id);
    for (const platform::eOsError error :
         {platform::eOsError_SharingViolation, platform::eOsError_AccessDenied, platform::eOsError_PathNotFound}) {
        m_files.FailAlways(testsupport::eFileCall_Remove, error, L"Presence_");
        LookAgain();
        EXPECT_TRUE(m_registry.Contains(id)) << error;
        m_files.StopFailing();
    }
}

TEST_F(ClientRegistry, TheDeadAreLookedForTwiceASecondAtMost)
{
    ASSERT_TRUE(Register());
    const platform::CScopedOs os(&m_files, &m_clock);
    LookAgain();
    m_files.ForgetCalls();
    m_clock.Advance(std::chrono::milliseconds(499));
    m_registry.UnregisterDead();
    EXPECT_TRUE(m_files.Calls().empty());
    m_clock.Advance(std::chrono::milliseconds(1));
    m_registry.UnregisterDead();
    EXPECT_EQ(m_files.Calls().size(), 1U) << "and once is enough";
}

TEST_F(ClientRegistry, AFileOfTheDeadThatSomebodyHoldsGoesWhenHeLetsGo)
{
    ASSERT_TRUE(Register());
    const GUID id = m_registry.All().back();
    const platform::CScopedOs os(&m_files, &m_clock);
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, L"InsertableItemsGroup_");
    BeSeenAndKilled(id);
    LookAgain();
    m_host.ExpectLogLine(L"has died: its registration has ended");
    EXPECT_FALSE(platform::PathExists(m_paths.DsEvents(id)));
    EXPECT_TRUE(platform::PathExists(m_paths.InsertableItems(id)));
    m_files.StopFailing();
    m_registry.RemoveLeftFiles();
    EXPECT_FALSE(platform::PathExists(m_paths.InsertableItems(id)));
}

TEST_F(ClientRegistry, NoRecordOfTheDeadIsKept)
{
    CServerSettings settings;
    settings.m_paths = m_paths;
    settings.m_options.resume = true;
    const CClientRecords records(settings);
    m_registry.SetRecords(&records);
    ASSERT_TRUE(Register(L"answer", "me"));
    const GUID id = m_registry.All().back();
    CClientRecords::Records owners;
    ASSERT_EQ(records.ReadAll(owners), platform::eOsError_None);
    ASSERT_TRUE(owners.contains(id));
    {
        const platform::CScopedOs os(&m_files, &m_clock);
        BeSeenAndKilled(id);
        ASSERT_EQ(records.ReadAll(owners), platform::eOsError_None);
        EXPECT_TRUE(owners[id].isSeen);
        EXPECT_EQ(owners[id].owner, "me");
        LookAgain();
    }
    m_host.ExpectLogLine(L"has died: its registration has ended");
    owners.clear();
    EXPECT_EQ(records.ReadAll(owners), platform::eOsError_None);
    EXPECT_TRUE(owners.empty());
    m_registry.SetRecords(nullptr);
}
