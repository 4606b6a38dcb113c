#include "exchange/ProjectContent.h"

#include "tests/library/exchange/ExchangeFixture.h"

#include <utility>

namespace {

class ProjectContent : public CExchangeTest {
protected:
    static SProjectContent Sample()
    {
        SProjectContent content;
        content.id = kFirstId;
        content.fence = 7;
        content.Put(L"one", "bytes");
        content.Put(L"two", std::string("\0\1", 2));
        content.Put(L"three", "3"); // the shortest
        return content;
    }
    static HRESULT Refusal(const std::string& bytes)
    {
        return Thrown([&] { static_cast<void>(SProjectContent::FromBytes(bytes)); });
    }
};

} // namespace

TEST_F(ProjectContent, ComesBackFromItsBytes)
{
    const SProjectContent content = SProjectContent::FromBytes(Sample().ToBytes());
    EXPECT_TRUE(content.id == kFirstId);
    EXPECT_EQ(content.fence, 7);
    ASSERT_EQ(content.objects.size(), 3U);
    ASSERT_NE(content.Find(L"one"), nullptr);
    EXPECT_EQ(content.Find(L"one")->bytes, "bytes");
    ASSERT_NE(content.Find(L"two"), nullptr);
    EXPECT_EQ(content.Find(L"two")->bytes, std::string("\0\1", 2));
    EXPECT_EQ(content.Find(L"On"), nullptr);
}

TEST_F(ProjectContent, ANameHasOneObjectAndEmptyBytesTakeItAway)
{
    SProjectContent content = Sample();
    content.Put(L"one", "others");
    ASSERT_EQ(content.objects.size(), 3U);
    EXPECT_EQ(content.Find(L"one")->bytes, "others");
    content.Put(L"one", {});
    EXPECT_EQ(content.Find(L"one"), nullptr);
    content.Put(L"nothing", {});
    EXPECT_EQ(content.objects.size(), 2U);
}

TEST_F(ProjectContent, IsRefusedCutAnywhereAndWithMoreBehindIt)
{
    const std::string whole = Sample().ToBytes();
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(Refusal(whole.substr(0, length)), S_OK) << length;
    EXPECT_EQ(Refusal(whole), S_OK);
    EXPECT_EQ(Refusal(whole + '\0'), E_FAIL);
}

TEST_F(ProjectContent, IsRefusedWithAnotherVersionANameTwiceOrNone)
{
    std::string bytes = Sample().ToBytes();
    ++bytes.front();
    EXPECT_EQ(Refusal(bytes), E_FAIL);
    SProjectContent twice = Sample();
    twice.objects.back().name = L"one";
    EXPECT_EQ(Refusal(twice.ToBytes()), E_FAIL);
    SProjectContent nameless = Sample();
    nameless.objects.back().name.clear();
    EXPECT_EQ(Refusal(nameless.ToBytes()), E_FAIL);
    SProjectContent empty = Sample();
    empty.objects.back().bytes.clear();
    EXPECT_EQ(Refusal(empty.ToBytes()), E_FAIL);
}
