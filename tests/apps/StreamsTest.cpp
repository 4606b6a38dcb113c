#include "apps/zel/FileCopy.h"
#include "apps/zel/ToolSession.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>

namespace {

/// Standard input and output, devices, and names that nobody else has.
class StreamsTest : public CProgramTest {
protected:
    /// The tool with this standard input.
    [[nodiscard]] SProgramResult ZelWithInput(std::vector<std::wstring> arguments, const std::wstring& input) const
    {
        arguments.insert(arguments.end(), {L"--request-dir", m_strRequests, L"--output-dir", m_strOutput});
        platform::SProcessOptions options;
        options.pipeInput = true;
        CRunningProgram program(L"zel", arguments, options);
        EXPECT_TRUE(program.Process().WriteLine(input));
        program.Process().CloseInput();
        return program.Finish();
    }
    [[nodiscard]] std::wstring EchoText(const std::wstring& text) const
    {
        return platform::FromUtf8(Read(MakeEcho(L"text.drq", text)));
    }
    [[nodiscard]] static std::string WithoutReturns(std::string text)
    {
        std::erase(text, '\r');
        return text;
    }
};

TEST_F(StreamsTest, ARequestFromStandardInputIsAnsweredOnStandardOutput)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = ZelWithInput({L"send", L"-", L"-o", L"-"}, EchoText(L"from a pipe"));
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, WithoutReturns(EchoResponse("from a pipe"))) << "the response, and nothing else";
    EXPECT_TRUE(Contains(result.errors, ": Done")) << result.errors;
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    StopServer(server);
}

TEST_F(StreamsTest, WhatComesFromStandardInputHasTheNameThatIsGivenOrOneOfItsOwn)
{
    EXPECT_EQ(ZelWithInput({L"send", L"-", L"--name", L"n.xml"}, L"<a/>").code, 0);
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"n.xml"});
    EXPECT_TRUE(Read(InRequests(L"n.xml")).starts_with("<a/>"));
    const SProgramResult first = ZelWithInput({L"send", L"-", L"--json"}, L"<a/>");
    const SProgramResult second = ZelWithInput({L"send", L"-", L"--json"}, L"<a/>");
    ASSERT_EQ(first.Objects().size() + second.Objects().size(), 2U) << first.errors << second.errors;
    EXPECT_NE(first.Objects()[0]["name"], second.Objects()[0]["name"]);
    EXPECT_EQ(FilesIn(m_strRequests).size(), 3U);
}

TEST_F(StreamsTest, UniqueNamesAreMadeFromTheFilesSoThatOneFileCanBeSentAgainAndAgain)
{
    const std::wstring file = MakeEcho(L"query.xml", L"x");
    EXPECT_EQ(Zel({L"send", file, file, L"--unique"}).code, 0);
    EXPECT_EQ(Zel({L"send", file, L"--unique", L"--name", L"other.drq"}).code, 0);
    const std::vector<std::wstring> names = FilesIn(m_strRequests);
    ASSERT_EQ(names.size(), 3U);
    EXPECT_EQ(std::ranges::count_if(names, [](const std::wstring& name) { return name.starts_with(L"query-"); }), 2);
    EXPECT_EQ(std::ranges::count_if(names, [](const std::wstring& name) { return name.ends_with(L".xml"); }), 2);
    EXPECT_TRUE(names.front().starts_with(L"other-") && names.front().ends_with(L".drq"));
    EXPECT_EQ(Zel({L"send", InHome(L"notes.txt"), L"--unique"}).code, 2) << "it has no ending of a request";
}

