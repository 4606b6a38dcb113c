#include "tests/support/ChildProcess.h"

#include "platform/Module.h"
#include "platform/Text.h"
#include "tests/support/Predicates.h"

#include <iostream>
#include <map>

namespace testsupport {
namespace {

constexpr wchar_t kSwitch[] = L"--play-part";
constexpr std::chrono::seconds kPatience{60};
/// On a busy machine Wine loses a process now and then before its first instruction: an "internal error".
constexpr auto kLostAtItsStart = static_cast<platform::eOsError>(1359);

std::map<std::wstring, ChildPart>& Parts()
{
    static std::map<std::wstring, ChildPart> parts;
    return parts;
}

} // namespace

CChildPart::CChildPart(const wchar_t* name, ChildPart part)
{
    Parts().emplace(name, part);
}

std::optional<int> RunAsChild(const std::vector<std::wstring>& arguments)
{
    if (arguments.size() < 2 || arguments[0] != kSwitch)
        return std::nullopt;
    const auto part = Parts().find(arguments[1]);
    if (part == Parts().end()) {
        platform::WriteConsoleText(platform::eStream_Error, L"No such part: " + arguments[1] + L"\n");
        return 99;
    }
    return part->second({arguments.begin() + 2, arguments.end()});
}

std::vector<std::wstring> ChildArguments(const wchar_t* name, const std::vector<std::wstring>& arguments)
{
    std::vector<std::wstring> all = {kSwitch, name};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

platform::CProcess StartChild(const wchar_t* name, const std::vector<std::wstring>& arguments,
                              platform::SProcessOptions options)
{
    options.pipeInput = true;
    options.pipeOutput = true;
    return StartProgram(platform::ProgramPath(), ChildArguments(name, arguments), options);
}

platform::CProcess StartProgram(const std::wstring& path, const std::vector<std::wstring>& arguments,
                                const platform::SProcessOptions& options)
{
    platform::CProcess process;
    platform::eOsError error = process.Start(path, arguments, options);
    for (int again = 0; again < 2 && IsWine() && error == kLostAtItsStart; ++again) {
        std::cout << "The program did not start, once more" << std::endl;
        error = process.Start(path, arguments, options);
    }
    EXPECT_EQ(error, platform::eOsError_None) << platform::ToUtf8(path);
    return process;
}

testing::AssertionResult WaitForChild(platform::CProcess& child, const std::wstring& line)
{
    std::wstring read;
    if (!child.ReadLine(read, kPatience))
        return testing::AssertionFailure() << "nothing came; what is left: " << child.ReadAll(std::chrono::seconds(1));
    if (read != line)
        return testing::AssertionFailure() << "the child said: " << platform::ToUtf8(read);
    return testing::AssertionSuccess();
}

int FinishChild(platform::CProcess& child)
{
    child.CloseInput();
    int exitCode = -1;
    return child.Wait(kPatience, exitCode) ? exitCode : -1;
}

void TellParent(const std::wstring& line)
{
    platform::WriteConsoleText(platform::eStream_Output, line + L"\n");
}

bool WaitForParent()
{
    std::wstring line;
    return ReadFromParent(line);
}

bool ReadFromParent(std::wstring& line)
{
    std::string bytes;
    if (!std::getline(std::cin, bytes))
        return false;
    line = platform::FromUtf8(bytes);
    return true;
}

} // namespace testsupport
