#include "platform/Mutex.h"
#include "tests/capi/CApiFixture.h"

#include <optional>
#include <set>
#include <thread>

namespace {

class CWaiting : public CApiFixture {
protected:
    /// From now on it is noted which threads look at a.drq: a wait does so once it can be ended.
    void NoteWaits()
    {
        m_files.OnCall([this, tests = std::this_thread::get_id()](const testsupport::SFileCall& call) {
            if (call.path.find(L"a.drq") == std::wstring::npos || std::this_thread::get_id() == tests)
                return;
            const platform::CMutexLock lock(m_cs);
            m_waiting.insert(std::this_thread::get_id());
        });
        m_os.emplace(&m_files, nullptr);
    }
    [[nodiscard]] bool WaitUntilWaiting(std::size_t threads)
    {
        return WaitUntil([&] {
            const platform::CMutexLock lock(m_cs);
            return m_waiting.size() == threads;
        });
    }

private:
    std::optional<platform::CScopedOs> m_os;
    platform::CMutex m_cs;
    std::set<std::thread::id> m_waiting ZEL_GUARDED_BY(m_cs);
};

} // namespace

TEST_F(CWaiting, OneOfManyIsFoundByItsPlace)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    SendText("a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    SendText("b.drq");
    const char* const names[] = {"b.drq", "a.drq"};
    std::size_t index = 7;
    EXPECT_EQ(zel_wait_any(m_c, names, 2, 0, nullptr, &index, nullptr), ZEL_TIMEOUT);
    gate.Open();
    CGiven<zel_status> status;
    EXPECT_ZEL_OK(zel_wait_any(m_c, names + 1, 1, Patience(), nullptr, &index, status.Put()));
    EXPECT_EQ(index, 0U);
    EXPECT_STREQ(status->name, "a.drq");
    EXPECT_ZEL_OK(zel_wait(m_c, "b.drq", Patience(), nullptr, nullptr));
}

TEST_F(CWaiting, AWakerEndsAWaitThatIsUnderWayAndEachOneUntilItIsReset)
{
    zel_waker* waker = nullptr;
    EXPECT_ZEL_OK(zel_waker_open(&waker));
    SendText("a.drq"); // nobody runs
    NoteWaits();
    zel_code code = ZEL_OK;
    std::thread waits([&] { code = zel_wait(m_c, "a.drq", ZEL_FOREVER, waker, nullptr); });
    EXPECT_TRUE(WaitUntilWaiting(1));
    EXPECT_ZEL_OK(zel_waker_wake(waker));
    waits.join();
    EXPECT_EQ(code, ZEL_WOKEN);
    const char* const names[] = {"a.drq"};
    std::size_t index = 0;
    EXPECT_EQ(zel_wait_any(m_c, names, 1, ZEL_FOREVER, waker, &index, nullptr), ZEL_WOKEN);
    EXPECT_ZEL_OK(zel_waker_reset(waker));
    CGiven<zel_status> status;
    EXPECT_EQ(zel_wait(m_c, "a.drq", 0, waker, status.Put()), ZEL_TIMEOUT);
    EXPECT_EQ(status->state, ZEL_STATE_WAITING) << "the last status comes with the time-out";
    EXPECT_ZEL_OK(zel_waker_close(waker));
    EXPECT_EQ(zel_wait(m_c, "a.drq", 0, waker, nullptr), ZEL_BAD_ARGUMENT) << "it was closed";
}

TEST_F(CWaiting, AStopEndsWaitsForGood)
{
    SendText("a.drq"); // nobody runs
    NoteWaits();
    zel_code code = ZEL_OK;
    std::thread waits([&] { code = zel_wait(m_c, "a.drq", ZEL_FOREVER, nullptr, nullptr); });
    EXPECT_TRUE(WaitUntilWaiting(1));
    EXPECT_ZEL_OK(zel_client_stop(m_c));
    waits.join();
    EXPECT_EQ(code, ZEL_STOPPED);
    EXPECT_EQ(zel_wait(m_c, "a.drq", ZEL_FOREVER, nullptr, nullptr), ZEL_STOPPED);
}

TEST_F(CWaiting, AClientMayBeClosedWhileAnotherThreadWaitsWithIt)
{
    SendText("a.drq"); // nobody runs
    NoteWaits();
    std::vector<zel_code> codes(4, ZEL_OK);
    std::vector<std::thread> threads;
    for (zel_code& code : codes)
        threads.emplace_back(
            [&code, client = m_c] { code = zel_wait(client, "a.drq", ZEL_FOREVER, nullptr, nullptr); });
    EXPECT_TRUE(WaitUntilWaiting(codes.size()));
    EXPECT_ZEL_OK(zel_client_close(std::exchange(m_c, nullptr)));
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(codes, std::vector<zel_code>(4, ZEL_STOPPED));
}
