#include "tests/apps/ProgramFixture.h"

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "com/Components.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/ChildProcess.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace {

constexpr std::size_t kMaxFile = 16 << 20;

std::wstring ProgramFile(const std::wstring& name)
{
    if (!platform::IsPlainFileName(name))
        return name;
    // Beside this test, and with the same extension, if the system has one.
    const std::wstring self = platform::ProgramPath();
    const std::wstring extension = platform::EqualsNoCase(platform::ExtensionOf(self), L".exe") ? L".exe" : L"";
    return platform::JoinPath(platform::DirectoryOf(self), name + extension);
}

platform::SProcessOptions ToolEnvironment(const std::wstring& requests, const std::wstring& output)
{
    platform::SProcessOptions options;
    options.environment = {{L"ZEL_REQUEST_DIR", requests}, {L"ZEL_OUTPUT_DIR", output}, {L"ZEL_CLIENT_DIR", L""}};
    return options;
}

} // namespace

std::vector<nlohmann::json> SProgramResult::Objects() const
{
    std::vector<nlohmann::json> objects;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(nlohmann::json::parse(line, nullptr, false));
        EXPECT_TRUE(objects.back().is_object()) << line;
    }
    return objects;
}

CRunningProgram::CRunningProgram(const std::wstring& name, const std::vector<std::wstring>& arguments,
                                 platform::SProcessOptions options)
    : m_pScratch(std::make_unique<testsupport::CTemporaryDirectory>()), m_strErrorFile(*m_pScratch / L"errors.txt")
{
    options.pipeOutput = true;
    options.errorFile = m_strErrorFile;
    // First, so that a test can set it: the last entry of a name counts.
    options.environment.insert(options.environment.begin(), {L"ZEL_COMPONENT_PATH", L""});
    m_process = testsupport::StartProgram(ProgramFile(name), arguments, options);
}

std::string CRunningProgram::Errors() const
{
    std::string bytes;
    static_cast<void>(platform::ReadWholeFile(m_strErrorFile, platform::eOpenMode_ReadShared, bytes, kMaxFile));
    std::erase(bytes, '\r');
    return bytes;
}

bool CRunningProgram::WaitForErrors(const std::string& text) const
{
    return WaitUntil([&] { return Contains(Errors(), text); });
}

SProgramResult CRunningProgram::Finish()
{
    SProgramResult result;
    result.output = m_process.ReadAll(kPatience);
    std::erase(result.output, '\r');
    EXPECT_TRUE(m_process.Wait(kPatience, result.code)) << "did not end; so far: " << Errors();
    result.errors = Errors();
    return result;
}

CProgramTest::CProgramTest()
    : m_strRequests(m_root / L"requests"), m_strOutput(m_root / L"output"), m_strHome(m_root / L"home")
{
    for (const std::wstring& directory : {m_strRequests, m_strOutput, m_strHome})
        EXPECT_EQ(platform::Files().MakeDirectory(directory), platform::eOsError_None);
}

CProgramTest::~CProgramTest() = default;

SProgramResult CProgramTest::RunProgram(const std::wstring& name, const std::vector<std::wstring>& arguments,
                                        platform::SProcessOptions options)
{
    return CRunningProgram(name, arguments, std::move(options)).Finish();
}

SProgramResult CProgramTest::Zel(const std::vector<std::wstring>& arguments) const
{
    return StartZel(arguments).Finish();
}

CRunningProgram CProgramTest::StartZel(const std::vector<std::wstring>& arguments) const
{
    return CRunningProgram(L"zel", arguments, ToolEnvironment(m_strRequests, m_strOutput));
}

std::vector<std::wstring> CProgramTest::DirectoryArguments() const
{
    return {L"--request-dir", m_strRequests, L"--output-dir", m_strOutput};
}

SProgramResult CProgramTest::ServerResult(const std::vector<std::wstring>& arguments) const
{
    return RunProgram(L"zel-server", arguments);
}

SProgramResult CProgramTest::LonelyServerResult(const std::vector<std::wstring>& arguments) const
{
    platform::SProcessOptions options;
    const std::wstring program = CopyServer(m_root / L"lonely", options);
    return RunProgram(program, arguments, std::move(options));
}

