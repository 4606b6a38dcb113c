#include "platform/Process.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace platform {
namespace {

using namespace std::chrono_literals;
constexpr auto kSoon = 60s;

int Echo(const std::vector<std::wstring>& arguments)
{
    for (const std::wstring& argument : arguments)
        testsupport::TellParent(L"[" + argument + L"]");
    testsupport::TellParent(Environment(L"ZEL_TEST_CHILD"));
    WriteConsoleText(eStream_Error, L"to the error stream \u20ac\n");
    return 3;
}
const testsupport::CChildPart echoPart(L"process-echo", &Echo);

int WaitAround(const std::vector<std::wstring>&)
{
    testsupport::TellParent(L"ready");
    while (testsupport::WaitForParent())
        testsupport::TellParent(L"a line came");
    return 5;
}
const testsupport::CChildPart waitPart(L"process-wait", &WaitAround);

int BurnTime(const std::vector<std::wstring>&)
{
    const auto end = Clock().Steady() + 300ms;
    volatile unsigned work = 0;
    while (Clock().Steady() < end)
        work = work + 1;
    testsupport::TellParent(L"burnt");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart burnPart(L"process-burn", &BurnTime);

int UseMemory(const std::vector<std::wstring>& arguments)
{
    const std::string memory(static_cast<std::size_t>(std::stoul(arguments[0])), 'x');
    testsupport::TellParent(memory.back() == 'x' ? L"used" : L"?");
    testsupport::WaitForParent();
    return 0;
}
const testsupport::CChildPart memoryPart(L"process-memory", &UseMemory);

/// Tells its input, and where it works.
int ReadInput(const std::vector<std::wstring>&)
{
    std::wstring line;
    while (testsupport::ReadFromParent(line))
        testsupport::TellParent(L"[" + line + L"]");
    return WriteWholeFile(L"made here", "x") == eOsError_None ? 0 : 9;
}
const testsupport::CChildPart inputPart(L"process-input", &ReadInput);

/// Writes to an output that nobody reads any more, and survives it.
int WriteIntoTheVoid(const std::vector<std::wstring>&)
{
    testsupport::TellParent(L"ready");
    testsupport::WaitForParent();
    const std::wstring chunk(1000, L'x');
    for (int i = 0; i < 10'000; ++i) {
        if (!WriteConsoleText(eStream_Output, chunk))
            return 11;
    }
    return 12;
}
const testsupport::CChildPart voidPart(L"process-void", &WriteIntoTheVoid);

int TellTerminal(const std::vector<std::wstring>&)
{
    testsupport::TellParent((IsTerminal(eStream_Output) ? L"terminal, " : L"no terminal, ") +
                            std::to_wstring(TerminalWidth(eStream_Output)));
    return 0;
}
const testsupport::CChildPart terminalPart(L"console-terminal", &TellTerminal);

TEST(ProcessTest, ArgumentsArriveAsTheyAre)
{
    const std::vector<std::wstring> arguments = {L"plain",          L"with space",        L"",
                                                 L"quote\"inside",  L"back\\slash\\",     L"\\\"",
                                                 L"$HOME %PATH% *", L"\u20ac \U0001F600", L"tab\there"};
    auto child = testsupport::StartChild(L"process-echo", arguments);
    for (const std::wstring& argument : arguments)
        EXPECT_TRUE(testsupport::WaitForChild(child, L"[" + argument + L"]")) << ToUtf8(argument);
    EXPECT_TRUE(testsupport::WaitForChild(child, L"")) << "the variable";
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(ProcessTest, VariablesAreAddedToTheInheritedOnes)
{
    SetEnvironment(L"ZEL_TEST_CHILD", L"inherited");
    auto heir = testsupport::StartChild(L"process-echo", {});
    EXPECT_TRUE(testsupport::WaitForChild(heir, L"inherited"));
    SProcessOptions options;
    options.environment = {{L"ZEL_TEST_CHILD", L"own \u20ac"}};
    auto child = testsupport::StartChild(L"process-echo", {}, options);
    EXPECT_TRUE(testsupport::WaitForChild(child, L"own \u20ac"));
    SetEnvironment(L"ZEL_TEST_CHILD", L"");
    EXPECT_EQ(testsupport::FinishChild(heir), 3);
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(ProcessTest, ErrorsGoToAFile)
{
    const testsupport::CTemporaryDirectory directory;
    SProcessOptions options;
    options.errorFile = directory / L"errors.txt";
    ASSERT_EQ(WriteWholeFile(options.errorFile, std::string(1000, 'o')), eOsError_None);
    auto child = testsupport::StartChild(L"process-echo", {}, options);
    EXPECT_EQ(testsupport::FinishChild(child), 3);
    std::string errors;
    ASSERT_EQ(ReadWholeFile(options.errorFile, eOpenMode_ReadShared, errors, 10'000), eOsError_None);
    EXPECT_EQ(errors, "to the error stream \xE2\x82\xAC\n");
}

TEST(ProcessTest, LinesGoBackAndForth)
{
    auto child = testsupport::StartChild(L"process-wait", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"ready"));
    std::wstring line;
    EXPECT_FALSE(child.ReadLine(line, 20ms)) << "nothing yet";
    int exitCode = -1;
    EXPECT_FALSE(child.Wait(0ms, exitCode));
    EXPECT_FALSE(child.Wait(20ms, exitCode));
    EXPECT_TRUE(child.WriteLine(L"one"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"a line came"));
    EXPECT_NE(child.Id(), 0U);
    EXPECT_NE(child.Id(), CurrentProcessId());
    child.CloseInput();
    EXPECT_FALSE(child.WriteLine(L"two"));
    EXPECT_TRUE(child.Wait(kSoon, exitCode));
    EXPECT_EQ(exitCode, 5);
    EXPECT_TRUE(child.Wait(0ms, exitCode)) << "it stays ended";
    EXPECT_FALSE(child.ReadLine(line, kSoon)) << "the end of the output";
}

TEST(ProcessTest, TheWholeOutputAtOnce)
{
    auto child = testsupport::StartChild(L"process-echo", {L"one", L"two"});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"[one]"));
    const std::string rest = child.ReadAll(kSoon);
    EXPECT_EQ(rest.find("[two]"), 0U) << rest;
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(ProcessTest, SomeOfTheOutputComesAsSoonAsItIsThere)
{
    auto child = testsupport::StartChild(L"process-wait", {});
    std::string output;
    const auto waitFor = [&](std::size_t length) {
        while (output.size() < length)
            ASSERT_EQ(child.ReadSome(output, kSoon), eProcessOutput_Data);
    };
    waitFor(6);
    EXPECT_TRUE(output.starts_with("ready"));
    EXPECT_EQ(child.ReadSome(output, 0ms), eProcessOutput_None);
    EXPECT_TRUE(child.WriteLine(L"go on"));
    waitFor(output.size() + 11);
    EXPECT_NE(output.find("a line came"), std::string::npos);
    child.CloseInput();
    while (child.ReadSome(output, kSoon) == eProcessOutput_Data) {
    }
    EXPECT_EQ(child.ReadSome(output, 0ms), eProcessOutput_Ended);
    EXPECT_EQ(testsupport::FinishChild(child), 5);
}

TEST(ProcessTest, AChildReadsTheFileAndWorksInTheFolderThatItIsTold)
{
    const testsupport::CTemporaryDirectory folder;
    ASSERT_EQ(WriteWholeFile(folder / L"input", "one\ntwo\n"), eOsError_None);
    ASSERT_EQ(Files().MakeDirectory(folder / L"work"), eOsError_None);
    SProcessOptions options;
    options.pipeOutput = true;
    options.inputFile = folder / L"input";
    options.folder = folder / L"work";
    CProcess child;
    ASSERT_EQ(child.Start(ProgramPath(), testsupport::ChildArguments(L"process-input", {}), options), eOsError_None);
    EXPECT_TRUE(testsupport::WaitForChild(child, L"[one]"));
    EXPECT_TRUE(testsupport::WaitForChild(child, L"[two]"));
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    EXPECT_TRUE(PathExists(folder / L"work/made here"));
}

TEST(ProcessTest, WithoutItsInputOrFolderNothingStarts)
{
    const testsupport::CTemporaryDirectory folder;
    SProcessOptions options;
    options.inputFile = folder / L"missing";
    CProcess child;
    EXPECT_NE(child.Start(ProgramPath(), {}, options), eOsError_None);
    options.inputFile.clear();
    options.folder = folder / L"missing";
    EXPECT_NE(child.Start(ProgramPath(), {}, options), eOsError_None);
}

TEST(ProcessTest, WhatDoesNotExistDoesNotStart)
{
    const testsupport::CTemporaryDirectory directory;
    CProcess child;
    EXPECT_EQ(child.Start(directory / L"none", {}), eOsError_FileNotFound);
    EXPECT_EQ(child.Id(), 0U);
    int exitCode = 0;
    EXPECT_FALSE(child.Wait(0ms, exitCode));
    EXPECT_EQ(child.CpuTime(), 0ns);
    EXPECT_EQ(child.PeakMemory(), 0U);
}

TEST(ProcessTest, AKilledChildEndsAtOnce)
{
    auto child = testsupport::StartChild(L"process-wait", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    child.Kill();
    int exitCode = 0;
    EXPECT_TRUE(child.Wait(kSoon, exitCode));
    EXPECT_NE(exitCode, 0);
    EXPECT_NE(exitCode, 5);
}

TEST(ProcessTest, TheEndOfTheObjectIsTheEndOfTheChild)
{
    const testsupport::CTemporaryDirectory directory;
    const std::wstring path = directory / L"held.lock";
    CProcess child = testsupport::StartChild(L"lock-hold", {path});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"held"));
    CProcess moved = std::move(child);
    EXPECT_NE(moved.Id(), 0U);
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Files().OpenLockFile(path, "", lock), eOsError_SharingViolation) << "it lives";
    moved = CProcess();
    EXPECT_EQ(moved.Id(), 0U);
    EXPECT_EQ(Files().OpenLockFile(path, "", lock), eOsError_None) << "and what it held is free with the object's end";
}

TEST(ProcessTest, ProcessorTimeIsMeasuredWhileItRunsAndAfterwards)
{
    auto child = testsupport::StartChild(L"process-burn", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"burnt"));
    // It burns 300 ms of elapsed time; on a loaded machine it gets less of the processor.
    const auto running = child.CpuTime();
    EXPECT_GE(running, 30ms);
    EXPECT_LE(running, 30s);
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    // The system may count in steps of a hundredth of a second while it runs.
    EXPECT_GE(child.CpuTime(), running - 20ms);
}

TEST(ProcessTest, PeakMemoryIsMeasuredWhileItRunsAndAfterwards)
{
    constexpr std::uint64_t used = 60'000'000;
    auto child = testsupport::StartChild(L"process-memory", {std::to_wstring(used)});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"used"));
    const auto running = child.PeakMemory();
    EXPECT_GE(running, used);
    EXPECT_LE(running, used + 1'000'000'000);
    EXPECT_EQ(testsupport::FinishChild(child), 0);
    EXPECT_GE(child.PeakMemory(), used);
}

