#include "platform/FileHolders.h"

#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

// Two sources: the table of locks, which tells of everybody's, and the open files of the processes that this user may
// look into. Both are asked by name alone; nothing of a stranger's is opened.

namespace platform {
namespace posix {
namespace {

constexpr std::size_t kMaxHolders = 5;
/// For the callers serve others: what is not found by then is not told.
constexpr std::chrono::milliseconds kLongestSearch{20};
/// Of the clock on the wall, for a thread that has to wait for a processor.
constexpr std::chrono::milliseconds kLongestDelay{500};

/// This thread's time on a processor: on a busy machine it is put aside for longer than it may search.
std::chrono::nanoseconds ProcessorTime()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

struct SDeadline {
    std::chrono::nanoseconds processor = ProcessorTime() + kLongestSearch;
    std::chrono::steady_clock::time_point wall = std::chrono::steady_clock::now() + kLongestDelay;
};

bool IsOver(const SDeadline& end)
{
    return ProcessorTime() >= end.processor || std::chrono::steady_clock::now() >= end.wall;
}

using Directory = std::unique_ptr<DIR, int (*)(DIR*)>;

/// The number that a text begins with and ends with; 0 for none.
long NumberOf(const char* text)
{
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return *end == '\0' && number > 0 ? number : 0;
}

std::string LinkText(int directory, const char* name)
{
    char buffer[4096];
    const ssize_t length = readlinkat(directory, name, buffer, sizeof buffer);
    return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
}

/// Lines such as "1: FLOCK  ADVISORY  WRITE 1234 fd:00:5678 0 EOF".
void AddLockers(const struct stat& status, const SDeadline& end, std::set<long>& processes)
{
    std::ifstream locks("/proc/locks");
    std::string line;
    while (!IsOver(end) && std::getline(locks, line)) {
        std::istringstream fields(line);
        std::string number, kind, advisory, access, process, file;
        fields >> number >> kind >> advisory >> access >> process >> file;
        unsigned major = 0;
        unsigned minor = 0;
        unsigned long long inode = 0;
        char colon = 0;
        std::istringstream(file) >> std::hex >> major >> colon >> minor >> colon >> std::dec >> inode;
        if (inode == status.st_ino && makedev(major, minor) == status.st_dev) {
            if (const long id = NumberOf(process.c_str()); id != 0)
                processes.insert(id);
        }
    }
}

void AddOpeners(const std::string& realPath, const SDeadline& end, std::set<long>& processes)
{
    const Directory all(opendir("/proc"), &closedir);
    while (const dirent* const entry = all ? readdir(all.get()) : nullptr) {
        const long id = NumberOf(entry->d_name);
        if (id == 0 || processes.size() >= kMaxHolders)
            continue;
        const Directory files(opendir(("/proc/" + std::to_string(id) + "/fd").c_str()), &closedir);
        while (const dirent* const file = files ? readdir(files.get()) : nullptr) {
            if (IsOver(end))
                return;
            if (file->d_name[0] != '.' && LinkText(dirfd(files.get()), file->d_name) == realPath)
                processes.insert(id);
        }
    }
}

std::wstring NameOf(long process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    // Whoever holds the file chose it.
    std::ranges::replace_if(
        name, [](char letter) { return letter < ' ' || letter > '~'; }, '?');
    return {name.begin(), name.end()};
}

} // namespace
} // namespace posix

std::wstring FileHolders(const std::wstring& path)
{
    const posix::CNativePath native(path);
    struct stat status = {};
    std::string realPath;
    {
        // Gives no access, and so waits for nobody. Closed before the walk, which would find it.
        const posix::CDescriptor descriptor(open(native.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (!descriptor || fstat(descriptor.Get(), &status) != 0)
            return {};
        realPath = posix::LinkText(AT_FDCWD, ("/proc/self/fd/" + std::to_string(descriptor.Get())).c_str());
    }
    std::set<long> processes;
    const posix::SDeadline end;
    posix::AddLockers(status, end, processes);
    if (!realPath.empty() && processes.size() < posix::kMaxHolders)
        posix::AddOpeners(realPath, end, processes);
    std::wstring text;
    std::size_t count = 0;
    for (const long process : processes) {
        if (++count > posix::kMaxHolders)
            break;
        const std::wstring name = posix::NameOf(process);
        text += (text.empty() ? L"process " : L", process ") + std::to_wstring(process);
        text += name.empty() ? L"" : L" (" + name + L")";
    }
    return text;
}

} // namespace platform
