#include "tests/face/FaceFixture.h"

namespace {

class FaceSending : public CFaceFixture {
protected:
    [[nodiscard]] std::vector<std::wstring> EntriesOf(const std::wstring& dir) const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_TRUE(platform::Succeeded(platform::Files().List(dir, entries)));
        std::vector<std::wstring> names;
        for (const platform::SDirectoryEntry& entry : entries)
            names.push_back(entry.name);
        return names;
    }
};

} // namespace

TEST_F(FaceSending, AFileStaysAndItsCopyIsServed)
{
    std::atomic<bool> isWhole = false;
    m_script.createRequest = [&](const std::wstring& path) {
        isWhole = Read(path) == "<Request>a</Request>";
        return true;
    };
    Run();
    Write(In(m_clientDir, L"a.drq"), "<Request>a</Request>");
    const zel::Result<zel::Request> sent = m_face->send(PathOf(In(m_clientDir, L"a.drq")));
    ASSERT_TRUE(sent) << sent.reason();
    EXPECT_EQ(sent->name(), "a.drq");
    EXPECT_OK(sent->wait(kPatience));
    EXPECT_TRUE(isWhole);
    EXPECT_EQ(Read(In(m_clientDir, L"a.drq")), "<Request>a</Request>");
}

TEST_F(FaceSending, ATextGetsANameThatNobodyElseHas)
{
    Run();
    const zel::Result<zel::Request> first = m_face->send(zel::Text{"<Request/>"});
    const zel::Result<zel::Request> second = m_face->send(zel::Text{"<Request/>"});
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->name(), second->name());
    EXPECT_OK(first->wait(kPatience));
    EXPECT_OK(second->wait(kPatience));
}

TEST_F(FaceSending, AnyNameOfAFileSystemGoesAndComesAsUtf8)
{
    Run();
    const std::string name = "\xC3\xA4\xE2\x82\xAC \xF0\x9F\x8E\x89.drq";
    const zel::Result<zel::Request> sent = m_face->send(zel::Text{"<Request/>"}, name);
    ASSERT_TRUE(sent) << sent.reason();
    EXPECT_EQ(sent->name(), name);
    ASSERT_TRUE(sent->wait(kPatience));
    const std::filesystem::path target = PathOf(In(m_clientDir, platform::FromUtf8("\xE2\x82\xAC.xml")));
    EXPECT_OK(sent->receive(target));
    EXPECT_TRUE(std::filesystem::exists(target));
}

TEST_F(FaceSending, WhatIsMissingOrNoFileIsToldByItsName)
{
    const zel::Result<zel::Request> missing = m_face->send(PathOf(In(m_clientDir, L"missing.drq")));
    EXPECT_EQ(missing.code(), zel::Code::fileError);
    EXPECT_NE(missing.reason().find("missing.drq"), std::string::npos) << missing.reason();
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(m_clientDir, L"folder.drq"))));
    EXPECT_EQ(m_face->send(PathOf(In(m_clientDir, L"folder.drq"))).code(), zel::Code::fileError);
    EXPECT_EQ(FilesIn(m_requestDir), std::vector<std::wstring>{});
}

TEST_F(FaceSending, NamesThatNoRequestCanHaveAreRefusedBeforeAnythingIsTouched)
{
    const std::string longest(255 - std::string(".drq.status.lock").size(), 'n');
    for (const std::string& name : {std::string(), std::string("a"), std::string("a.txt"), std::string("../a.drq"),
                                    std::string("a/b.drq"), std::string("a\nb.drq"), longest + "n.drq"}) {
        EXPECT_EQ(m_face->send(zel::Text{"<Request/>"}, name).code(), zel::Code::badName) << name;
        EXPECT_EQ(m_face->request(name).code(), zel::Code::badName) << name;
    }
    EXPECT_EQ(EntriesOf(m_clientDir), std::vector<std::wstring>{});
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}, longest + ".drq"));
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}, "A.XML"));
}

TEST_F(FaceSending, ANameIsInUseFromTheRequestToTheReceivedResponse)
{
    const zel::Request request = Sent("a.drq");
    EXPECT_EQ(m_face->send(zel::Text{"<Other/>"}, "a.drq").code(), zel::Code::nameInUse) << "not taken yet";
    EXPECT_EQ(Read(In(m_requestDir, L"a.drq")), "<Request/>");
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(request.wait(kPatience));
    EXPECT_EQ(m_face->send(zel::Text{"<Other/>"}, "a.drq").code(), zel::Code::nameInUse) << "not received yet";
    EXPECT_OK(request.receive(PathOf(In(m_clientDir, L"a.xml"))));
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}, "a.drq"));
}

TEST_F(FaceSending, AHandOverThatTheSystemRefusesSaysWhereto)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_AccessDenied, 1, L"a.drq");
    const zel::Result<zel::Request> sent = m_face->send(zel::Text{"<Request/>"}, "a.drq");
    EXPECT_EQ(sent.code(), zel::Code::fileError);
    EXPECT_NE(sent.reason().find(platform::ToUtf8(m_requestDir)), std::string::npos) << sent.reason();
    EXPECT_EQ(FilesIn(m_requestDir), std::vector<std::wstring>{});
}

TEST_F(FaceSending, ADirectoryThatIsNotThereIsTold)
{
    zel::Options options = Options();
    options.own = PathOf(In(m_clientDir, L"nowhere"));
    const zel::Result<zel::Request> sent = zel::Client(options).send(zel::Text{"<Request/>"});
    EXPECT_EQ(sent.code(), zel::Code::fileError);
    EXPECT_NE(sent.reason().find("nowhere"), std::string::npos) << sent.reason();
}

TEST_F(FaceSending, WhatIsMadeForTheWayIsGoneInTheEnd)
{
    zel::Options options = Options();
    options.own.clear();
    {
        const zel::Client client(options);
        EXPECT_OK(client.send(zel::Text{"<Request/>"}, "a.drq"));
        EXPECT_EQ(EntriesOf(m_requestDir).size(), 2U) << "the request, and a folder that no server looks into";
    }
    EXPECT_EQ(EntriesOf(m_requestDir), std::vector<std::wstring>{L"a.drq"});
}

TEST_F(FaceSending, ManyThreadsShareAClientAndAName)
{
    Run();
    std::atomic<int> sent = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([&] {
            const zel::Session session;
            for (int count = 0; count < 10; ++count) {
                const zel::Result<zel::Request> own = m_face->send(zel::Text{"<Request/>"});
                if (own && own->wait(kPatience) && own->receive(PathOf(In(m_clientDir, L"out.xml"))))
                    ++sent;
            }
            const zel::Result<zel::Request> shared = m_face->send(zel::Text{"<Request/>"}, "shared.drq");
            if (shared)
                ++sent;
            else
                EXPECT_EQ(shared.code(), zel::Code::nameInUse) << shared.reason();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(sent, 41) << "one of the four had the name";
}
