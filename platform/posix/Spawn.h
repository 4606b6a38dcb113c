#pragma once

#include "platform/Process.h"
#include "platform/posix/Descriptor.h"

#include <spawn.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace platform::posix {

struct SPipe {
    CDescriptor read;
    CDescriptor write;

    bool Open();
};

/// The inherited variables with the given ones set.
[[nodiscard]] std::vector<std::string> MergedEnvironment(const SProcessOptions& options);

/// What the child does before it becomes the program.
class CSpawnSetup {
public:
    CSpawnSetup();
    ~CSpawnSetup();
    CSpawnSetup(const CSpawnSetup&) = delete;
    CSpawnSetup& operator=(const CSpawnSetup&) = delete;

    void Redirect(int from, int to);
    void ReadFromFile(int to, const std::string& path);
    void RedirectToFile(int to, const std::string& path);
    void ChangeFolder(const std::string& path);
    /// It gets a session of its own, and with it a group.
    void BeginSession();

    /// 0 or an errno.
    [[nodiscard]] int Spawn(const std::string& program, std::vector<std::string> arguments,
                            std::vector<std::string> environment, pid_t& id) const;

private:
    posix_spawn_file_actions_t m_actions = {};
    posix_spawnattr_t m_attributes = {};
};

} // namespace platform::posix
