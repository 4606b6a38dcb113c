#include "platform/Module.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <sstream>

namespace {

/// A server whose standard error is, by what it is told, the journal.
class JournalTest : public CProgramTest {
protected:
    [[nodiscard]] std::wstring Log() const { return m_root / L"journal.txt"; }
    [[nodiscard]] CRunningProgram Start(const std::wstring& stream, const std::wstring& options) const
    {
        const std::wstring program = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel-server");
        const std::wstring script = L"exec 2>'" + Log() + L"'; JOURNAL_STREAM=" + stream + L"; ZEL_CRASH_DIR='" +
                                    m_strHome + L"'; export JOURNAL_STREAM ZEL_CRASH_DIR; exec '" + program +
                                    L"' --request-dir '" + m_strRequests + L"' --output-dir '" + m_strOutput +
                                    L"' --components '" + TestPlugins() + L"' " + options;
        CRunningProgram server(L"/bin/sh", {L"-c", script});
        std::wstring line;
        EXPECT_TRUE(server.Process().ReadLine(line, kPatience)) << Read(Log());
        return server;
    }
    [[nodiscard]] std::wstring ThisFile() const { return L"$(stat -Lc %d:%i '" + Log() + L"')"; }
};

TEST_F(JournalTest, EachLineBeginsWithItsPriority)
{
    CRunningProgram server = Start(ThisFile(), L"");
    EXPECT_NE(Zel({L"send", MakeRequest(L"c.drq", L"Type='Crash' Kind='Exception'"), L"--wait"}).code, 0);
    EXPECT_NE(Zel({L"send", MakeRequest(L"t.drq", L"Typ='Echo'"), L"--wait"}).code, 0);
    StopServer(server);
    const std::string log = Read(Log());
    std::istringstream lines(log);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const bool isError = Contains(line, "Z error ") || Contains(line, "zel-server: the request 'c.drq' crashed");
        const bool isWarning = Contains(line, "Z warning ");
        EXPECT_EQ(line.substr(0, 3), isError ? "<3>" : isWarning ? "<4>" : line.substr(0, 3)) << line;
        EXPECT_TRUE(line.starts_with('<') && line[2] == '>') << line;
    }
    EXPECT_GT(count, 8) << log;
    EXPECT_TRUE(Contains(log, "\n<6>")) << log;
    EXPECT_TRUE(Contains(log, "\n<3>zel-server: the request 'c.drq' crashed")) << log;
}

TEST_F(JournalTest, TheLastWordsOfAServerHaveThePriorityOfAnError)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's heap ends the program itself";
    CRunningProgram server = Start(ThisFile(), L"");
    EXPECT_EQ(Zel({L"send", MakeRequest(L"h.drq", L"Type='Crash' Kind='HeapWrongFree'")}).code, 0);
    int code = 0;
    ASSERT_TRUE(server.Process().Wait(kPatience, code));
    const std::string log = Read(Log());
    const std::size_t words = log.find("<3>A fault in the memory allocator ends this process");
    ASSERT_NE(words, std::string::npos) << log;
    EXPECT_TRUE(Contains(log.substr(words), "\n<3>Crash report: ")) << log;
    std::istringstream lines(log.substr(words));
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(line.empty() || line.starts_with("<3>")) << line;
}

TEST_F(JournalTest, AnInheritedVariableThatMeansAnotherStreamCountsForNothing)
{
    CRunningProgram server = Start(L"1:2", L"");
    StopServer(server);
    EXPECT_FALSE(Contains(Read(Log()), "<6>")) << Read(Log());
    EXPECT_TRUE(Contains(Read(Log()), "Ready: requests are accepted"));
}

TEST_F(JournalTest, AStrictServerWritesNoPriorities)
{
    CRunningProgram server = Start(ThisFile(), L"--strict --log-level debug");
    StopServer(server);
    EXPECT_TRUE(Contains(Read(Log()), "Listen() started")) << Read(Log());
    EXPECT_FALSE(Contains(Read(Log()), "<7>")) << Read(Log());
}

} // namespace
