#include "platform/LastWords.h"

#include "platform/Text.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::last_words {
namespace {

std::array<char, PATH_MAX> g_folder = {}; // empty without one
uid_t g_owner = 0;

bool WriteAll(int descriptor, const CFixedText& text)
{
    const char* rest = text.Get();
    std::size_t left = text.Length();
    while (left > 0) {
        const ssize_t written = posix::Uninterrupted([&] { return write(descriptor, rest, left); });
        if (written <= 0)
            return false;
        rest += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace

void KeepFolder(const std::wstring& folder)
{
    const std::string narrow = ToUtf8(folder);
    // Links on the way are followed now, and at the end none is.
    if (realpath(narrow.c_str(), g_folder.data()) == nullptr) {
        g_folder = {};
        if (narrow.size() < g_folder.size())
            narrow.copy(g_folder.data(), g_folder.size() - 1);
    }
    struct stat status = {};
    g_owner = stat(g_folder.data(), &status) == 0 ? status.st_uid : geteuid();
}

void WriteError(const CFixedText& text)
{
    static_cast<void>(WriteAll(STDERR_FILENO, text));
}

bool WriteFile(const char* name, const CFixedText& text, CFixedText& where)
{
    if (g_folder[0] == '\0')
        return false;
    mkdir(g_folder.data(), S_IRWXU); // something that cleans up may have found it empty
    const int folder = open(g_folder.data(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat status = {};
    if (folder < 0 || fstat(folder, &status) != 0 || status.st_uid != g_owner)
        return false;
    const int file = openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    where.Add(g_folder.data());
    where.Add("/");
    where.Add(name);
    return file >= 0 && WriteAll(file, text); // what is open goes with the process
}

void AddPlace(std::uintptr_t address, CFixedText& text)
{
    dl_find_object found = {};
    if (_dl_find_object(reinterpret_cast<void*>(address), &found) != 0)
        return;
    const char* const path = found.dlfo_link_map->l_name;
    const char* const name = std::strrchr(path, '/');
    text.Add(name != nullptr ? name + 1 : "program");
    text.Add("+0x");
    text.AddNumber(address - found.dlfo_link_map->l_addr, 16);
}

} // namespace platform::last_words