TEST_F(StreamsTest, WhatCannotBeHadTwiceIsRefused)
{
    const std::wstring file = MakeEcho(L"a.drq", L"x");
    for (const std::vector<std::wstring>& arguments :
         {std::vector<std::wstring>{L"send", L"-", L"-"}, std::vector<std::wstring>{L"send", L"--move", L"-"},
          std::vector<std::wstring>{L"send", L"--move", L"--unique", file, file},
          std::vector<std::wstring>{L"send", file, L"-o", L"-", L"--json"},
          std::vector<std::wstring>{L"receive", L"a.drq", L"-", L"--json"}}) {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_EQ(std::ranges::count(result.errors, '\n'), 2) << result.errors;
    }
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(StreamsTest, ReceiveWritesToStandardOutput)
{
    Write(InOutput(L"a.drq"), "<Response/>");
    Write(InOutput(L"a.drq.status"), platform::ToUtf16Le(L"13\r\n"));
    const SProgramResult result = Zel({L"receive", L"a.drq", L"-"});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "<Response/>");
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    Write(InOutput(L"b.drq.status"), platform::ToUtf16Le(L"1\r\n"));
    const SProgramResult failed = Zel({L"receive", L"b.drq", L"-"});
    EXPECT_EQ(failed.code, 3);
    EXPECT_EQ(failed.output, "");
    EXPECT_TRUE(Contains(failed.errors, "b.drq: ServerError")) << failed.errors;
}

TEST_F(StreamsTest, ATargetThatCannotBeMadeIsNamedAndNotWhatWasTriedBesideIt)
{
    Write(InOutput(L"a.drq"), "<Response/>");
    const std::wstring target = InHome(L"none/x.xml");
    const SProgramResult result = Zel({L"receive", L"a.drq", target});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, platform::ToUtf8(L"zel: '" + target + L"' cannot be created: ")))
        << result.errors;
    EXPECT_FALSE(Contains(result.errors, ".tmp")) << result.errors;
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"a.drq"});
}

TEST_F(StreamsTest, ATargetThatCannotBeMadeIsToldBeforeAnythingIsSent)
{
    const SProgramResult result =
        Zel({L"send", MakeEcho(L"a.drq", L"x"), L"-o", InHome(L"no/such/folder.xml"), L"--json"});
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "folder.xml' cannot be created: ")) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strHome), std::vector<std::wstring>{L"a.drq"}) << "what tried the target is gone";
    const std::wstring folder = InHome(L"folder");
    ASSERT_EQ(platform::Files().MakeDirectory(folder), platform::eOsError_None);
    ASSERT_EQ(platform::Files().MakeDirectory(platform::JoinPath(folder, L"a.drq")), platform::eOsError_None);
    const SProgramResult inTheWay = Zel({L"send", InHome(L"a.drq"), L"-o", folder});
    EXPECT_EQ(inTheWay.code, 1);
    EXPECT_TRUE(Contains(inTheWay.errors, "a.drq' is a directory\n")) << inTheWay.errors;
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(StreamsTest, AResponseThatCannotBeWrittenIsKeptAndItsNameIsFree)
{
    CRunningProgram server = StartServer();
    const std::wstring target = InHome(L"responses");
    ASSERT_EQ(platform::Files().MakeDirectory(target), platform::eOsError_None);
    const std::wstring inTheWay = platform::JoinPath(target, L"a.drq");
    const std::wstring file = MakeGate(L"a.drq");
    const auto send = [&](const std::vector<std::wstring>& more) {
        std::vector<std::wstring> arguments{L"send", file, L"-o", target};
        arguments.insert(arguments.end(), more.begin(), more.end());
        for (const std::wstring& last : {Gate(L"a.drq"), Gate(L"a.drq") + L".entered"})
            static_cast<void>(platform::Files().Remove(last));
        CRunningProgram client = StartZel(arguments);
        EXPECT_TRUE(WaitUntilAtGate(L"a.drq"));
        // A directory of the response's name comes into its way.
        EXPECT_EQ(platform::Files().MakeDirectory(inTheWay), platform::eOsError_None);
        Write(Gate(L"a.drq"), "");
        SProgramResult result = client.Finish();
        EXPECT_EQ(platform::Files().RemoveEmptyDirectory(inTheWay), platform::eOsError_None);
        return result;
    };
    for (std::size_t round = 1; round <= 2; ++round) {
        const SProgramResult result = send({});
        EXPECT_EQ(result.code, 1) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "a.drq' cannot be written: ")) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "the response is kept: zel receive 'a-")) << result.errors;
        EXPECT_EQ(FilesIn(m_strOutput).size(), 2 * round);
    }
    EXPECT_EQ(send({L"--keep"}).code, 1);
    ASSERT_EQ(FilesIn(m_strOutput).size(), 6U);
    EXPECT_EQ(Zel({L"receive", L"a.drq", InHome(L"own.xml")}).code, 0) << "--keep leaves it under its name";
    EXPECT_EQ(Zel({L"receive", FilesIn(m_strOutput).front(), InHome(L"kept.xml")}).code, 0);
    EXPECT_NE(Read(InHome(L"kept.xml")), "");
    StopServer(server);
}

