#include "tests/library/server/NotifyFixture.h"

#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/LockFile.h"
#include "protocol/NotificationFile.h"
#include "tests/support/Links.h"

#include <algorithm>
#include <set>

namespace {

using Notify = CNotifyFixture;

} // namespace

TEST_F(Notify, WithoutAPaletteAChangeIsAnError)
{
    m_pServer->SetPalette(nullptr);
    try {
        m_pServer->OnChangedDs(Event(1).Get());
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_POINTER);
    }
}

TEST_F(Notify, ChangedLockResultsAreAFileWithOneElementEachTime)
{
    const std::string whole =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Archive version=\"1\"><LockResults/></Archive>\n";
    CZelProcessorClient& client = AddListener();
    const std::wstring path = client.GetLockResultsChangeFile();
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole);
    Write(path, whole + whole);
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole) << "written anew, whatever was there";
    EXPECT_TRUE(client.ResetLockResultsChanged());
    EXPECT_EQ(Read(path), "");
    m_pServer->OnChangedLockResults();
    EXPECT_EQ(Read(path), whole) << "after a reset, too";
}

TEST_F(Notify, ALinkInPlaceOfAClientsLockIsNamedOnceAndNotFollowed)
{
    CZelProcessorClient& client = AddListener();
    const std::wstring lock = m_pServer->GetDsEventsFileFullPath(SClientTestAccess{client}.Id()) + L".lock";
    if (!testsupport::MakeLink(m_dir / L"nowhere", lock))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    m_pServer->OnChangedDs(Event(1).Get());
    m_host.ExpectLogLine(lock + L": " + platform::OsErrorText(platform::eOsError_LinkInTheWay));
    m_pServer->OnChangedDs(Event(2).Get());
    for (const auto& line : m_host.TakeLogLines())
        EXPECT_EQ(line.text.find(lock), std::wstring::npos) << "told twice";
    EXPECT_FALSE(platform::PathExists(m_dir / L"nowhere"));
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(lock)));
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Take(client), (std::vector<LONG>{1, 2, 3}));
}

TEST_F(Notify, WithoutClientsNothingIsSentAndTheProjectIsMarkedOnce)
{
    const std::wstring path = m_dir / L"project";
    CComPtr<IWQ_Project> project;
    ASSERT_EQ(CreateWQ_Project(path, project.Put()), S_OK);
    m_pServer->SetProject(project.Get());
    m_pServer->OnChangedDs(Event(1).Get());
    CComPtr<IWQ_ArchiveObj> stored;
    EXPECT_EQ(project->GetStorageObject(L"ProjectNeedUpdatePalette", stored.Put()), S_FALSE);

    m_pPalette->m_needsUpdate = true;
    m_pServer->OnChangedDs(Event(2).Get());
    ASSERT_EQ(project->GetStorageObject(L"ProjectNeedUpdatePalette", stored.Put()), S_OK);
    VARIANT_BOOL isSet = VARIANT_FALSE;
    EXPECT_EQ(stored.QueryTo<IWQ_ProjectMarker>()->GetValue(&isSet), S_OK);
    EXPECT_EQ(isSet, VARIANT_TRUE);
    const std::string once = Read(path);
    testsupport::CFaultyFiles& files = m_files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailAlways(testsupport::eFileCall_Write, platform::eOsError_DiskFull);
    m_pServer->OnChangedDs(Event(3).Get());
    EXPECT_EQ(Read(path), once) << "it is marked already";
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
}

TEST_F(Notify, FiftyClientsComeAndGoWhileAThousandChangesAreTold)
{
    // What a client misses while it reads goes into the next file that is written, whoever's that is. So one client
    // that never reads meanwhile has every event, and everybody has what it got in order.
    CZelProcessorClient& steady = AddListener();
    std::set<LONG> seen;
    constexpr int kClients = 50;
    constexpr LONG kChanges = 1000;
    std::atomic<bool> over = false;
    std::atomic<int> next = 0;
    std::atomic<std::size_t> taken = 0;
    std::vector<platform::CThread> threads(8);
    for (platform::CThread& thread : threads) {
        ASSERT_TRUE(thread.Start([&] {
            CoInitializeSYS(nullptr);
            CoInitializeZEL(nullptr);
            while (next++ < kClients || !over) {
                CZelProcessorClient client;
                client.Init(m_requestDir, m_outputDir, m_clientDir);
                client.SetSyncing(false);
                EXPECT_TRUE(client.ListenDsEvents());
                std::vector<LONG> got;
                EXPECT_TRUE(WaitUntil([&] {
                    client.ResetOutputDirChange();
                    for (const LONG number : Take(client))
                        got.push_back(number);
                    return got.size() >= 5 || over;
                }));
                EXPECT_TRUE(client.StopListeningDsEvents());
                EXPECT_TRUE(std::is_sorted(got.begin(), got.end()));
                taken += got.size();
            }
            CoUninitializeZEL();
            CoUninitializeSYS();
            return 0U;
        }));
    }
    for (LONG number = 1; number <= kChanges; ++number) {
        m_pServer->OnChangedDs(Event(number).Get());
        if (number % 50 == 0) {
            const std::vector<LONG> got = Take(steady);
            EXPECT_TRUE(std::is_sorted(got.begin(), got.end()));
            seen.insert(got.begin(), got.end());
        }
    }
    over = true;
    for (platform::CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(kChanges)) << "none is lost";
    EXPECT_GE(next, kClients);
    EXPECT_GT(taken, 0U);
    EXPECT_EQ(Access().Clients().size(), 1U);
    auto files = FilesIn(m_outputDir);
    std::erase_if(files, [](const std::wstring& name) { return name.find(L"DsEvents_") != 0; });
    EXPECT_EQ(files.size(), 1U) << "who went away while it was told left nothing behind";
}

