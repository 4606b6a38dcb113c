#pragma once

#include "server/RequestQueue.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RequestDoubles.h"

#include <atomic>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

/// A queue, and who takes requests out of it, without a thread.
class CRequestQueueFixture : public testing::Test {
protected:
    CRequestQueueFixture() { m_queue.SetContext(&m_context); }

    void Add(std::initializer_list<const wchar_t*> paths)
    {
        for (const wchar_t* path : paths)
            m_queue.Add({path, 0, "owner"});
    }
    /// What runs next, empty when nothing does.
    std::wstring TakeRequest()
    {
        TSRequestItem item;
        return m_queue.TakeRequest(item, m_bLast, [this] { ++m_empty; }) ? item.m_strFile : std::wstring();
    }
    std::wstring TakeAll()
    {
        std::wstring order;
        for (std::wstring path = TakeRequest(); !path.empty(); path = TakeRequest())
            order += path;
        return order;
    }
    [[nodiscard]] bool IsAwake() { return m_queue.WaitFor(std::chrono::milliseconds(0)); }

    CTestContext m_context;
    std::atomic<bool> m_bRunning = true;
    CRequestQueue m_queue{m_bRunning};
    bool m_bLast = false;
    int m_empty = 0;
};