TEST(ProcessTest, WritingToNobodyFailsAndDoesNotKill)
{
    auto child = testsupport::StartChild(L"process-wait", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    child.Kill();
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(kSoon, exitCode));
    EXPECT_FALSE(child.WriteLine(std::wstring(100'000, L'x')));
}

TEST(ProcessTest, ManyChildrenAtOnceKeepTheirOwnPipes)
{
    // A child that inherited another one's pipe would keep it from being closed.
    std::array<CProcess, 4> children;
    for (CProcess& child : children)
        child = testsupport::StartChild(L"process-wait", {});
    for (CProcess& child : children)
        ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    for (CProcess& child : children)
        EXPECT_EQ(testsupport::FinishChild(child), 5);
}

TEST(ConsoleTest, AProgramWithAPipeHasNoTerminalButAWidth)
{
    auto child = testsupport::StartChild(L"console-terminal", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"no terminal, 80"));
    EXPECT_EQ(testsupport::FinishChild(child), 0);
}

TEST(ConsoleTest, ALongOutputIsReadWhole)
{
    auto child = testsupport::StartChild(L"process-void", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"ready"));
    EXPECT_TRUE(child.WriteLine(L"go"));
    EXPECT_EQ(child.ReadAll(kSoon).size(), 10'000'000U);
    EXPECT_EQ(testsupport::FinishChild(child), 12);
}

TEST(ConsoleTest, NobodyListensForServiceStates)
{
    SetEnvironment(L"NOTIFY_SOCKET", L"");
    EXPECT_FALSE(NotifyServiceManager("READY=1"));
}

} // namespace
} // namespace platform
