#include "tests/apps/ProgramFixture.h"

#include "platform/Os.h"

namespace {

/// What the sender of a request is told of its failure, by real programs.
class FailureReasonsTest : public CProgramTest {
protected:
    [[nodiscard]] std::string Comment(const std::string& content) const
    {
        Write(InHome(L"a.drq"), content);
        const SProgramResult result = Zel({L"send", L"--wait", L"--quiet", L"--json", InHome(L"a.drq")});
        EXPECT_EQ(result.code, 3) << result.errors;
        EXPECT_EQ(result.Objects().size(), 1U) << result.output;
        return result.Objects().empty() ? std::string() : result.Objects()[0]["comment"].get<std::string>();
    }
    [[nodiscard]] std::string CommentOfTask(const std::string& type, const std::string& content = {}) const
    {
        return Comment("<Request><Task Type=\"" + type + "\">" + content + "</Task></Request>");
    }
};

TEST_F(FailureReasonsTest, ArePartOfTheStatus)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Comment(""), "Server error: The file of the request is empty.");
    const std::string malformed = Comment("<Request>\n<Task></Request>");
    EXPECT_TRUE(malformed.starts_with("Server error: The request is not well-formed XML.\n")) << malformed;
    EXPECT_FALSE(Contains(malformed, "row=")) << malformed;
    EXPECT_TRUE(Contains(Comment("<Request/>"), "no element \"Task\""));
    const std::string unknown = CommentOfTask("Ecoh");
    EXPECT_TRUE(unknown.starts_with("Server error: No component on the server does tasks of the type \"Ecoh\". Those "
                                    "that it does: Echo, "))
        << unknown;
    EXPECT_EQ(CommentOfTask("FailObtain", "<Words>the disk is away.</Words>"), "Server error: the disk is away.");
    EXPECT_EQ(CommentOfTask("FailInit", "<Words>what a request!</Words>"), "Server error: what a request!");
    EXPECT_FALSE(Contains(CommentOfTask("UnknownTask"), "what a request!")) << "the words of the one before";
    EXPECT_EQ(CommentOfTask("FailObtain"), "Server error: the task could not obtain its data.");
    EXPECT_TRUE(Contains(CommentOfTask("ThrowInCreateTask"), "CreateTask was told to throw"));
    StopServer(server);
}

TEST_F(FailureReasonsTest, SayWhatTheSystemSaysOfAResponseThatCannotBeWritten)
{
    constexpr const char* general = "Server error: the response could not be saved. Check the free space and the "
                                    "permissions of the server's output directory.";
    for (const bool isStrict : {false, true}) {
        CRunningProgram server =
            StartServer(isStrict ? std::vector<std::wstring>{L"--strict"} : std::vector<std::wstring>());
        CRunningProgram client = StartZel({L"send", L"--wait", L"--json", MakeGate(L"g.drq")});
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"g.drq")), platform::eOsError_None);
        Write(Gate(L"g.drq"), "");
        const SProgramResult result = client.Finish();
        ASSERT_EQ(result.Objects().size(), 1U) << result.errors;
        const std::string comment = result.Objects()[0]["comment"].get<std::string>();
        EXPECT_TRUE(comment.starts_with(general)) << comment;
        EXPECT_EQ(comment.substr(std::string_view(general).size()).size() > 3, !isStrict) << comment;
        for (const std::wstring& left : {Gate(L"g.drq"), Gate(L"g.drq") + L".entered"})
            EXPECT_EQ(platform::Files().Remove(left), platform::eOsError_None);
        EXPECT_EQ(platform::Files().RemoveEmptyDirectory(InOutput(L"g.drq")), platform::eOsError_None);
        StopServer(server);
    }
}

TEST_F(FailureReasonsTest, NameTheManifestsThatTheServerLeftOut)
{
    Write(InHome(L"bad.component"), "no manifest");
    CRunningProgram server = StartServer({L"--components", m_strHome});
    const std::string comment = CommentOfTask("Mine");
    EXPECT_TRUE(Contains(comment, "\nA component was left out: ")) << comment;
    EXPECT_TRUE(Contains(comment, "bad.component: not well formed: ")) << comment;
    StopServer(server);
}

TEST_F(FailureReasonsTest, AreNoneOfAStrictServer)
{
    Write(InHome(L"bad.component"), "no manifest");
    CRunningProgram server = StartServer({L"--strict", L"--components", m_strHome});
    EXPECT_TRUE(Comment("").starts_with("Server error: the format of the request file is unknown."));
    EXPECT_TRUE(CommentOfTask("Ecoh").starts_with("Server error: the format of the request file is unknown."));
    EXPECT_EQ(CommentOfTask("FailObtain", "<Words>the disk is away.</Words>"),
              "Server error: the task could not obtain its data.");
    EXPECT_FALSE(Contains(CommentOfTask("ThrowInCreateTask"), "was told"));
    StopServer(server);
}

} // namespace
