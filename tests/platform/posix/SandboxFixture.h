#pragma once

#include "platform/Containment.h"
#include "platform/Process.h"
#include "platform/Sandbox.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace platform {

/// What is not as it should be, in the child; 1 to count it.
inline int Answer(const std::string& what, bool isTrue)
{
    testsupport::TellParent(std::wstring(what.begin(), what.end()) + (isTrue ? L": yes" : L": no"));
    return 1;
}

/// Runs children in a sandbox.
class CSandboxFixture : public testing::Test {
protected:
    /// The exit code of a child in the sandbox, and what it had to say.
    [[nodiscard]] int Run(const wchar_t* part, const SSandbox& sandbox, const std::vector<std::wstring>& arguments = {})
    {
        SProcessOptions options;
        options.containment = SContainment{0, 0, sandbox};
        // Its end would be looked at by a tracer.
        options.environment = {{L"LSAN_OPTIONS", L"detect_leaks=0"}};
        CProcess child = testsupport::StartChild(part, arguments, options);
        m_strSaid = child.ReadAll(std::chrono::minutes(1));
        int code = -1;
        EXPECT_TRUE(child.Wait(std::chrono::minutes(1), code));
        return code;
    }

    const testsupport::CTemporaryDirectory m_root;
    std::string m_strSaid;
};

} // namespace platform