TEST_F(Notify, WhatWaitedIsNotLostWithAClientThatGoes)
{
    const GUID reading = Register();
    const GUID going = Register();
    const std::wstring path = m_pServer->GetDsEventsFileFullPath(going);
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Close && call.path == path)
            Access().UnregisterClient(going); // false once it is gone
    });
    CLockFile lock(m_pServer->GetDsEventsFileFullPath(reading));
    ASSERT_TRUE(lock.Lock(false));
    {
        const platform::CScopedOs os(&m_files, nullptr);
        m_pServer->OnChangedDs(Event(1).Get());
    }
    EXPECT_FALSE(platform::PathExists(path));
    EXPECT_EQ(Access().PendingEvents(), 1U);
    lock.Unlock();
    m_pServer->OnChangedDs(Event(2).Get());
    EXPECT_EQ(EventsIn(m_pServer->GetDsEventsFileFullPath(reading)), (std::vector<LONG>{1, 2}));
}

TEST_F(Notify, APaletteThatFailsKeepsNoEventFromTheClients)
{
    CZelProcessorClient& first = AddListener();
    CZelProcessorClient& second = AddListener();
    m_pPalette->m_result = E_ABORT;
    EXPECT_EQ(Tell(1), E_ABORT);
    m_pPalette->m_array = AttachComPtr<IWQ_CLSIDArray>(MakeComObject<CFailingArray>().Detach());
    EXPECT_EQ(Tell(2), E_ABORT);
    EXPECT_EQ(Take(first), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(Take(second), (std::vector<LONG>{1, 2}));
    EXPECT_EQ(Read(first.GetInsertableItemsChangeFile()), "");
}

TEST_F(Notify, WithOwnListsWhatMeetsAReaderComesToItByItselfAndToNobodyElse)
{
    RunAgain({.syncing = false, .ownLists = true});
    CZelProcessorClient& reader = AddListener();
    CZelProcessorClient& other = AddListener();
    m_pPalette->m_groups = {kFirstGroup};
    {
        CLockFile events(reader.GetDsEventsFileFullPath());
        CLockFile groups(reader.GetInsertableItemsChangeFile());
        ASSERT_TRUE(events.Lock(false) && groups.Lock(false));
        m_pServer->OnChangedDs(Event(1).Get());
        EXPECT_EQ(Take(other), std::vector<LONG>{1});
        EXPECT_EQ(TakeGroups(other).size(), 1U);
    }
    ASSERT_TRUE(WaitUntil([&] {
        return NotificationFile::HasContent(reader.GetDsEventsFileFullPath()) &&
               NotificationFile::HasContent(reader.GetInsertableItemsChangeFile()) &&
               !platform::PathExists(reader.GetInsertableItemsChangeFile() + L".lock");
    }));
    EXPECT_EQ(Take(reader), std::vector<LONG>{1});
    EXPECT_EQ(TakeGroups(reader), std::vector<GUID>{kFirstGroup});
    EXPECT_EQ(Take(other), std::vector<LONG>());
    m_pServer->OnChangedLockResults();
    EXPECT_TRUE(WaitUntil([&] { return NotificationFile::HasContent(reader.GetLockResultsChangeFile()); }));
}

TEST_F(Notify, WithOwnListsManyThreadsTellAndEachClientGetsEveryChangeOnce)
{
    RunAgain({.syncing = false, .ownLists = true});
    CZelProcessorClient& client = AddListener();
    constexpr LONG kThreads = 4;
    constexpr LONG kChanges = 100;
    std::vector<LONG> taken;
    {
        std::vector<std::unique_ptr<CBeside>> tellers;
        for (LONG thread = 0; thread < kThreads; ++thread) {
            tellers.push_back(std::make_unique<CBeside>([this, thread] {
                for (LONG change = 0; change < kChanges; ++change)
                    m_pServer->OnChangedDs(Event(1000 * thread + change).Get());
            }));
        }
        const auto takeMore = [&] {
            const std::vector<LONG> some = Take(client);
            taken.insert(taken.end(), some.begin(), some.end());
            return taken.size() >= static_cast<std::size_t>(kThreads * kChanges);
        };
        EXPECT_TRUE(WaitUntil(takeMore));
        for (const auto& teller : tellers)
            EXPECT_TRUE(teller->EndsInTime());
    }
    EXPECT_EQ(taken.size(), static_cast<std::size_t>(kThreads * kChanges));
    for (LONG thread = 0; thread < kThreads; ++thread) {
        std::vector<LONG> ofThread;
        std::copy_if(taken.begin(), taken.end(), std::back_inserter(ofThread),
                     [&](LONG kind) { return kind / 1000 == thread; });
        EXPECT_EQ(ofThread.size(), static_cast<std::size_t>(kChanges));
        EXPECT_TRUE(std::is_sorted(ofThread.begin(), ofThread.end())) << "those of one thread in their order";
    }
}