std::wstring CProgramTest::CopyServer(const std::wstring& folder, platform::SProcessOptions& options)
{
    const std::wstring original = ProgramFile(L"zel-server");
    std::wstring copy = platform::JoinPath(folder, platform::FileNameOf(original));
    std::error_code error;
    std::filesystem::create_directories(testsupport::StandardPath(folder), error);
    std::filesystem::copy_file(testsupport::StandardPath(original), testsupport::StandardPath(copy), error);
    EXPECT_FALSE(error) << error.message();
    // The libraries stay where they are; each system has a variable of its own for that.
    for (const wchar_t* variable : {L"LD_LIBRARY_PATH", L"PATH"})
        options.environment.emplace_back(variable, platform::DirectoryOf(original));
    return copy;
}

CRunningProgram CProgramTest::StartServer(const std::vector<std::wstring>& extra,
                                          platform::SProcessOptions options) const
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins()});
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    CRunningProgram server(L"zel-server", arguments, std::move(options));
    std::wstring line;
    EXPECT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
    EXPECT_EQ(platform::ToUtf8(line), "zel-server: ready");
    return server;
}

void CProgramTest::StopServer(CRunningProgram& server)
{
    server.Process().RequestStop();
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
}

std::wstring CProgramTest::MakeRequest(const std::wstring& name, const std::wstring& taskAttributes) const
{
    const std::wstring path = InHome(name);
    Write(path, platform::ToUtf8(L"<Request><Task " + taskAttributes + L"/></Request>"));
    return path;
}

std::wstring CProgramTest::MakeEcho(const std::wstring& name, const std::wstring& text) const
{
    return MakeRequest(name, L"Type=\"Echo\" Text=\"" + text + L"\"");
}

std::wstring CProgramTest::MakeGate(const std::wstring& name) const
{
    return MakeRequest(name, L"Type=\"Gate\" GateFile=\"" + Gate(name) + L"\"");
}

std::wstring CProgramTest::Gate(const std::wstring& name) const
{
    return InHome(name + L".gate");
}

bool CProgramTest::WaitUntilAtGate(const std::wstring& name) const
{
    return WaitUntil([&] { return platform::PathExists(Gate(name) + L".entered"); });
}

std::wstring CProgramTest::InRequests(const std::wstring& name) const
{
    return platform::JoinPath(m_strRequests, name);
}

std::wstring CProgramTest::InQueue(const std::wstring& name) const
{
    return platform::JoinPath(platform::JoinPath(m_strOutput, L"Queue"), name);
}

std::wstring CProgramTest::InOutput(const std::wstring& name) const
{
    return platform::JoinPath(m_strOutput, name);
}

std::wstring CProgramTest::InHome(const std::wstring& name) const
{
    return platform::JoinPath(m_strHome, name);
}

void CProgramTest::MakeFailingSystem() const
{
    constexpr CLSID id = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x02}};
    const std::wstring module =
        platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"broken-plugins/zel_failing_system") +
        platform::ModuleExtension();
    std::wstring error;
    const SComponentManifest manifest = {module, {{id, L"Failing system", {CATID_ZELProcessorFactory}}}};
    EXPECT_TRUE(WriteComponentManifest(InHome(L"failing.component"), manifest, error)) << platform::ToUtf8(error);
}

void CProgramTest::Write(const std::wstring& path, const std::string& bytes)
{
    EXPECT_EQ(platform::WriteWholeFile(path, bytes), platform::eOsError_None) << platform::ToUtf8(path);
}

std::string CProgramTest::Read(const std::wstring& path)
{
    std::string bytes;
    EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, kMaxFile), platform::eOsError_None)
        << platform::ToUtf8(path);
    return bytes;
}

std::vector<std::wstring> CProgramTest::FilesIn(const std::wstring& directory)
{
    std::vector<platform::SDirectoryEntry> entries;
    EXPECT_EQ(platform::Files().List(directory, entries), platform::eOsError_None);
    std::vector<std::wstring> names;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!entry.isDirectory)
            names.push_back(entry.name);
    }
    std::ranges::sort(names);
    return names;
}

bool WaitUntil(const std::function<bool()>& condition)
{
    const auto end = platform::SystemClock().Steady() + kPatience;
    while (!condition()) {
        if (platform::SystemClock().Steady() >= end)
            return false;
        platform::SystemClock().SleepFor(std::chrono::milliseconds(5));
    }
    return true;
}

std::string EchoResponse(const std::string& text)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Response>" + text + "</Response>\n";
}

std::wstring TestPlugins()
{
    return platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"test-plugins");
}

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
