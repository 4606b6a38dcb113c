#include "platform/Module.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Links.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Pipes, devices and what a shell does with standard streams.
class StreamsHereTest : public CProgramTest {
protected:
    void MakeDone() const
    {
        Write(InOutput(L"a.drq"), "<Response/>");
        Write(InOutput(L"a.drq.status"), platform::ToUtf16Le(L"13\r\n"));
    }
    void ExpectKept() const { EXPECT_EQ(FilesIn(m_strOutput), (std::vector<std::wstring>{L"a.drq", L"a.drq.status"})); }
    /// A line of the shell, in which $ZEL is the tool with its directories.
    [[nodiscard]] SProgramResult Shell(const std::wstring& line) const
    {
        platform::SProcessOptions options;
        options.environment = {
            {L"ZEL", platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel")},
            {L"HOME_DIR", m_strHome},
            {L"TMPDIR", m_strHome},
            {L"MODULE",
             platform::JoinPath(TestPlugins(), std::wstring(L"zel_testtasks") + platform::ModuleExtension())},
            {L"ZEL_REQUEST_DIR", m_strRequests},
            {L"ZEL_OUTPUT_DIR", m_strOutput},
        };
        return RunProgram(L"/bin/sh", {L"-c", line}, options);
    }
};

TEST_F(StreamsHereTest, ANamedPipeTakesTheResponseAndStays)
{
    MakeDone();
    const std::wstring pipe = InHome(L"pipe");
    ASSERT_EQ(mkfifo(platform::NarrowPath(pipe).c_str(), 0600), 0);
    CRunningProgram client = StartZel({L"receive", L"a.drq", pipe});
    const int reader = open(platform::NarrowPath(pipe).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    std::string received;
    char buffer[64];
    for (ssize_t got = 0; (got = read(reader, buffer, sizeof buffer)) > 0;)
        received.append(buffer, static_cast<std::size_t>(got));
    close(reader);
    EXPECT_EQ(received, "<Response/>");
    EXPECT_EQ(client.Finish().code, 0);
    EXPECT_EQ(platform::NameKind(pipe), platform::eNameKind_Other);
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
}

TEST_F(StreamsHereTest, ANamedPipeWithoutAReaderIsWaitedForUntilTheStop)
{
    MakeDone();
    const std::wstring pipe = InHome(L"pipe");
    ASSERT_EQ(mkfifo(platform::NarrowPath(pipe).c_str(), 0600), 0);
    CRunningProgram client = StartZel({L"receive", L"a.drq", pipe});
    client.Process().RequestStop();
    EXPECT_NE(client.Finish().code, 0);
    EXPECT_EQ(platform::NameKind(pipe), platform::eNameKind_Other);
    ExpectKept();
}

TEST_F(StreamsHereTest, ALinkToStandardOutputIsWrittenThroughAndStays)
{
    // Of the same kind as /dev/stdout, which a test that fails must not lose.
    const std::wstring link = InHome(L"out");
    ASSERT_EQ(symlink("/proc/self/fd/1", platform::NarrowPath(link).c_str()), 0);
    for (const wchar_t* line :
         {L"\"$ZEL\" receive a.drq \"$HOME_DIR/out\"",
          L"\"$ZEL\" receive a.drq \"$HOME_DIR/out\" > \"$HOME_DIR/file\"; cat \"$HOME_DIR/file\"",
          L"echo first > \"$HOME_DIR/file\"; \"$ZEL\" receive a.drq \"$HOME_DIR/out\" >> "
          L"\"$HOME_DIR/file\"; sed -n 2p \"$HOME_DIR/file\""}) {
        MakeDone();
        const SProgramResult result = Shell(line);
        EXPECT_EQ(result.errors, "");
        EXPECT_TRUE(result.output.starts_with("<Response/>")) << result.output;
        EXPECT_EQ(platform::NameKind(link), platform::eNameKind_Link);
        EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    }
}

TEST_F(StreamsHereTest, AnOpenFileOfTheShellIsWrittenInto)
{
    MakeDone();
    const SProgramResult result =
        Shell(L"\"$ZEL\" receive a.drq /dev/fd/3 3> \"$HOME_DIR/file\" > /dev/null; cat \"$HOME_DIR/file\"");
    EXPECT_EQ(result.output, "<Response/>") << result.errors;
}

TEST_F(StreamsHereTest, AnOrdinaryLinkIsReplacedAndWhatItNamesStays)
{
    MakeDone();
    Write(InHome(L"precious"), "precious");
    ASSERT_EQ(symlink("precious", platform::NarrowPath(InHome(L"link")).c_str()), 0);
    EXPECT_EQ(Zel({L"receive", L"a.drq", InHome(L"link")}).code, 0);
    EXPECT_EQ(Read(InHome(L"precious")), "precious");
    EXPECT_EQ(Read(InHome(L"link")), "<Response/>");
}

TEST_F(StreamsHereTest, AFullDeviceAClosedPipeAndAClosedStreamAreNamedAndLoseNothing)
{
    for (const auto& [line, text] :
         {std::pair{L"\"$ZEL\" receive a.drq - > /dev/full", "'standard output' cannot be written: No space"},
          {L"mkfifo \"$HOME_DIR/p\"; exec 3<>\"$HOME_DIR/p\" 4>\"$HOME_DIR/p\" 3<&-; \"$ZEL\" receive a.drq - >&4",
           "cannot be written: The other end"},
          {L"\"$ZEL\" receive a.drq - >&-", "'standard output' cannot be written: "},
          {L"\"$ZEL\" receive a.drq /dev/full", "'/dev/full' cannot be written: No space"}}) {
        MakeDone();
        const SProgramResult result = Shell(line);
        EXPECT_TRUE(Contains(result.errors, text)) << result.errors << platform::ToUtf8(line);
        ExpectKept();
    }
    EXPECT_EQ(platform::NameKind(L"/dev/full"), platform::eNameKind_Other);
}

TEST_F(StreamsHereTest, ATextThatCannotBeWrittenIsAFailureUnlessNobodyWantsIt)
{
    MakeDone();
    for (const wchar_t* const command :
         {L"list", L"list --json", L"status a.drq", L"--help", L"--version", L"wait a.drq"}) {
        const SProgramResult full = Shell(L"\"$ZEL\" " + std::wstring(command) + L" > /dev/full");
        EXPECT_EQ(full.code, 1) << platform::ToUtf8(command);
        EXPECT_TRUE(Contains(full.errors, "zel: 'standard output' cannot be written: No space")) << full.errors;
    }
    const SProgramResult gone =
        Shell(L"mkfifo \"$HOME_DIR/p\"; exec 3<>\"$HOME_DIR/p\" 4>\"$HOME_DIR/p\" 3<&-; \"$ZEL\" list >&4; echo $?");
    EXPECT_EQ(gone.output, "0\n");
    EXPECT_FALSE(Contains(gone.errors, "standard output")) << gone.errors;
    EXPECT_EQ(Shell(L"\"$ZEL\" wait a.drq -q >&-").code, 0) << "which has nothing to say";
}

TEST_F(StreamsHereTest, StandardInputThatIsClosedIsAnError)
{
    const SProgramResult result = Shell(L"\"$ZEL\" send - <&-");
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "'standard input' cannot be read: ")) << result.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(StreamsHereTest, RunTaskWritesWhereReceiveDoes)
{
    const std::wstring tool = L"\"$ZEL\" run-task \"$MODULE\" " + MakeEcho(L"a.drq", L"x") + L" -q -o ";
    const std::string response = EchoResponse("x");
    for (const wchar_t* const target : {L"/proc/self/fd/1", L"/dev/null; echo done", L"/dev/null > \"$HOME_DIR/f\"",
                                        L"/dev/fd/3 3> \"$HOME_DIR/f\"; cat \"$HOME_DIR/f\""}) {
        const SProgramResult result = Shell(tool + target);
        EXPECT_EQ(result.code, 0) << platform::ToUtf8(target);
        EXPECT_EQ(result.errors, "") << platform::ToUtf8(target);
        const bool isSeen = !std::wstring(target).starts_with(L"/dev/null");
        EXPECT_EQ(Contains(result.output, response), isSeen) << platform::ToUtf8(target);
    }
    const SProgramResult full = Shell(tool + L"- > /dev/full");
    EXPECT_EQ(full.code, 1);
    EXPECT_EQ(full.errors, "zel: 'standard output' cannot be written: No space left on the volume\n");
}

TEST_F(StreamsHereTest, ARequestThatIsNoFileIsToldAsSuch)
{
    ASSERT_EQ(mkfifo(platform::NarrowPath(InHome(L"p.drq")).c_str(), 0600), 0);
    for (const wchar_t* const line :
         {L"\"$ZEL\" send \"$HOME_DIR/p.drq\"", L"\"$ZEL\" run-task \"$MODULE\" \"$HOME_DIR/p.drq\""}) {
        const SProgramResult result = Shell(line);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "p.drq' is no ordinary file; - reads standard input\n")) << result.errors;
    }
    const SProgramResult input = Shell(L"echo x | \"$ZEL\" send /dev/stdin --name x.drq");
    EXPECT_TRUE(Contains(input.errors, "'/dev/stdin' is no ordinary file; - reads")) << input.errors;
    for (const wchar_t* const line : {L"\"$ZEL\" show \"$HOME_DIR/p.drq\"", L"echo x | \"$ZEL\" show /dev/stdin"}) {
        const SProgramResult shown = Shell(line);
        EXPECT_EQ(shown.code, 1);
        EXPECT_TRUE(Contains(shown.errors, "' is no ordinary file; - reads standard input\n")) << shown.errors;
    }
}

