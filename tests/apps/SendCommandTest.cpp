#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <filesystem>

namespace {

class SendCommandTest : public CProgramTest {
protected:
    /// Neither copies on their way nor locks are left.
    void ExpectNothingLeftOver() const
    {
        for (const std::wstring& directory : {m_strRequests, m_strHome}) {
            std::vector<platform::SDirectoryEntry> entries;
            EXPECT_EQ(platform::Files().List(directory, entries), platform::eOsError_None);
            // The claim of a server that runs is its own.
            std::erase_if(entries, [](const auto& entry) { return entry.isDirectory && entry.name == L".zel-server"; });
            for (const platform::SDirectoryEntry& entry : entries)
                EXPECT_FALSE(entry.name.starts_with(L".zel-") || entry.name.ends_with(L".lock"))
                    << platform::ToUtf8(entry.name);
        }
    }

    /// The name goes all the way to the response.
    void ExpectServed(const std::wstring& name) const
    {
        const std::wstring response = InHome(L"response");
        const SProgramResult result = Zel({L"send", MakeEcho(name, L"served"), L"-o", response, L"--json"});
        EXPECT_EQ(result.code, 0) << result.errors;
        EXPECT_EQ(Read(response), EchoResponse("served"));
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["status"], 13);
    }
};

TEST_F(SendCommandTest, CopiesByDefaultAndTellsThatItWasSent)
{
    const std::wstring file = MakeEcho(L"a.drq", L"hello");
    const SProgramResult result = Zel({L"send", file, L"--json"});
    EXPECT_EQ(result.code, 0) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_EQ(result.Objects()[0]["name"], "a.drq");
    EXPECT_EQ(result.Objects()[0]["status"], 3);
    EXPECT_EQ(Read(InRequests(L"a.drq")), Read(file));
    ExpectNothingLeftOver();
}

TEST_F(SendCommandTest, MoveTakesTheFileAway)
{
    const std::wstring file = MakeEcho(L"a.drq", L"hello");
    EXPECT_EQ(Zel({L"send", L"--move", file}).code, 0);
    EXPECT_FALSE(platform::PathExists(file));
    EXPECT_TRUE(platform::PathExists(InRequests(L"a.drq")));
}

TEST_F(SendCommandTest, NothingIsSentWhoseResponseWouldReplaceTheRequest)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeEcho(L"a.drq", L"x");
    const std::string request = Read(file);
    for (const std::wstring& target : {m_strHome, file}) {
        const SProgramResult result = Zel({L"send", file, L"-o", target});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "the response would replace the request '")) << result.errors;
        EXPECT_EQ(Read(file), request);
        EXPECT_EQ(Zel({L"status", L"a.drq", L"--json"}).Objects()[0]["status"], 4) << "not requested";
    }
    EXPECT_EQ(Zel({L"send", file, L"--move", L"-o", file}).code, 0) << "it goes before its response comes";
    EXPECT_EQ(Read(file), EchoResponse("x"));
    StopServer(server);
}

TEST_F(SendCommandTest, NameReplacesTheFilesOwn)
{
    const std::wstring file = InHome(L"notes.txt");
    Write(file, "x");
    EXPECT_EQ(Zel({L"send", file, L"--name", L"b.XML"}).code, 0);
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"b.XML"});
}

TEST_F(SendCommandTest, ClientDirectoryIsUsedAndLeftEmpty)
{
    // The user's file lies in it under the request's name: it must not be taken for the copy.
    const std::wstring file = MakeEcho(L"a.drq", L"hello");
    EXPECT_EQ(Zel({L"send", file, L"--client-dir", m_strHome}).code, 0);
    EXPECT_TRUE(platform::PathExists(file));
    EXPECT_TRUE(platform::PathExists(InRequests(L"a.drq")));
    ExpectNothingLeftOver();
}

TEST_F(SendCommandTest, WaitsAndTakesTheResponse)
{
    CRunningProgram server = StartServer();
    const std::wstring response = InHome(L"response.xml");
    const SProgramResult result = Zel({L"send", MakeEcho(L"a.drq", L"hello"), L"-o", response});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(Read(response), EchoResponse("hello"));
    EXPECT_TRUE(Contains(result.output, "a.drq: Done")) << result.output;
    EXPECT_TRUE(Contains(result.errors, "a.drq: Done")) << result.errors;
    EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    ExpectNothingLeftOver();
    StopServer(server);
}

TEST_F(SendCommandTest, WaitAloneLeavesTheResponseToReceive)
{
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"hello"), L"--wait", L"-q"}).code, 0);
    EXPECT_EQ(FilesIn(m_strOutput), (std::vector<std::wstring>{L"a.drq", L"a.drq.status"}));
    StopServer(server);
}

