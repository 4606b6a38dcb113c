#include "bench/BenchRows.h"

#include "bench/BenchDirectories.h"
#include "bench/BenchError.h"
#include "bench/PairRows.h"
#include "bench/Part.h"
#include "bench/Report.h"
#include "bench/Side.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Thread.h"

#include <algorithm>
#include <exception>

using std::chrono::nanoseconds;

namespace {

constexpr std::size_t kQueuedForPeak = 100000;

/// Percent of one core.
double Percent(nanoseconds cpu, nanoseconds time)
{
    return 100.0 * static_cast<double>(cpu.count()) / static_cast<double>(time.count());
}

} // namespace

CBenchRows::CBenchRows(const SBenchOptions& options)
    : m_options(options),
      m_root(platform::JoinPath(options.directory, L"zel-bench-" + std::to_wstring(platform::CurrentProcessId())))
{
    Check(platform::Files().MakeDirectory(m_root), L"make the directory " + m_root);
}

CBenchRows::~CBenchRows()
{
    try {
        RemoveTree(m_root);
    } catch (const std::exception& exception) {
        TellProgress(std::string("left behind: ") + exception.what());
    }
}

void CBenchRows::Run(SBenchResult& result)
{
    // Short rounds that take turns: a machine that does something else meanwhile hits both sides.
    const SShape shapes[] = {
        {"round-trip", "serial", m_options.Count(200), 10, kLibraryServer},
        {"round-trip-resume", "serial", m_options.Count(200), 10, kResumingServer},
        {"burst-1000", "burst", m_options.Count(1000), 5, kLibraryServer},
        {"burst-1000-resume", "burst", m_options.Count(1000), 5, kResumingServer},
        {"burst-10000", "burst", m_options.Count(10000), 2, kLibraryServer},
        {"burst-100000", "burst", m_options.Count(100000), 1, kLibraryServer},
        {"status-write", "status-write", m_options.Count(5000), 10, nullptr},
        {"status-read", "status-read", m_options.Count(5000), 10, nullptr},
    };
    for (const bool syncing : m_options.syncing) {
        for (const SShape& shape : shapes) {
            if (m_options.Wants(shape.name))
                RunRow(shape, syncing, result);
        }
    }
    RunPairRows(m_options, m_root, result);
    if (m_options.Wants("burst-100000"))
        MeasurePeak(m_options.Count(kQueuedForPeak), result);
    if (m_options.Wants("idle"))
        MeasureIdle(result);
}

void CBenchRows::RunRow(const SShape& shape, bool syncing, SBenchResult& result)
{
    TellProgress(std::string(shape.name) + (syncing ? ", syncing" : ""));
    SBenchRow row;
    row.name = shape.name;
    row.syncing = syncing;
    row.hasServer = shape.server != nullptr;
    CSide library({Root(L"library"), shape.server, kLibraryClient, syncing, m_options.components});
    CSide bare({Root(L"bare"), row.hasServer ? kBareServer : nullptr, kBareClient, syncing, m_options.components});
    if (!row.hasServer) {
        // The file to read must be there.
        CSeries ignored;
        library.Measure("status-write", 1, ignored);
        bare.Measure("status-write", 1, ignored);
    }
    for (std::size_t round = 0; round < shape.rounds * m_options.repeat; ++round) {
        library.Measure(shape.command, shape.count, row.library);
        bare.Measure(shape.command, shape.count, row.bare);
    }
    if (row.hasServer)
        result.serverPeakBytes = std::max(result.serverPeakBytes, library.Server().PeakMemory());
    result.rows.push_back(std::move(row));
}

void CBenchRows::MeasurePeak(std::size_t requests, SBenchResult& result)
{
    // A server that runs nothing: the requests are then all queued at once, whoever is faster.
    TellProgress("memory");
    CSide side({Root(L"memory"), kHoldingServer, kLibraryClient, false, m_options.components});
    CSeries ignored;
    side.Measure("queue", requests, ignored);
    result.serverPeakBytes = std::max(result.serverPeakBytes, side.Server().PeakMemory());
}

void CBenchRows::MeasureIdle(SBenchResult& result)
{
    TellProgress("idle");
    CSide idle({Root(L"idle"), kLibraryServer, nullptr, false, m_options.components});
    // The listener waits for a request that a server of its own keeps in the queue.
    CSide waiting({Root(L"waiting"), kHoldingServer, kLibraryClient, false, m_options.components});
    // One second more than what is measured: it must still listen at the end.
    waiting.StartListening(m_options.idle + std::chrono::seconds(1));
    const nanoseconds start = platform::Clock().Steady();
    const nanoseconds server = idle.Server().CpuTime();
    const nanoseconds client = waiting.Client().CpuTime();
    platform::Clock().SleepFor(m_options.idle);
    const nanoseconds time = platform::Clock().Steady() - start;
    result.idleServerPercent = Percent(idle.Server().CpuTime() - server, time);
    result.idleClientPercent = Percent(waiting.Client().CpuTime() - client, time);
    waiting.FinishListening();
}

std::wstring CBenchRows::Root(const std::wstring& name) const
{
    return platform::JoinPath(m_root, name);
}