TEST_F(StreamsHereTest, AFileOfOptionsThatIsAPipeOrADeviceIsRefusedAndNobodyWaits)
{
    const std::wstring pipe = m_root / L"options";
    const std::wstring link = m_root / L"link";
    ASSERT_EQ(mkfifo(platform::NarrowPath(pipe).c_str(), 0600), 0);
    ASSERT_EQ(symlink(platform::NarrowPath(pipe).c_str(), platform::NarrowPath(link).c_str()), 0);
    for (const std::wstring& file : {pipe, std::wstring(L"/dev/zero"), link}) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--config", file});
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2);
        EXPECT_TRUE(Contains(result.errors, "zel-server: the file of options '" + platform::NarrowPath(file) + "' "))
            << result.errors;
        EXPECT_EQ(Contains(result.errors, "is a directory, a pipe or a device"), file != link) << result.errors;
    }
}

TEST_F(StreamsHereTest, WhatIsReceivedHasTheModeOfTheReceiversMask)
{
    for (const auto& [mask, mode] : {std::pair{L"022", 0644U}, {L"077", 0600U}}) {
        MakeDone();
        ASSERT_EQ(chmod(platform::NarrowPath(InOutput(L"a.drq")).c_str(), 0660), 0);
        EXPECT_EQ(Shell(std::wstring(L"umask ") + mask + L"; \"$ZEL\" receive a.drq \"$HOME_DIR/r\" -q").code, 0);
        struct stat status = {};
        ASSERT_EQ(stat(platform::NarrowPath(InHome(L"r")).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, mode);
        ASSERT_EQ(platform::Files().Remove(InHome(L"r")), platform::eOsError_None);
    }
}

} // namespace
