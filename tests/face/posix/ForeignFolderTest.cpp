#include "tests/face/FaceFixture.h"
#include "tests/support/Users.h"

namespace {

class FaceForeignFolder : public CFaceFixture {
protected:
    /// As a client leaves it that was killed.
    [[nodiscard]] std::wstring Leftover(const wchar_t* name) const
    {
        const std::wstring folder = In(m_clientDir, name);
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(folder)));
        Write(In(folder, zel::detail::kOwnerFile), platform::Clock().SystemStartId());
        return folder;
    }
};

} // namespace

TEST_F(FaceForeignFolder, StaysThoughItsClientIsDead)
{
    if (!testsupport::CanChangeUser())
        GTEST_SKIP() << "chown: only the superuser gives a folder to somebody else";
    const std::wstring own = Leftover(L".zel-{1}");
    const std::wstring foreign = Leftover(L".zel-{2}");
    ASSERT_EQ(chown(platform::NarrowPath(foreign).c_str(), testsupport::kOtherUser, testsupport::kOtherUser), 0);
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}));
    EXPECT_FALSE(platform::PathExists(own));
    EXPECT_TRUE(platform::PathExists(In(foreign, zel::detail::kOwnerFile)));
}