TEST_F(SendCommandTest, ProgressIsOneLinePerChange)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeRequest(L"s.drq", L"Type=\"Sleep\" Milliseconds=\"1000\" Steps=\"4\"");
    const SProgramResult result = Zel({L"send", file, L"--wait"});
    EXPECT_EQ(result.code, 0) << result.errors;
    for (const char* line : {"s.drq: GettingData 25 % step 1 of 4\n", "s.drq: GettingData 50 % step 2 of 4\n",
                             "s.drq: GettingData 75 % step 3 of 4\n"})
        EXPECT_TRUE(Contains(result.errors, line)) << result.errors;
    EXPECT_FALSE(Contains(result.errors, "\r")) << "a bar, and no terminal";
    StopServer(server);
}

TEST_F(SendCommandTest, QuietSaysNothing)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = Zel({L"send", MakeEcho(L"a.drq", L"x"), L"-o", InHome(L"out"), L"--quiet"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output + result.errors, "");
    StopServer(server);
}

TEST_F(SendCommandTest, FailedRequestEndsWithCode3AndFreesItsName)
{
    CRunningProgram server = StartServer();
    const std::wstring file = MakeRequest(L"f.drq", L"Type=\"FailObtain\" Text=\"no such thing\"");
    for (int round = 0; round < 2; ++round) {
        const SProgramResult result = Zel({L"send", file, L"-o", InHome(L"out"), L"--json"});
        EXPECT_EQ(result.code, 3) << result.errors;
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["status"], 1);
        EXPECT_FALSE(platform::PathExists(InHome(L"out")));
        EXPECT_EQ(FilesIn(m_strOutput), std::vector<std::wstring>());
    }
    StopServer(server);
}

TEST_F(SendCommandTest, NameInUseIsRefusedWhereverItsFileIs)
{
    const std::wstring file = MakeEcho(L"a.drq", L"new");
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    for (const std::wstring& path :
         {InRequests(L"a.drq"), InQueue(L"a.drq"), InOutput(L"a.drq"), InOutput(L"a.drq.status")}) {
        Write(path, "old");
        const SProgramResult result = Zel({L"send", L"--move", file, L"--json"});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, "is in use")) << result.errors;
        const bool hasEnded = path == InOutput(L"a.drq") || path == InOutput(L"a.drq.status");
        EXPECT_TRUE(Contains(result.errors, hasEnded ? "or 'zel forget a.drq', or send with --unique or another --name."
                                                     : "'zel wait a.drq', or send with --unique or another --name."))
            << result.errors;
        ASSERT_EQ(result.Objects().size(), 1U);
        EXPECT_EQ(result.Objects()[0]["status"], 0);
        EXPECT_TRUE(Contains(result.Objects()[0]["comment"].get<std::string>(), "is in use"));
        EXPECT_EQ(Read(path), "old");
        EXPECT_TRUE(platform::PathExists(file));
        ASSERT_EQ(platform::Files().Remove(path), platform::eOsError_None);
        ExpectNothingLeftOver();
    }
}

TEST_F(SendCommandTest, OfClientsThatSendOneNameExactlyOneSucceeds)
{
    std::vector<CRunningProgram> clients;
    for (int index = 0; index < 6; ++index)
        clients.push_back(StartZel(
            {L"send", MakeEcho(std::to_wstring(index) + L".drq", std::to_wstring(index)), L"--name", L"same.drq"}));
    int sent = -1;
    for (int index = 0; index < 6; ++index) {
        const SProgramResult result = clients[static_cast<std::size_t>(index)].Finish();
        EXPECT_TRUE(result.code == 0 || result.code == 1) << result.errors;
        if (result.code == 0) {
            EXPECT_EQ(sent, -1);
            sent = index;
        }
    }
    ASSERT_NE(sent, -1);
    EXPECT_EQ(Read(InRequests(L"same.drq")), Read(InHome(std::to_wstring(sent) + L".drq")));
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>{L"same.drq"});
    ExpectNothingLeftOver();
}

TEST_F(SendCommandTest, SeveralFilesAreSentAndTheFirstFailureIsTheCode)
{
    CRunningProgram server = StartServer();
    const std::wstring target = m_root / L"responses";
    ASSERT_EQ(platform::Files().MakeDirectory(target), platform::eOsError_None);
    const SProgramResult result = Zel({L"send", MakeEcho(L"a.drq", L"A"), MakeRequest(L"f.drq", L"Type=\"FailObtain\""),
                                       InHome(L"missing.drq"), MakeEcho(L"b.xml", L"B"), L"-o", target, L"--json"});
    EXPECT_EQ(result.code, 3) << result.errors;
    EXPECT_EQ(result.Objects().size(), 4U);
    EXPECT_EQ(Read(platform::JoinPath(target, L"a.drq")), EchoResponse("A"));
    EXPECT_EQ(Read(platform::JoinPath(target, L"b.xml")), EchoResponse("B"));
    EXPECT_EQ(FilesIn(target).size(), 2U);
    StopServer(server);
}

