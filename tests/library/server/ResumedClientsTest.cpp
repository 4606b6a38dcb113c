#include "server/ResumedClients.h"
#include "protocol/RegistrationAnswer.h"
#include "tests/library/server/ResumeFixture.h"

using namespace std::chrono_literals;

namespace {

constexpr GUID kClient{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr GUID kOther{2, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

} // namespace

TEST_F(ResumeTest, RegisteredClientsAreThoseOfTheFiles)
{
    const SProtocolPaths& paths = m_settings.m_paths;
    for (const std::wstring& path : {paths.DsEvents(kClient), paths.InsertableItems(kClient),
                                     paths.LockResults(kClient), paths.InsertableItems(kOther)})
        Write(path, "");
    ASSERT_EQ(RegistrationAnswer::Write(Output(L"RegisterClient__1"), kClient, [] { return false; }),
              platform::eOsError_None);
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 1 clients, 0 moved aside");
    EXPECT_TRUE(m_registry.Contains(kClient));
    EXPECT_FALSE(m_registry.Contains(kOther));
    EXPECT_FALSE(platform::PathExists(paths.InsertableItems(kOther))) << "its client has left";
    EXPECT_TRUE(platform::PathExists(Output(L"RegisterClient__1")));
    EXPECT_EQ(m_registry.OwnerOf(kClient), "");
}

TEST_F(ResumeTest, WhoseClientItIsOutlivesTheServer)
{
    const CClientRecords records(m_settings);
    m_registry.SetRecords(&records);
    ASSERT_TRUE(m_registry.Register(Output(L"answer"), "his", [] { return [] { return false; }; }));
    const std::vector<GUID> clients = m_registry.All();
    ASSERT_EQ(clients.size(), 1U);
    m_registry.Clear();
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 1 clients, 0 moved aside");
    EXPECT_EQ(m_registry.OwnerOf(clients.front()), "his");
    EXPECT_EQ(m_registry.CountOf("his"), 1U);
    EXPECT_TRUE(m_registry.UnregisterClient(clients.front()));
    EXPECT_TRUE(FilesIn(m_settings.m_paths.InOwnFolder(L"clients")).empty());
}

TEST_F(ResumeTest, WhoDiedWhileNoServerRanIsBuriedByTheNext)
{
    const CClientRecords records(m_settings);
    m_registry.SetRecords(&records);
    ASSERT_TRUE(m_registry.Register(Output(L"answer"), {}, [] { return [] { return false; }; }));
    const GUID client = m_registry.All().front();
    {
        std::unique_ptr<platform::ILockFile> held;
        ASSERT_EQ(platform::Files().OpenLockFile(m_settings.m_paths.Presence(client), {}, held),
                  platform::eOsError_None);
        m_registry.UnregisterDead();
        ASSERT_TRUE(m_registry.IsSeen(client));
    }
    m_registry.Clear();
    Resume(L"0 waiting, 0 interrupted, 0 paused, 0 answered, 1 clients, 0 moved aside");
    EXPECT_TRUE(m_registry.IsSeen(client));
    const platform::CScopedOs os(nullptr, &m_clock);
    m_clock.Advance(1h);
    m_registry.UnregisterDead();
    EXPECT_FALSE(m_registry.Contains(client));
}
