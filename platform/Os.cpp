#include "platform/Os.h"

#include <atomic>

namespace platform {
namespace {

// Null stands for the system's own, so that nothing depends on the order in which modules are initialised.
std::atomic<IFileSystem*> g_files{nullptr};
std::atomic<IClock*> g_clock{nullptr};
std::atomic<IThreads*> g_threads{nullptr};

} // namespace

IFileSystem& Files()
{
    IFileSystem* const files = g_files.load(std::memory_order_acquire);
    return files != nullptr ? *files : SystemFiles();
}

IClock& Clock()
{
    IClock* const clock = g_clock.load(std::memory_order_acquire);
    return clock != nullptr ? *clock : SystemClock();
}

IThreads& Threads()
{
    IThreads* const threads = g_threads.load(std::memory_order_acquire);
    return threads != nullptr ? *threads : SystemThreads();
}

CScopedOs::CScopedOs(IFileSystem* files, IClock* clock, IThreads* threads)
    : m_pOldFiles(g_files.load()), m_pOldClock(g_clock.load()), m_pOldThreads(g_threads.load())
{
    if (files != nullptr) {
        g_files.store(files, std::memory_order_release);
    }
    if (clock != nullptr) {
        g_clock.store(clock, std::memory_order_release);
    }
    if (threads != nullptr) {
        g_threads.store(threads, std::memory_order_release);
    }
}

CScopedOs::~CScopedOs()
{
    g_files.store(m_pOldFiles, std::memory_order_release);
    g_clock.store(m_pOldClock, std::memory_order_release);
    g_threads.store(m_pOldThreads, std::memory_order_release);
}

} // namespace platform