TEST_F(StreamsTest, KeepLeavesTheStatusOfWhatFailed)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeRequest(L"f.drq", L"Type=\"FailObtain\" Text=\"no such thing\"");
    EXPECT_EQ(Zel({L"send", file, L"--wait", L"--keep"}).code, 3);
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>{L"f.drq.status"});
    EXPECT_EQ(Zel({L"forget", L"f.drq"}).code, 0);
    EXPECT_EQ(Zel({L"send", file, L"--wait"}).code, 3);
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    StopServer(server);
}

TEST_F(StreamsTest, TheReasonOfAFailureIsToldWhereNothingElseIs)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeRequest(L"f.drq", L"Type=\"FailObtain\" Words=\"the disk is away.\"");
    const auto expectTold = [&](const std::vector<std::wstring>& arguments) {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 3);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "zel: f.drq: Server error: the disk is away.\n");
    };
    expectTold({L"send", file, L"--wait", L"-q"});
    expectTold({L"send", file, L"-o", L"-", L"-q"});
    expectTold({L"send", file, L"--wait", L"--keep", L"-q"});
    expectTold({L"wait", L"f.drq", L"-q"});
    expectTold({L"receive", L"f.drq", InHome(L"r.xml"), L"-q"});
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    const SProgramResult done = Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait", L"-q"});
    EXPECT_EQ(done.errors, "");
    EXPECT_EQ(done.output, "");
    StopServer(server);
}

TEST_F(StreamsTest, ANamelessSourceIsTakenUpToItsLimitAndNotBeyond)
{
    SToolOptions options;
    options.requestDir = m_strRequests;
    options.outputDir = m_strOutput;
    CToolSession session(options);
    constexpr std::uint64_t limit = 5;
    for (const std::size_t length : {limit - 1, limit, limit + 1}) {
        std::size_t left = length;
        const auto source = [&left](std::span<std::byte> buffer, std::size_t& read) {
            read = std::min<std::size_t>({left, buffer.size(), 2});
            std::ranges::fill(buffer.first(read), std::byte{'x'});
            left -= read;
            return platform::eOsError_None;
        };
        std::wstring error;
        EXPECT_EQ(CopyBytes(session, source, L"the source", limit, InHome(L"copy"), error), length <= limit);
        EXPECT_EQ(platform::PathExists(InHome(L"copy")), length <= limit);
        if (length <= limit)
            EXPECT_EQ(Read(InHome(L"copy")), std::string(length, 'x'));
        else
            EXPECT_EQ(error, L"'the source' is longer than 5 bytes, more than a request can have");
    }
}

TEST_F(StreamsTest, AStopEndsTheWaitForStandardInput)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    CRunningProgram program(L"zel", {L"send", L"-", L"--request-dir", m_strRequests, L"--output-dir", m_strOutput},
                            options);
    ASSERT_TRUE(WaitUntil([&] {
        std::vector<platform::SDirectoryEntry> entries;
        static_cast<void>(platform::Files().List(m_strRequests, entries));
        return !entries.empty(); // the folder of its copy
    }));
    program.Process().RequestStop();
    const SProgramResult result = program.Finish();
    EXPECT_EQ(result.code, 130) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "interrupted while 'standard input' was copied")) << result.errors;
    std::vector<platform::SDirectoryEntry> entries;
    EXPECT_EQ(platform::Files().List(m_strRequests, entries), platform::eOsError_None);
    EXPECT_TRUE(entries.empty());
}

} // namespace
