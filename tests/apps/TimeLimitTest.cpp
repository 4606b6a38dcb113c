#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <tuple>

namespace {

/// Requests that run longer than they may.
class TimeLimitTest : public CProgramTest {
protected:
    /// One that stands at a gate; a deaf one does not look whether it is cancelled.
    [[nodiscard]] std::wstring MakeGateOf(const std::wstring& name, const std::string& attributes, bool isDeaf) const
    {
        Write(InHome(name), "<Request " + attributes + "><Task Type=\"Gate\" " + (isDeaf ? "Deaf=\"1\" " : "") +
                                "GateFile=\"" + platform::ToUtf8(Gate(name)) + "\"/></Request>");
        return InHome(name);
    }
    [[nodiscard]] std::string WaitForFailure(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"wait", name});
        EXPECT_EQ(result.code, 3) << result.errors;
        return result.output + result.errors;
    }
};

TEST_F(TimeLimitTest, ARequestEndsAtItsLimitAndTheNextOneIsServed)
{
    CRunningProgram server = StartServer({L"--time-limit", L"3600"});
    ASSERT_EQ(Zel({L"send", MakeGateOf(L"g.drq", "TimeLimit='0.2'", false)}).code, 0);
    const std::string told = WaitForFailure(L"g.drq");
    EXPECT_TRUE(Contains(told, "The request was ended: it ran longer than its limit of 0.2 seconds.")) << told;
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "it has run for its limit of 0.2 seconds and is cancelled"));
    EXPECT_TRUE(Contains(server.Errors(), "{g.drq} Ended: ServerError after ")) << server.Errors();
}

TEST_F(TimeLimitTest, ARequestMaySetALimitOfItsOwnAndNoLargerOne)
{
    CRunningProgram server = StartServer({L"--time-limit", L"0.5"});
    for (const auto& [name, asked, counts] :
         {std::tuple{L"a.drq", "0.25", "0.25"}, {L"b.drq", "3600", "0.5"}, {L"c.drq", "soon", "0.5"}}) {
        ASSERT_EQ(Zel({L"send", MakeGateOf(name, "TimeLimit='" + std::string(asked) + "'", false)}).code, 0);
        const std::string told = WaitForFailure(name);
        EXPECT_TRUE(Contains(told, "than its limit of " + std::string(counts) + " seconds.")) << told;
    }
    StopServer(server);
}

TEST_F(TimeLimitTest, ATaskThatDoesNotLookIsToldToTheLogAndEndsAsOneBeyondItsLimit)
{
    CRunningProgram server = StartServer({L"--grace", L"0.1"});
    ASSERT_EQ(Zel({L"send", MakeGateOf(L"g.drq", "TimeLimit='0.1'", true)}).code, 0);
    ASSERT_TRUE(server.WaitForErrors("for its task does not look. It runs in the server's process"));
    Write(Gate(L"g.drq"), "");
    EXPECT_TRUE(Contains(WaitForFailure(L"g.drq"), "than its limit of 0.1 seconds."));
    StopServer(server);
}

TEST_F(TimeLimitTest, AClientThatCancelsItMeanwhileIsToldCanceled)
{
    CRunningProgram server = StartServer({L"--grace", L"0.1"});
    ASSERT_EQ(Zel({L"send", MakeGateOf(L"g.drq", "TimeLimit='0.1'", true)}).code, 0);
    ASSERT_TRUE(server.WaitForErrors("and is cancelled"));
    CRunningProgram cancel = StartZel({L"cancel", L"g.drq"});
    ASSERT_TRUE(server.WaitForErrors("Command: cancel g.drq: Done"));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(cancel.Finish().output, "g.drq: Canceled\n");
    StopServer(server);
}

