#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/LockFile.h"
#include "ZEL_Processor/ZelProcessorClient.h"
#include "com/ComThread.h"
#include "framework/DsEventsData.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>

namespace {

/// The number that the server gave to an event.
int NumberOf(IWQ_DsEventsData& event)
{
    CComPtr<IWQ_DsList> added;
    CComPtr<IWQ_DsItems> items;
    LONG number = -1;
    if (event.GetAddedItems(added.Put()) == S_OK && added->GetItemsAt(0, items.Put()) == S_OK)
        static_cast<void>(items->GetItem(0, &number));
    return number;
}

void TakeAll(CZelProcessorClient& client, std::vector<int>& numbers)
{
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    if (!client.GetDsEvents(events))
        numbers.push_back(-2); // fails the test of the parent
    for (const auto& event : events)
        numbers.push_back(NumberOf(*event));
}

/// Makes a client known to the server by the directories that a part was given.
bool Register(CZelProcessorClient& client, const std::vector<std::wstring>& directories)
{
    client.Init(directories.at(0), directories.at(1), directories.at(2));
    client.SetSyncing(false);
    return client.ListenDsEvents();
}

/// Registers, takes events from its own thread until the parent asks for quiet, takes what is left when the parent
/// asks for the end, unregisters, and gives the numbers of all.
int Listen(const std::vector<std::wstring>& arguments)
{
    const CComThread com;
    CZelProcessorClient client;
    if (!Register(client, arguments))
        return 1;
    testsupport::TellParent(L"listening");
    std::atomic<bool> quiet = false;
    std::vector<int> numbers;
    platform::CThread reader;
    static_cast<void>(reader.Start([&] {
        const CComThread readerCom;
        while (!quiet) {
            // Unasked and often, to meet the server while it writes; one that waits for news hardly ever does.
            TakeAll(client, numbers);
            platform::Clock().SleepFor(std::chrono::milliseconds(40));
        }
        return 0U;
    }));
    testsupport::WaitForParent();
    quiet = true;
    static_cast<void>(reader.Join());
    testsupport::TellParent(L"quiet");
    testsupport::WaitForParent();
    TakeAll(client, numbers);
    const bool isStopped = client.StopListeningDsEvents();
    std::wstring line;
    for (const int number : numbers)
        line += std::to_wstring(number) + L" ";
    testsupport::TellParent(line);
    return isStopped ? 0 : 1;
}
const testsupport::CChildPart g_listen(L"listen", &Listen);

/// Registers, takes the locks of its files of events and of changed lock results, and keeps them.
int HoldLock(const std::vector<std::wstring>& arguments)
{
    const CComThread com;
    CZelProcessorClient client;
    if (!Register(client, arguments))
        return 1;
    CLockFile events(client.GetDsEventsFileFullPath());
    CLockFile results(client.GetLockResultsChangeFile());
    if (!events.Lock(false) || !results.Lock(false))
        return 1;
    testsupport::TellParent(L"held");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart g_holdLock(L"hold-lock", &HoldLock);

class ListenerRace : public CProgramTest {
protected:
    [[nodiscard]] platform::CProcess Start(const wchar_t* part) const
    {
        return testsupport::StartChild(part, {m_strRequests, m_strOutput, m_strHome});
    }
    /// Lets the plug-in tell changes with the numbers from this one on.
    void Fire(int first, int count)
    {
        const SProgramResult result =
            Zel({L"send", L"--wait",
                 MakeRequest(L"fire" + std::to_wstring(first) + L".drq",
                             L"Type=\"FireEvents\" Added=\"" + std::to_wstring(first) + L"\" Times=\"" +
                                 std::to_wstring(count) + L"\" LockResults=\"1\"")});
        ASSERT_EQ(result.code, 0) << result.errors;
    }
    /// What a listener heard; it ends with that.
    static std::vector<int> End(platform::CProcess& listener)
    {
        EXPECT_TRUE(listener.WriteLine(L""));
        std::wstring line;
        EXPECT_TRUE(listener.ReadLine(line, kPatience));
        EXPECT_EQ(testsupport::FinishChild(listener), 0);
        std::wistringstream words(line);
        std::vector<int> numbers;
        for (int number = 0; words >> number;)
            numbers.push_back(number);
        return numbers;
    }
    static void Quieten(platform::CProcess& listener)
    {
        ASSERT_TRUE(listener.WriteLine(L""));
        ASSERT_TRUE(testsupport::WaitForChild(listener, L"quiet"));
    }
    static std::size_t ReportedWaits(const CRunningProgram& server)
    {
        const std::string log = server.Errors();
        std::size_t count = 0;
        for (std::size_t at = 0; (at = log.find("A lock file was held by somebody else", at)) != std::string::npos;
             ++at)
            ++count;
        return count;
    }
    static bool IsSlow()
    {
        return testsupport::IsWine() || testsupport::IsThreadSanitized() || testsupport::IsAddressSanitized();
    }
    void TellReaders(const std::wstring& lists, std::size_t& strayed);
    void ExpectNoRegistrations() const
    {
        for (const std::wstring& name : FilesIn(m_strOutput))
            EXPECT_FALSE(name.starts_with(L"DsEvents_")) << platform::ToUtf8(name);
    }
};

/// Tells changes to many who read meanwhile. What came to somebody else, or twice, is counted: without lists of their
/// own a change that met a reader goes to whoever is first.
void ListenerRace::TellReaders(const std::wstring& lists, std::size_t& strayed)
{
    // Wine does every open, lock and notification of all of them in one process of its own: minutes for fifty. What a
    // sanitizer finds it finds within one of them.
    const int kListeners = IsSlow() ? 10 : 50;
    const int kChanges = 300;
    std::vector<std::wstring> options = {L"--no-sync", L"--log-level", L"warning"};
    if (!lists.empty())
        options.push_back(lists);
    CRunningProgram server = StartServer(options);
    std::vector<platform::CProcess> listeners;
    for (int count = 0; count < kListeners; ++count)
        listeners.push_back(Start(L"listen"));
    for (platform::CProcess& listener : listeners)
        ASSERT_TRUE(testsupport::WaitForChild(listener, L"listening"));
    Fire(1, kChanges);
    for (platform::CProcess& listener : listeners)
        Quieten(listener);
    // What waits in the server goes out before this one.
    Fire(kChanges + 1, 1);

    std::map<int, int> copies;
    for (platform::CProcess& listener : listeners) {
        const std::vector<int> heard = End(listener);
        EXPECT_TRUE(std::ranges::is_sorted(heard));
        EXPECT_EQ(std::ranges::count(heard, kChanges + 1), 1);
        for (const int number : heard)
            ++copies[number];
        for (int number = 1; number <= kChanges; ++number)
            strayed += std::ranges::count(heard, number) != 1 ? 1U : 0U;
    }
    EXPECT_EQ(copies.size(), static_cast<std::size_t>(kChanges + 1));
    for (const auto& [number, count] : copies)
        EXPECT_EQ(count, kListeners) << "change " << number;
    ExpectNoRegistrations();
    StopServer(server);
}

TEST_F(ListenerRace, NoChangeIsLostToFiftyProcessesThatReadWhileTheyAreTold)
{
    std::size_t strayed = 0;
    TellReaders(L"--one-list", strayed);
    if (!IsSlow()) { // of a few that read seldom none may be met
        EXPECT_GT(strayed, 0U) << "no change met a listener that was reading";
    }
}

TEST_F(ListenerRace, WithListsOfTheirOwnEachHearsEachChangeOnce)
{
    std::size_t strayed = 0;
    TellReaders({}, strayed);
    EXPECT_EQ(strayed, 0U);
}

TEST_F(ListenerRace, AClientKilledWithItsLocksHeldBlocksNobody)
{
    CRunningProgram server = StartServer({L"--no-sync", L"--one-list"}); // another one waits for nobody
    platform::CProcess holder = Start(L"hold-lock");
    ASSERT_TRUE(testsupport::WaitForChild(holder, L"held"));
    platform::CProcess listener = Start(L"listen");
    ASSERT_TRUE(testsupport::WaitForChild(listener, L"listening"));
    Fire(1, 1); // while the lock is held: told to the other one, kept for the holder
    holder.Kill();
    int code = 0;
    ASSERT_TRUE(holder.Wait(kPatience, code));
    const std::size_t reported = ReportedWaits(server);
    EXPECT_GT(reported, 0U);
    Fire(2, 3);
    EXPECT_EQ(ReportedWaits(server), reported) << "nobody waits for the dead";
    Quieten(listener);
    Fire(5, 1);
    std::vector<int> heard = End(listener);
    const CComThread com;
    // A change that met the reader went out with the next file that was written, which may be that of the dead.
    for (const std::wstring& name : FilesIn(m_strOutput)) {
        std::vector<CComPtr<IWQ_DsEventsData>> left;
        if (!name.starts_with(L"DsEvents_") || name.ends_with(L".lock"))
            continue;
        EXPECT_TRUE(CZELEnvFileDsEventsFile::ReadDsEventsFile(InOutput(name), left));
        for (const auto& event : left)
            heard.push_back(NumberOf(*event));
    }
    std::ranges::sort(heard);
    heard.erase(std::unique(heard.begin(), heard.end()), heard.end());
    EXPECT_EQ(heard, (std::vector<int>{1, 2, 3, 4, 5}));
    StopServer(server);
}

} // namespace
