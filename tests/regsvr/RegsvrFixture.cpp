#include "tests/regsvr/RegsvrFixture.h"

#include "platform/Module.h"
#include "platform/Path.h"
#include "tests/support/Predicates.h"

#include <filesystem>

namespace {

std::wstring Guarded(const std::wstring& path)
{
    using std::filesystem::perms;
    constexpr perms more = perms::group_write | perms::others_write;
    for (const std::wstring& own : {path, platform::DirectoryOf(path)})
        std::filesystem::permissions(testsupport::StandardPath(own), more, std::filesystem::perm_options::remove);
    return path;
}

} // namespace

CRegsvrFixture::CRegsvrFixture() = default;

CRegsvrFixture::~CRegsvrFixture()
{
    for (std::vector<std::wstring>& arguments : m_registered) {
        arguments.insert(arguments.begin(), L"-u");
        EXPECT_EQ(Regsvr(arguments).code, 0);
    }
}

platform::SProcessOptions CRegsvrFixture::Environment() const
{
    platform::SProcessOptions options;
    // Where each system has its configuration folders; a variable that it does not know does no harm.
    options.environment = {{L"ZEL_CONFIG_DIR", m_root / L"system"},
                           {L"XDG_CONFIG_HOME", m_root / L"user"},
                           {L"LOCALAPPDATA", m_root / L"user"}};
    return options;
}

SProgramResult CRegsvrFixture::Regsvr(const std::vector<std::wstring>& arguments) const
{
    return RunProgram(L"zel-regsvr", arguments, Environment());
}

SProgramResult CRegsvrFixture::Register(const std::wstring& module, const std::wstring& scope)
{
    m_registered.push_back({scope, module});
    return Regsvr({scope, module});
}

std::wstring CRegsvrFixture::UsedScope()
{
    return testsupport::IsWine() ? L"--system" : L"--user";
}

std::string CRegsvrFixture::List() const
{
    const SProgramResult result = Regsvr({L"--list"});
    EXPECT_EQ(result.errors, "");
    return result.output;
}

std::wstring CRegsvrFixture::Module(const std::wstring& name)
{
    std::wstring path = platform::DirectoryOf(platform::ProgramPath());
    std::size_t start = 0;
    for (std::size_t end = 0; end != std::wstring::npos; start = end + 1) {
        end = name.find(L'/', start);
        path = platform::JoinPath(path, name.substr(start, end - start));
    }
    return Guarded(path + platform::ModuleExtension());
}

std::wstring CRegsvrFixture::Library()
{
    const std::wstring windows =
        platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"ZEL_Processor.dll");
    return platform::PathExists(windows) ? windows : Module(L"libZEL_Processor");
}
