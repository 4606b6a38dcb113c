#include "tests/face/FaceFixture.h"

#include "tests/support/ChildProcess.h"

namespace {

constexpr const wchar_t* kPart = L"face-client";

/// A client that has its folder, and a file on its way, until it is told to end, or killed.
int LiveAsClient(const std::vector<std::wstring>& arguments)
{
    const zel::Client client({.requests = zel::detail::pathOf(arguments[0]),
                              .output = zel::detail::pathOf(arguments[1]),
                              .own = zel::detail::pathOf(arguments[2])});
    if (!client.send(zel::Text{"<Request/>"}))
        return 1;
    testsupport::TellParent(L"sent");
    testsupport::WaitForParent();
    return 0;
}

const testsupport::CChildPart clientPart(kPart, &LiveAsClient);

class FaceOwnFolder : public CFaceFixture {
protected:
    [[nodiscard]] std::vector<std::wstring> Folders() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(platform::Succeeded(platform::Files().List(m_clientDir, entries)));
        std::vector<std::wstring> paths;
        for (const platform::SDirectoryEntry& entry : entries)
            paths.push_back(In(m_clientDir, entry.name));
        return paths;
    }
    [[nodiscard]] platform::CProcess StartClient() const
    {
        platform::CProcess child = testsupport::StartChild(kPart, {m_requestDir, m_outputDir, m_clientDir});
        EXPECT_TRUE(testsupport::WaitForChild(child, L"sent"));
        return child;
    }
    /// What a killed client leaves, with files on their way in it.
    [[nodiscard]] std::wstring Leftover() const
    {
        platform::CProcess child = StartClient();
        child.Kill();
        int exitCode = 0;
        EXPECT_TRUE(child.Wait(kPatience, exitCode));
        const std::vector<std::wstring> folders = Folders();
        if (folders.size() != 1) {
            ADD_FAILURE() << folders.size() << " folders";
            return {};
        }
        Write(In(folders[0], L"x.command"));
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(folders[0], L".zel-{1}"))));
        Write(In(In(folders[0], L".zel-{1}"), L"a.drq"));
        return folders[0];
    }
    /// One that a client of the user starts anew.
    void StartAnother() { EXPECT_OK(m_face->send(zel::Text{"<Request/>"})); }
    [[nodiscard]] static bool IsStartKnown() { return !platform::Clock().SystemStartId().empty(); }
};

} // namespace

TEST_F(FaceOwnFolder, WhatAKilledClientLeftGoesWithTheNextStart)
{
    if (!IsStartKnown())
        GTEST_SKIP() << "SystemStartId: this system does not tell its start, so nobody is known to be dead";
    const std::wstring left = Leftover();
    StartAnother();
    EXPECT_FALSE(platform::PathExists(left));
    EXPECT_EQ(Folders().size(), 1U) << "its own";
    m_face.reset();
    EXPECT_EQ(Folders().size(), 0U);
}

TEST_F(FaceOwnFolder, ThatOfAClientThatLivesStays)
{
    platform::CProcess child = StartClient();
    const std::vector<std::wstring> folders = Folders();
    ASSERT_EQ(folders.size(), 1U);
    StartAnother();
    EXPECT_TRUE(platform::PathExists(folders[0]));
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    EXPECT_FALSE(platform::PathExists(folders[0])) << "it takes it away itself";
}

TEST_F(FaceOwnFolder, WhatIsNotKnownToBeOfADeadClientStays)
{
    const std::wstring left = Leftover();
    const std::wstring owner = In(left, zel::detail::kOwnerFile);
    const std::string content = IsStartKnown() ? Read(owner) : "id";
    for (const std::string& other : {std::string(), std::string("1-2-3"), content + "0"}) {
        Write(owner, other);
        StartAnother();
        EXPECT_TRUE(platform::PathExists(left)) << "of another start, or another machine: '" << other << "'";
        m_face.emplace(Options());
    }
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(owner)));
    StartAnother();
    EXPECT_TRUE(platform::PathExists(In(left, L"x.command"))) << "without the owner's file";
}

TEST_F(FaceOwnFolder, AStartTakesAHundredAwayAndTheNextGoesOn)
{
    if (!IsStartKnown())
        GTEST_SKIP() << "SystemStartId: this system does not tell its start, so nobody is known to be dead";
    for (int number = 0; number < 101; ++number) {
        const std::wstring folder = In(m_clientDir, L".zel-{" + std::to_wstring(number) + L"}");
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(folder)));
        Write(In(folder, zel::detail::kOwnerFile), platform::Clock().SystemStartId());
    }
    StartAnother();
    EXPECT_EQ(Folders().size(), 2U) << "one, and its own";
    m_face.emplace(Options());
    StartAnother();
    EXPECT_EQ(Folders().size(), 1U);
}

TEST_F(FaceOwnFolder, ThatOfAnotherUserStays)
{
    const std::wstring left = Leftover();
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_GetOwner, platform::eOsError_AccessDenied, left);
    StartAnother();
    m_files.StopFailing();
    EXPECT_TRUE(platform::PathExists(left)) << "whose it is is not known";
}
