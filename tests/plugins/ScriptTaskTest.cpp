#include <ZEL_Processor/ZelTaskHarness.h>

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/StandardPath.h"
#include "platform/Text.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>

using namespace plugintest;

namespace {

int Answer(const std::vector<std::wstring>& arguments)
{
    const std::string request{std::istreambuf_iterator<char>(std::cin), {}};
    testsupport::TellParent(L"progress 25 reading");
    testsupport::TellParent(L"progress 75");
    const std::wstring response = L"<Response><Type>" + platform::Environment(L"ZEL_TASK_TYPE") + L"</Type><Folder>" +
                                  platform::FromUtf8(std::filesystem::current_path().string()) + L"</Folder>" +
                                  platform::FromUtf8(request) + L"</Response>";
    std::filesystem::create_directories("a/b/c/d");
    if (arguments[0] == L"output")
        testsupport::TellParent(response);
    else if (!platform::Succeeded(
                 platform::WriteWholeFile(platform::Environment(L"ZEL_RESPONSE"), platform::ToUtf8(response))))
        return 9;
    return 0;
}
const testsupport::CChildPart answerPart(L"script-answer", &Answer);

/// Goes on when somebody has seen how far it is.
int WaitAtGate(const std::vector<std::wstring>& arguments)
{
    testsupport::TellParent(L"progress 25 reading");
    if (!testsupport::WaitUntil([&] { return platform::PathExists(arguments[0]); }))
        return 9;
    testsupport::TellParent(L"progress 75");
    testsupport::TellParent(L"<Response/>");
    return 0;
}
const testsupport::CChildPart gatePart(L"script-gate", &WaitAtGate);

int Complain(const std::vector<std::wstring>&)
{
    platform::WriteConsoleText(platform::eStream_Error, L"first\nno disk here\n");
    return 3;
}
const testsupport::CChildPart complainPart(L"script-complain", &Complain);

int WriteMuch(const std::vector<std::wstring>& arguments)
{
    const platform::eStream stream = arguments[0] == L"errors" ? platform::eStream_Error : platform::eStream_Output;
    const std::wstring megabyte(1024 * 1024, L'x');
    while (platform::WriteConsoleText(stream, megabyte)) {
    }
    return 0;
}
const testsupport::CChildPart muchPart(L"script-much", &WriteMuch);

/// Holds a lock file until somebody ends it.
int Hold(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<platform::ILockFile> lock;
    if (!platform::Succeeded(platform::Files().OpenLockFile(arguments[0], {}, lock)))
        return 9;
    testsupport::TellParent(L"progress 1");
    platform::SystemClock().SleepFor(std::chrono::minutes(10));
    return 0;
}
const testsupport::CChildPart holdPart(L"script-hold", &Hold);

class ScriptTask : public testing::Test {
protected:
    /// The module reads its configuration once in a process.
    static void SetUpTestSuite()
    {
        s_pFolder = new testsupport::CTemporaryDirectory;
        nlohmann::json tasks;
        const auto add = [&](const char* type, const wchar_t* part, const std::vector<std::wstring>& arguments) {
            nlohmann::json command = {platform::ToUtf8(platform::ProgramPath())};
            for (const std::wstring& word : testsupport::ChildArguments(part, arguments))
                command.push_back(platform::ToUtf8(word));
            tasks[type] = {{"command", command}};
        };
        add("Output", L"script-answer", {L"output"});
        add("File", L"script-answer", {L"file"});
        tasks["File"]["response"] = "file";
        add("Gate", L"script-gate", {GatePath()});
        add("Complain", L"script-complain", {});
        add("MuchOutput", L"script-much", {L"output"});
        tasks["MuchOutput"]["responseLimit"] = 2;
        add("MuchErrors", L"script-much", {L"errors"});
        add("Hold", L"script-hold", {LockPath()});
        add("Silent", L"script-answer", {L"output"});
        tasks["Silent"]["response"] = "file";
        tasks["Missing"] = {{"command", {"no-such-program-anywhere"}}};
        const std::wstring path = *s_pFolder / L"script-tasks.json";
        ASSERT_EQ(platform::WriteWholeFile(path, nlohmann::json{{"tasks", tasks}}.dump()), platform::eOsError_None);
        platform::SetEnvironment(L"ZEL_SCRIPT_TASKS", path);
    }
    static void TearDownTestSuite()
    {
        platform::SetEnvironment(L"ZEL_SCRIPT_TASKS", L"");
        delete s_pFolder;
        s_pFolder = nullptr;
    }
    void SetUp() override
    {
        const std::wstring folder = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"plugins");
        CString error;
        ASSERT_TRUE(m_harness.LoadModule(
            platform::JoinPath(folder, std::wstring(L"zel_script") + platform::ModuleExtension()), error));
    }
    [[nodiscard]] static std::wstring GatePath() { return *s_pFolder / L"gate"; }
    [[nodiscard]] static std::wstring LockPath() { return *s_pFolder / L"held"; }
    [[nodiscard]] SZelTaskRun Run(const std::string& type)
    {
        return m_harness.RunText("<Request><Task Type=\"" + type +
                                 "\"><Text>four &lt; five \xC3\xA4</Text></Task></Request>");
    }
    [[nodiscard]] static std::string ResponseOf(const SZelTaskRun& run)
    {
        std::string response;
        EXPECT_EQ(platform::ReadWholeFile(run.responsePath, platform::eOpenMode_ReadShared, response, 1 << 20),
                  platform::eOsError_None);
        return response;
    }
    [[nodiscard]] static CString ReasonOf(const SZelTaskRun& run)
    {
        EXPECT_EQ(run.status, eRequestStatus_ServerError);
        EXPECT_EQ(run.objectsLeft, 0);
        const CString before = L"Server error: ";
        EXPECT_TRUE(run.comment.starts_with(before));
        return run.comment.substr(std::min(before.size(), run.comment.size()));
    }

