#include "server/LaterList.h"

#include <gtest/gtest.h>

namespace {

class LaterListTest : public testing::Test {
protected:
    void Add(const wchar_t* path, std::int64_t time, const char* owner = "his")
    {
        m_list.Add(time, {.m_strFile = path, .m_strOwner = owner, .m_nNotBefore = time});
    }
    [[nodiscard]] CString Due(std::int64_t now)
    {
        CString due;
        for (TSRequestItem item; m_list.TakeDue(now, item);)
            due += item.m_strFile;
        return due;
    }

    CLaterList m_list;
};

TEST_F(LaterListTest, TheyComeByTheirTimesAndEqualOnesAsTheyArrived)
{
    Add(L"d", 30);
    Add(L"b", 20);
    Add(L"c", 20);
    Add(L"a", 10);
    EXPECT_EQ(Due(9), L"");
    EXPECT_EQ(Due(20), L"abc");
    EXPECT_FALSE(m_list.IsEmpty());
    EXPECT_EQ(Due(30), L"d");
    EXPECT_TRUE(m_list.IsEmpty());
}

TEST_F(LaterListTest, OneCanBeTakenByItsExactPath)
{
    Add(L"a", 10);
    Add(L"A", 10);
    TSRequestItem item;
    EXPECT_FALSE(m_list.Take(L"b", item));
    EXPECT_TRUE(m_list.Take(L"a", item));
    EXPECT_EQ(item.m_strFile, L"a");
    EXPECT_EQ(item.m_nNotBefore, 10);
    EXPECT_FALSE(m_list.Contains(L"a"));
    EXPECT_TRUE(m_list.Contains(L"A"));
    EXPECT_EQ(Due(10), L"A");
}

TEST_F(LaterListTest, OneThatIsThereTwiceIsTakenTwice)
{
    Add(L"a", 10);
    Add(L"a", 5);
    EXPECT_EQ(Due(5), L"a");
    EXPECT_TRUE(m_list.Contains(L"a"));
    TSRequestItem item;
    EXPECT_TRUE(m_list.Take(L"a", item));
    EXPECT_EQ(item.m_nNotBefore, 10) << "the one that is left";
    EXPECT_FALSE(m_list.Contains(L"a"));
}

TEST_F(LaterListTest, ThoseOfAnOwnerAreCounted)
{
    Add(L"a", 10);
    Add(L"b", 20);
    Add(L"c", 20, "hers");
    EXPECT_EQ(m_list.CountOf("his"), 2U);
    EXPECT_EQ(m_list.CountOf("nobody's"), 0U);
    EXPECT_EQ(Due(10), L"a");
    EXPECT_EQ(m_list.CountOf("his"), 1U);
    EXPECT_EQ(Due(20), L"bc");
    EXPECT_EQ(m_list.CountOf("his") + m_list.CountOf("hers"), 0U);
}

} // namespace
