#pragma once

#include "platform/FileSystem.h"
#include "platform/Process.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Long enough for a loaded machine that emulates; a passing test never waits this long.
constexpr std::chrono::seconds kPatience{60};

/// What a program left when it ended.
struct SProgramResult {
    int code = -1;
    std::string output;
    std::string errors;

    /// The objects of the output, one per line. A line that is none fails the test.
    [[nodiscard]] std::vector<nlohmann::json> Objects() const;
};

/// A program that runs beside the test, named by its path or as a program beside this one. Killed at the end when it
/// still runs.
class CRunningProgram {
public:
    CRunningProgram(const std::wstring& name, const std::vector<std::wstring>& arguments,
                    platform::SProcessOptions options = {});

    [[nodiscard]] platform::CProcess& Process() { return m_process; }
    [[nodiscard]] std::string Errors() const;
    /// Waits until this stands in the errors; false when the time is over.
    [[nodiscard]] bool WaitForErrors(const std::string& text) const;
    /// Waits for the end.
    [[nodiscard]] SProgramResult Finish();

private:
    std::unique_ptr<testsupport::CTemporaryDirectory> m_pScratch;
    std::wstring m_strErrorFile;
    platform::CProcess m_process;
};

/// Runs the real programs on directories of the test's own, with the plug-in that has the tasks for tests.
class CProgramTest : public testing::Test {
protected:
    CProgramTest();
    ~CProgramTest() override;

    [[nodiscard]] static SProgramResult RunProgram(const std::wstring& name, const std::vector<std::wstring>& arguments,
                                                   platform::SProcessOptions options = {});
    /// The client tool, which finds the directories in its environment.
    [[nodiscard]] SProgramResult Zel(const std::vector<std::wstring>& arguments) const;
    [[nodiscard]] CRunningProgram StartZel(const std::vector<std::wstring>& arguments) const;
    /// The arguments of a server, without the plug-in.
    [[nodiscard]] std::vector<std::wstring> DirectoryArguments() const;
    /// A server that is expected to end by itself.
    [[nodiscard]] SProgramResult ServerResult(const std::vector<std::wstring>& arguments) const;
    /// The same with a copy of the program that no plug-ins lie beside.
    [[nodiscard]] SProgramResult LonelyServerResult(const std::vector<std::wstring>& arguments) const;
    /// Copies the server program into a folder; the result is its path, and what it needs to run there.
    [[nodiscard]] static std::wstring CopyServer(const std::wstring& folder, platform::SProcessOptions& options);
    /// A server that is ready when this returns; anything else fails the test.
    [[nodiscard]] CRunningProgram StartServer(const std::vector<std::wstring>& extra = {},
                                              platform::SProcessOptions options = {}) const;
    /// Stops a server without a running request; the exit code must be 0.
    static void StopServer(CRunningProgram& server);

    /// A request file in the user's own directory; the result is its path.
    [[nodiscard]] std::wstring MakeRequest(const std::wstring& name, const std::wstring& taskAttributes) const;
    [[nodiscard]] std::wstring MakeEcho(const std::wstring& name, const std::wstring& text) const;
    /// A request that stands at a gate: Gate(name) is created to open it, and is entered when EnteredGate says so.
    [[nodiscard]] std::wstring MakeGate(const std::wstring& name) const;
    [[nodiscard]] std::wstring Gate(const std::wstring& name) const;
    [[nodiscard]] bool WaitUntilAtGate(const std::wstring& name) const;

    [[nodiscard]] std::wstring InRequests(const std::wstring& name) const;
    [[nodiscard]] std::wstring InQueue(const std::wstring& name) const;
    [[nodiscard]] std::wstring InOutput(const std::wstring& name) const;
    [[nodiscard]] std::wstring InHome(const std::wstring& name) const;

    /// Makes a component folder of the user's own directory, with a plug-in that makes the server's system fail.
    void MakeFailingSystem() const;

    static void Write(const std::wstring& path, const std::string& bytes);
    [[nodiscard]] static std::string Read(const std::wstring& path);
    /// Names of the files in a directory, in order.
    [[nodiscard]] static std::vector<std::wstring> FilesIn(const std::wstring& directory);

    testsupport::CTemporaryDirectory m_root;
    std::wstring m_strRequests; ///< the server's request directory
    std::wstring m_strOutput;   ///< its output directory
    std::wstring m_strHome;     ///< where the user's files are
};

/// Looks again and again until the condition holds; false when it does not in time.
[[nodiscard]] bool WaitUntil(const std::function<bool()>& condition);

/// Tells a server that runs by hand to go on, in the way of this system. The server's input must be a pipe.
[[nodiscard]] bool RequestStep(platform::CProcess& server);

/// The response of the echo task.
[[nodiscard]] std::string EchoResponse(const std::string& text);
/// The folder with the manifest of the tasks for tests.
[[nodiscard]] std::wstring TestPlugins();
[[nodiscard]] bool Contains(const std::string& text, const std::string& part);