TEST_F(TimeLimitTest, WhatRanBeyondItIsNotRunAgainByAServerThatResumes)
{
    {
        CRunningProgram first = StartServer({L"--resume", L"--time-limit", L"0.2"});
        ASSERT_EQ(Zel({L"send", MakeGateOf(L"g.drq", "", true)}).code, 0);
        const std::wstring record =
            InOutput(L".zel-server") + platform::kPathSeparator + L"attempts" + platform::kPathSeparator + L"g.drq";
        ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
        ASSERT_TRUE(WaitUntil([&] {
            std::string bytes; // which may be on its way
            return platform::Succeeded(platform::ReadWholeFile(record, platform::eOpenMode_ReadShared, bytes, 100)) &&
                   !bytes.empty();
        }));
        first.Process().Kill();
        static_cast<void>(first.Finish());
    }
    ASSERT_EQ(platform::Files().Remove(Gate(L"g.drq") + L".entered"), platform::eOsError_None);
    CRunningProgram second = StartServer({L"--resume"});
    EXPECT_TRUE(Contains(WaitForFailure(L"g.drq"), "than its limit of 0.2 seconds."));
    EXPECT_FALSE(platform::PathExists(Gate(L"g.drq") + L".entered")) << "it was run again";
    StopServer(second);
}

TEST_F(TimeLimitTest, ALimitHoldsWhileTheServerStops)
{
    CRunningProgram server = StartServer({L"--time-limit", L"2"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().RequestStop();
    EXPECT_EQ(server.Finish().code, 0);
    const std::string log = server.Errors();
    EXPECT_LT(log.find("server stops"), log.find("and is cancelled")) << log;
    EXPECT_TRUE(Contains(WaitForFailure(L"g.drq"), "than its limit of 2 seconds."));
}

TEST_F(TimeLimitTest, OnlySecondsWithinReasonAreALimit)
{
    for (const wchar_t* option : {L"--time-limit", L"--grace"}) {
        for (const wchar_t* value : {L"-1", L"NaN", L"1e9", L"inf", L"0.0001", L"1000000001", L""}) {
            std::vector<std::wstring> arguments = DirectoryArguments();
            arguments.push_back(std::wstring(option) + L"=" + value);
            const SProgramResult result = ServerResult(arguments);
            EXPECT_EQ(result.code, 2) << platform::ToUtf8(value);
            EXPECT_TRUE(Contains(result.errors, platform::ToUtf8(option))) << result.errors;
        }
    }
    for (const wchar_t* value : {L"0", L"1000000000"}) {
        CRunningProgram server = StartServer({L"--time-limit", value, L"--grace", value});
        EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
        StopServer(server);
    }
}

TEST_F(TimeLimitTest, ACrashedRequestIsRunAgainAsOftenAsItAsks)
{
    platform::SProcessOptions options;
    options.environment = {{L"LSAN_OPTIONS", L"detect_leaks=0"}, {L"ZEL_CRASH_DIR", m_strHome}};
    CRunningProgram server = StartServer({}, options);
    Write(InHome(L"c.drq"), "<Request Attempts='2'><Task Type=\"Crash\" Kind=\"Exception\"/></Request>");
    CRunningProgram client = StartZel({L"send", InHome(L"c.drq"), L"--wait"});
    ASSERT_TRUE(server.WaitForErrors("attempt 1 of 2 has failed, "));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0) << "others run meanwhile";
    const SProgramResult result = client.Finish();
    EXPECT_EQ(result.code, 3) << result.errors;
    EXPECT_TRUE(Contains(result.output + result.errors, "was ended by an exception")) << result.output << result.errors;
    EXPECT_TRUE(Contains(result.output, "This was attempt 2 of 2.")) << result.output;
    StopServer(server);
    const std::string log = server.Errors();
    EXPECT_TRUE(Contains(log, "; the next one begins in 1 s")) << log;
    EXPECT_FALSE(Contains(log, "attempt 2 of 2 has failed")) << "that is told by its end: " << log;
    const std::size_t first = log.find("{c.drq} Started: type Crash");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_NE(log.find("{c.drq} Started: type Crash", first + 1), std::string::npos) << log;
}

} // namespace
