#pragma once

#include "platform/Process.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

/// Second processes for tests: the test program started again, told by its first argument which part it plays.
///
///     int HoldFile(const std::vector<std::wstring>& arguments) { ...; TellParent(L"held"); WaitForParent(); return 0;
///     } const testsupport::CChildPart part(L"hold-file", &HoldFile);
///
///     TEST(...) { auto child = testsupport::StartChild(L"hold-file", {path}); ASSERT_TRUE(WaitForChild(child,
///     L"held")); }
///
/// A child that nobody asks to end any more ends by itself: its input is closed when its parent goes.
namespace testsupport {

/// What a child does; the result is its exit code.
using ChildPart = int (*)(const std::vector<std::wstring>& arguments);

/// Makes a part known under a name. For objects at namespace scope.
class CChildPart {
public:
    CChildPart(const wchar_t* name, ChildPart part);
};

/// For the main function: plays the part when the arguments ask for one; the result is the exit code then.
[[nodiscard]] std::optional<int> RunAsChild(const std::vector<std::wstring>& arguments);

/// Starts this program in a part, with pipes to its input and from its output. A failure to start fails the test.
[[nodiscard]] platform::CProcess StartChild(const wchar_t* name, const std::vector<std::wstring>& arguments,
                                            platform::SProcessOptions options = {});

/// Starts a program, under Wine once more if it was lost at its start. A failure to start fails the test.
[[nodiscard]] platform::CProcess StartProgram(const std::wstring& path, const std::vector<std::wstring>& arguments,
                                              const platform::SProcessOptions& options);

/// Reads the child's next line; true when it is this one. Waits long enough for a loaded machine.
[[nodiscard]] testing::AssertionResult WaitForChild(platform::CProcess& child, const std::wstring& line);

/// Closes the child's input, waits for its end and gives its exit code; -1 when it does not end.
[[nodiscard]] int FinishChild(platform::CProcess& child);

/// In the child: one line to the parent.
void TellParent(const std::wstring& line);
/// In the child: waits for a line of the parent; false when the parent closed the pipe.
bool WaitForParent();
[[nodiscard]] bool ReadFromParent(std::wstring& line);

/// The program's own arguments that make it play a part, for tests that start it in their own way.
[[nodiscard]] std::vector<std::wstring> ChildArguments(const wchar_t* name, const std::vector<std::wstring>& arguments);

} // namespace testsupport
