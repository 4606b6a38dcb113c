#include "platform/posix/Spawn.h"

#include "platform/Text.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace platform::posix {
namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

bool SPipe::Open()
{
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    read.Reset(ends[0]);
    write.Reset(ends[1]);
    return true;
}

std::vector<std::string> MergedEnvironment(const SProcessOptions& options)
{
    std::map<std::string, std::string, std::less<>> variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::size_t equals = text.find('=');
        variables.insert_or_assign(std::string(text.substr(0, equals)), std::string(text));
    }
    for (const auto& [name, value] : options.environment) {
        const std::string narrow = ToUtf8(name);
        variables.insert_or_assign(narrow, narrow + "=" + ToUtf8(value));
    }
    std::vector<std::string> merged;
    for (auto& [name, entry] : variables)
        merged.push_back(std::move(entry));
    return merged;
}

CSpawnSetup::CSpawnSetup()
{
    posix_spawn_file_actions_init(&m_actions);
    posix_spawnattr_init(&m_attributes);
    // A program that fetches its signals has them blocked, and would leave a child deaf that does not. What it
    // ignores, the child would ignore, too.
    sigset_t none;
    sigemptyset(&none);
    sigset_t ordinary = none;
    for (const int number : {SIGCHLD, SIGPIPE, SIGTERM, SIGINT, SIGUSR1, SIGXFSZ})
        sigaddset(&ordinary, number);
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setsigdefault(&m_attributes, &ordinary);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

CSpawnSetup::~CSpawnSetup()
{
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
}

void CSpawnSetup::Redirect(int from, int to)
{
    posix_spawn_file_actions_adddup2(&m_actions, from, to);
}

void CSpawnSetup::ReadFromFile(int to, const std::string& path)
{
    posix_spawn_file_actions_addopen(&m_actions, to, path.c_str(), O_RDONLY, 0);
}

void CSpawnSetup::RedirectToFile(int to, const std::string& path)
{
    posix_spawn_file_actions_addopen(&m_actions, to, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
}

void CSpawnSetup::ChangeFolder(const std::string& path)
{
    posix_spawn_file_actions_addchdir_np(&m_actions, path.c_str());
}

void CSpawnSetup::BeginSession()
{
    short flags = 0;
    posix_spawnattr_getflags(&m_attributes, &flags);
    posix_spawnattr_setflags(&m_attributes, static_cast<short>(flags | POSIX_SPAWN_SETSID));
}

int CSpawnSetup::Spawn(const std::string& program, std::vector<std::string> arguments,
                       std::vector<std::string> environment, pid_t& id) const
{
    return posix_spawnp(&id, program.c_str(), &m_actions, &m_attributes, Pointers(arguments).data(),
                        Pointers(environment).data());
}

} // namespace platform::posix
