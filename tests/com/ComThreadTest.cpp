#include "com/ComThread.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

/// On a thread of its own, which begins without COM.
template <class Body>
void OnThread(const Body& body)
{
    std::thread(body).join();
}

TEST(ComThread, OnAThreadWithoutComItEndsWithTheObject)
{
    for (const CComThread::eEnd end : {CComThread::eEnd_Each, CComThread::eEnd_WhenFresh}) {
        OnThread([end] {
            EXPECT_TRUE(CComThread(end).IsReady());
            EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
            CoUninitializeZEL();
        });
    }
}

TEST(ComThread, OnAThreadWithComItCounts)
{
    OnThread([] {
        ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
        EXPECT_TRUE(CComThread().IsReady());
        CoUninitializeZEL();
        EXPECT_EQ(CoInitializeZEL(nullptr), S_OK);
        CoUninitializeZEL();
    });
}

TEST(ComThread, WhatWasNotFreshIsNotTakenBackWhereThatIsAskedFor)
{
    OnThread([] {
        ASSERT_EQ(CoInitializeZEL(nullptr), S_OK);
        {
            const CComThread com(CComThread::eEnd_WhenFresh);
        }
        CoUninitializeZEL();
        EXPECT_EQ(CoInitializeZEL(nullptr), S_FALSE);
        CoUninitializeZEL();
        CoUninitializeZEL();
        CoUninitializeSYS();
    });
}

} // namespace
