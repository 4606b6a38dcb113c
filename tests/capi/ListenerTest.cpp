#include "tests/capi/CApiFixture.h"

namespace {

class CListener : public CApiFixture {
protected:
    void SetUp() override
    {
        CApiFixture::SetUp();
        Run();
        EXPECT_ZEL_OK(zel_listen(m_c, &m_listener));
    }
    void TearDown() override
    {
        EXPECT_ZEL_OK(zel_listener_close(m_listener));
        EXPECT_TRUE(Access().Clients().empty()) << "it unregisters in its end";
        CApiFixture::TearDown();
    }

    zel_listener* m_listener = nullptr;
};

} // namespace

TEST_F(CListener, LockResultsAreToldOnce)
{
    m_pServer->OnChangedLockResults();
    CGiven<zel_changes> changes;
    EXPECT_ZEL_OK(zel_listener_wait(m_listener, Patience(), nullptr, changes.Put()));
    EXPECT_EQ(changes->lock_results, 1);
    EXPECT_EQ(changes->event_count, 0U);
    EXPECT_ZEL_OK(zel_listener_take(m_listener, changes.Put()));
    EXPECT_EQ(changes->lock_results, 0);
    EXPECT_EQ(zel_listener_wait(m_listener, 0, nullptr, changes.Put()), ZEL_TIMEOUT);
    EXPECT_EQ(zel_listener_take(m_listener, nullptr), ZEL_BAD_ARGUMENT) << "what is taken would be lost";
}

TEST_F(CListener, OneThreadAtATimeIsInACallAndAWakerEndsIt)
{
    zel_waker* waker = nullptr;
    EXPECT_ZEL_OK(zel_waker_open(&waker));
    zel_code code = ZEL_OK;
    std::thread waits([&] {
        CGiven<zel_changes> changes;
        do { // the other thread may be in a call just now
            code = zel_listener_wait(m_listener, ZEL_FOREVER, waker, changes.Put());
        } while (code == ZEL_WRONG_TIME);
    });
    EXPECT_TRUE(WaitUntil([&] {
        CGiven<zel_changes> changes;
        return zel_listener_take(m_listener, changes.Put()) == ZEL_WRONG_TIME;
    }));
    EXPECT_ZEL_OK(zel_waker_wake(waker));
    waits.join();
    EXPECT_EQ(code, ZEL_WOKEN);
    EXPECT_ZEL_OK(zel_waker_close(waker));
}