    static testsupport::CTemporaryDirectory* s_pFolder;
    CZelTaskHarness m_harness;
};
testsupport::CTemporaryDirectory* ScriptTask::s_pFolder = nullptr;

} // namespace

TEST_F(ScriptTask, TheRequestIsTheProgramsInputAndWhatItWritesIsTheResponse)
{
    for (const char* const type : {"Output", "File"}) {
        const SZelTaskRun run = Run(type);
        ASSERT_EQ(run.status, eRequestStatus_Done) << platform::ToUtf8(run.comment);
        const std::string response = ResponseOf(run);
        EXPECT_EQ(ElementOf(response, "Type"), type);
        EXPECT_EQ(ElementOf(response, "Text"), "four &lt; five \xC3\xA4");
        EXPECT_EQ(run.objectsLeft, 0);
    }
}

TEST_F(ScriptTask, TheProgressOfTheProgramIsToldWhileItRuns)
{
    bool isTold = false;
    m_harness.SetOnProgress([&](const SZelTaskRun& now) {
        if (now.percent == 25 && now.comment == L"reading") {
            EXPECT_EQ(platform::WriteWholeFile(GatePath(), ""), platform::eOsError_None);
        }
        isTold = isTold || (now.percent == 75 && now.comment == L"reading");
    });
    EXPECT_EQ(Run("Gate").status, eRequestStatus_Done);
    EXPECT_TRUE(isTold);
}

TEST_F(ScriptTask, TheProgramWorksInAFolderOfItsOwnThatGoesWithIt)
{
    const std::string response = ResponseOf(Run("Output"));
    const std::wstring folder = platform::FromUtf8(ElementOf(response, "Folder"));
    EXPECT_NE(folder, L"");
    EXPECT_FALSE(platform::PathExists(folder));
    EXPECT_FALSE(platform::PathExists(platform::DirectoryOf(folder)));
}

TEST_F(ScriptTask, AnExitCodeIsAFailureThatHasTheErrorsOfTheProgram)
{
    EXPECT_EQ(ReasonOf(Run("Complain")), L"The program of the task ended with exit code 3: first\nno disk here");
}

TEST_F(ScriptTask, AProgramThatIsNotThereIsNamed)
{
    const CString reason = ReasonOf(Run("Missing"));
    EXPECT_TRUE(reason.starts_with(L"The program of the task ended with exit code 127: ")) << platform::ToUtf8(reason);
    EXPECT_NE(reason.find(L"no-such-program-anywhere"), CString::npos);
}

TEST_F(ScriptTask, AProgramThatWritesNoResponseHasFailed)
{
    EXPECT_EQ(ReasonOf(Run("Silent")), L"The program of the task ended without a response.");
}

TEST_F(ScriptTask, WhatGrowsBeyondItsLimitIsTheEndOfTheProgram)
{
    EXPECT_EQ(ReasonOf(Run("MuchOutput")), L"The program of the task wrote a response of more than 2 MiB.");
    EXPECT_TRUE(
        ReasonOf(Run("MuchErrors")).starts_with(L"The program of the task wrote more than 16 MiB of errors: x"));
}

TEST_F(ScriptTask, ACancelEndsTheProgram)
{
    CTestContext context;
    m_harness.SetContext(&context);
    m_harness.SetOnProgress([&](const SZelTaskRun& now) { context.SetCanceled(now.percent == 1); });
    EXPECT_EQ(Run("Hold").status, eRequestStatus_Canceled);
    std::unique_ptr<platform::ILockFile> lock;
    EXPECT_EQ(platform::Files().OpenLockFile(LockPath(), {}, lock), platform::eOsError_None);
}

TEST_F(ScriptTask, ATypeThatTheFileDoesNotNameIsNotTaken)
{
    EXPECT_EQ(Run("Unknown").status, eRequestStatus_ServerError);
}