TEST_F(SendCommandTest, UsageErrorsSendNothing)
{
    const std::wstring good = MakeEcho(L"a.drq", L"x");
    Write(InHome(L"notes.txt"), "x");
    const std::vector<std::vector<std::wstring>> mistakes = {
        {L"send", good, InHome(L"notes.txt")},
        {L"send", good, L"--name", L"a.txt"},
        {L"send", good, L"--name", L"../a.drq"},
        {L"send", good, L"--name", std::wstring(260, L'a') + L".drq"},
        {L"send", good, MakeEcho(L"b.drq", L"x"), L"--name", L"c.drq"},
        {L"send", good, good},
        {L"send", good, MakeEcho(L"b.drq", L"x"), L"-o", InHome(L"no-directory")},
    };
    for (const std::vector<std::wstring>& arguments : mistakes) {
        const SProgramResult result = Zel(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    }
}

TEST_F(SendCommandTest, WhatIsNoReadableFileIsAClientError)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InHome(L"folder.drq")), platform::eOsError_None);
    for (const auto& [file, text] : {std::pair{L"missing.drq", "missing.drq"}, std::pair{L"folder.drq", "directory"}}) {
        const SProgramResult result = Zel({L"send", InHome(file)});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, text)) << result.errors;
    }
    ExpectNothingLeftOver();
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
}

TEST_F(SendCommandTest, EmptyFileEndsInAnErrorAndTheServerGoesOn)
{
    CRunningProgram server = StartServer();
    Write(InHome(L"empty.drq"), "");
    const SProgramResult result = Zel({L"send", InHome(L"empty.drq"), L"--wait", L"--json"});
    EXPECT_EQ(result.code, 3) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_FALSE(result.Objects()[0]["comment"].get<std::string>().empty());
    ExpectServed(L"next.drq");
    StopServer(server);
}

TEST_F(SendCommandTest, UnusualNamesAreServed)
{
    CRunningProgram server = StartServer();
    ExpectServed(L"with some blanks.drq");
    ExpectServed(L"\u010d\u00e1p \u6f22\u5b57.drq");
    // The DOM of Windows takes no path of more than 259 characters.
    ExpectServed(std::wstring(testsupport::IsWine() ? 120 : 196, L'n') + L".drq");
    ExpectServed(L"-dash & 'quote'.XML");
    // Wine's DOM takes a path for an address and decodes what looks encoded in it.
    if (!testsupport::IsWine())
        ExpectServed(L"percent %20.drq");
    StopServer(server);
}

TEST_F(SendCommandTest, TimeoutEndsWithCode7AndLeavesTheRequest)
{
    CRunningProgram server = StartServer();
    const SProgramResult result = Zel({L"send", MakeGate(L"g.drq"), L"--wait", L"--timeout", L"0.2", L"--json"});
    EXPECT_EQ(result.code, 7) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "goes on")) << result.errors;
    ASSERT_EQ(result.Objects().size(), 1U);
    EXPECT_NE(result.Objects()[0]["status"], 13);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    StopServer(server);
}

TEST_F(SendCommandTest, AResponseThatSomebodyHoldsOpenIsWaitedForInTimeAndUntilTheStop)
{
    for (const bool isStopped : {false, true}) {
        std::vector<std::wstring> arguments = {L"send", MakeEcho(L"a.drq", L"x"), L"-o", InHome(L"out.xml")};
        if (!isStopped)
            arguments.insert(arguments.end(), {L"--timeout", L"1"});
        CRunningProgram client = StartZel(arguments);
        // Here the test is the server.
        ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InRequests(L"a.drq")); }));
        Write(InOutput(L"a.drq"), "<Response/>");
        std::unique_ptr<platform::IFile> holder;
        ASSERT_EQ(platform::Files().Open(InOutput(L"a.drq"), platform::eOpenMode_ReadShared, holder),
                  platform::eOsError_None);
        Write(InOutput(L"a.drq.status"), platform::ToUtf16Le(L"13\r\n"));
        ASSERT_TRUE(WaitUntil([&] { return platform::Succeeded(platform::Files().Remove(InRequests(L"a.drq"))); }));
        if (isStopped) {
            ASSERT_TRUE(client.WaitForErrors("a.drq: Done"));
            client.Process().RequestStop();
        }
        const SProgramResult result = client.Finish();
        EXPECT_EQ(result.code, isStopped ? 130 : 7) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "a.drq' is in use")) << result.errors;
        EXPECT_FALSE(platform::PathExists(InHome(L"out.xml")));
        EXPECT_TRUE(platform::PathExists(InOutput(L"a.drq.status")));
        holder.reset();
        EXPECT_EQ(Zel({L"receive", L"a.drq", InHome(L"out.xml")}).code, 0) << "it is still there";
        EXPECT_EQ(platform::Files().Remove(InHome(L"out.xml")), platform::eOsError_None);
    }
}

} // namespace
