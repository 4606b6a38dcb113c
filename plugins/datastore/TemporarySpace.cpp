#include "plugins/datastore/TemporarySpace.h"

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <string>

namespace temporaryspace {

namespace {

std::atomic<std::int64_t> g_limit = kUsualBytes;
std::atomic<std::int64_t> g_used = 0;
thread_local bool t_exceeded = false; // of the thread whose statement it is: others may have better luck

bool Take(std::int64_t bytes)
{
    if (g_used.fetch_add(bytes) + bytes <= g_limit)
        return true;
    g_used -= bytes;
    t_exceeded = true;
    return false;
}

/// A temporary file; the file of SQLite's own file system lies behind it in memory.
struct SFile {
    sqlite3_file base;
    std::int64_t size;

    [[nodiscard]] static SFile& Of(sqlite3_file* file) { return *reinterpret_cast<SFile*>(file); }
    [[nodiscard]] static sqlite3_file* OwnOf(sqlite3_file* file)
    {
        return reinterpret_cast<sqlite3_file*>(&Of(file) + 1);
    }
};

template <auto kMethod, class... Arguments>
int Forward(sqlite3_file* file, Arguments... arguments)
{
    sqlite3_file* own = SFile::OwnOf(file);
    return (own->pMethods->*kMethod)(own, arguments...);
}

int Close(sqlite3_file* file)
{
    g_used -= SFile::Of(file).size;
    return Forward<&sqlite3_io_methods::xClose>(file);
}

int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    const std::int64_t more = std::max<std::int64_t>(offset + count - SFile::Of(file).size, 0);
    if (more != 0 && !Take(more))
        return SQLITE_FULL;
    SFile::Of(file).size += more; // after a failure as well: some of it may be there
    return Forward<&sqlite3_io_methods::xWrite>(file, bytes, count, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size)
{
    const int result = Forward<&sqlite3_io_methods::xTruncate>(file, size);
    if (result == SQLITE_OK && size < SFile::Of(file).size) {
        g_used -= SFile::Of(file).size - size;
        SFile::Of(file).size = size;
    }
    return result;
}

// Version 1: temporary files need neither shared memory nor a view.
constexpr sqlite3_io_methods kMethods = {.iVersion = 1,
                                         .xClose = &Close,
                                         .xRead = &Forward<&sqlite3_io_methods::xRead, void*, int, sqlite3_int64>,
                                         .xWrite = &Write,
                                         .xTruncate = &Truncate,
                                         .xSync = &Forward<&sqlite3_io_methods::xSync, int>,
                                         .xFileSize = &Forward<&sqlite3_io_methods::xFileSize, sqlite3_int64*>,
                                         .xLock = &Forward<&sqlite3_io_methods::xLock, int>,
                                         .xUnlock = &Forward<&sqlite3_io_methods::xUnlock, int>,
                                         .xCheckReservedLock = &Forward<&sqlite3_io_methods::xCheckReservedLock, int*>,
                                         .xFileControl = &Forward<&sqlite3_io_methods::xFileControl, int, void*>,
                                         .xSectorSize = &Forward<&sqlite3_io_methods::xSectorSize>,
                                         .xDeviceCharacteristics =
                                             &Forward<&sqlite3_io_methods::xDeviceCharacteristics>,
                                         .xShmMap = nullptr,
                                         .xShmLock = nullptr,
                                         .xShmBarrier = nullptr,
                                         .xShmUnmap = nullptr,
                                         .xFetch = nullptr,
                                         .xUnfetch = nullptr};

/// SQLite's own file system, but for the temporary files, which all are to vanish when they are closed.
class CFileSystem {
public:
    CFileSystem() : m_pOwn(sqlite3_vfs_find(nullptr)), m_system(*m_pOwn)
    {
        // Another module may have the same in the same SQLite, and this one may be unloaded before it.
        m_strName = "zel-" + std::to_string(reinterpret_cast<std::uintptr_t>(this));
        m_system.zName = m_strName.c_str();
        m_system.pNext = nullptr;
        m_system.szOsFile = static_cast<int>(sizeof(SFile)) + m_pOwn->szOsFile;
        m_system.xOpen = &Open;
        m_bGood = sqlite3_vfs_register(&m_system, 0) == SQLITE_OK;
    }
    ~CFileSystem() { sqlite3_vfs_unregister(&m_system); }
    CFileSystem(const CFileSystem&) = delete;
    CFileSystem& operator=(const CFileSystem&) = delete;

    [[nodiscard]] static CFileSystem& Get()
    {
        static CFileSystem system;
        return system;
    }
    [[nodiscard]] const char* Name() const { return m_bGood ? m_strName.c_str() : nullptr; }

private:
    static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flagsThen)
    {
        sqlite3_vfs* own = Get().m_pOwn;
        if ((flags & SQLITE_OPEN_DELETEONCLOSE) == 0)
            return own->xOpen(own, name, file, flags, flagsThen);
        SFile::Of(file) = {.base = {.pMethods = nullptr}, .size = 0};
        SFile::OwnOf(file)->pMethods = nullptr;
        const int result = own->xOpen(own, name, SFile::OwnOf(file), flags, flagsThen);
        if (SFile::OwnOf(file)->pMethods != nullptr) // also after a failure: it is to be closed then
            file->pMethods = &kMethods;
        return result;
    }

    sqlite3_vfs* const m_pOwn;
    sqlite3_vfs m_system;
    std::string m_strName;
    bool m_bGood = false;
};

} // namespace

void SetLimit(std::int64_t bytes)
{
    g_limit = bytes;
    t_exceeded = false;
}

std::int64_t Limit()
{
    return g_limit;
}

std::int64_t Used()
{
    return g_used;
}

bool WasExceeded()
{
    return t_exceeded;
}

const char* FileSystem()
{
    return CFileSystem::Get().Name();
}

} // namespace temporaryspace
