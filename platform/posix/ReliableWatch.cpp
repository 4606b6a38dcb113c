#include "platform/ReliableWatch.h"

#include "platform/Text.h"
#include "platform/posix/FileSystemTypes.h"
#include "platform/posix/NativePath.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/vfs.h>

namespace platform {
namespace {

constexpr std::array kFromOutside = {
    posix::kNfs,     posix::kSmb, posix::kCifs, posix::kSmb2, posix::k9p,    posix::kFuse,   posix::kCeph,
    posix::kOpenAfs, posix::kAfs, posix::kCoda, posix::kGfs2, posix::kOcfs2, posix::kLustre, posix::kVirtualBox,
};

/// Of a line of mountinfo: where it is mounted, and as what. Blanks in a path are written in octal there, which no
/// directory of ours is taken for.
bool ReadMount(const std::string& line, std::string& place, std::string& type)
{
    std::istringstream words(line);
    std::string word;
    for (int i = 0; i < 4; ++i)
        words >> word;
    words >> place;
    while (words >> word && word != "-") {
    }
    return static_cast<bool>(words >> type);
}

} // namespace

bool IsChangedFromOutside(const std::wstring& directory)
{
    const posix::CNativePath native(directory);
    struct statfs status = {};
    return Succeeded(native.Check()) && statfs(native.c_str(), &status) == 0 &&
           std::ranges::find(kFromOutside, static_cast<std::uint32_t>(status.f_type)) != kFromOutside.end();
}

std::wstring FileSystemName(const std::wstring& directory)
{
    const posix::CNativePath native(directory);
    std::array<char, PATH_MAX> path = {};
    if (!Succeeded(native.Check()) || realpath(native.c_str(), path.data()) == nullptr)
        return {};
    const std::string inside = std::string(path.data()) + "/";
    std::ifstream mounts("/proc/self/mountinfo");
    std::string best;
    std::string name;
    std::string place;
    std::string type;
    for (std::string line; std::getline(mounts, line);) {
        if (!ReadMount(line, place, type))
            continue;
        // The last one of a place lies over those before.
        const std::string folder = place == "/" ? place : place + "/";
        if (inside.starts_with(folder) && folder.size() >= best.size()) {
            best = folder;
            name = type;
        }
    }
    return FromUtf8(name);
}

} // namespace platform
