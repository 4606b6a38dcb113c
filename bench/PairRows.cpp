#include "bench/PairRows.h"

#include "bench/BenchError.h"
#include "bench/Part.h"
#include "bench/Report.h"
#include "bench/RequestTask.h"
#include "bench/Side.h"
#include "platform/Path.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace {

/// Requests before the first round.
constexpr std::size_t kWarmUp = 20;

/// With which syncing a row is measured. Once: without, whatever is asked for.
enum eSyncing { eSyncing_Each, eSyncing_Once, eSyncing_Off, eSyncing_On };

struct SPlan {
    const char* row; ///< as the options name it
    const char* name;
    eFigure figure;
    std::optional<double> wanted;
    const wchar_t* subject;
    const wchar_t* base; ///< null: none
    const char* command;
    std::size_t count; ///< of requests in one round
    std::size_t rounds;
    std::string subjectTask;
    std::string baseTask;
    eSyncing syncing = eSyncing_Each;
};

/// Short rounds that take turns, as many as make a median that a busy moment does not move.
std::vector<SPlan> PlansOf(const SBenchOptions& options)
{
    const std::string compute = MeasuredComputeTask();
    std::vector<SPlan> plans;
    struct SSlots {
        const char* row;
        const wchar_t* server;
        const char* names[3];
        std::optional<double> compute;
        std::optional<double> sleep;
        std::optional<double> echo;
    };
    const SSlots slots[] = {
        {"slots-1", kOneSlotServer, {"slots-1-compute", "slots-1-sleep", "slots-1-echo"}, {}, {}, {}},
        {"slots-2", kTwoSlotsServer, {"slots-2-compute", "slots-2-sleep", "slots-2-echo"}, 1.85, {}, 0.97},
        {"slots-4", kFourSlotsServer, {"slots-4-compute", "slots-4-sleep", "slots-4-echo"}, {}, 3.8, 0.97},
    };
    const auto burst = [&](const char* row, const char* name, std::optional<double> wanted, const wchar_t* server,
                           const wchar_t* base, std::size_t count, const std::string& task) {
        plans.push_back({row, name, eFigure_RateRatio, wanted, server, base, "burst", count, 9, task, task});
    };
    for (const SSlots& some : slots) {
        burst(some.row, some.names[0], some.compute, some.server, kOneSlotServer, options.Count(200), compute);
        burst(some.row, some.names[1], some.sleep, some.server, kOneSlotServer, options.Count(200), kSleepTask);
        burst(some.row, some.names[2], some.echo, some.server, kOneSlotServer, options.Count(1000), kEchoTask);
    }
    plans.push_back({"isolated", "isolated-round-trip", eFigure_AddedP50, 80, kIsolatedServer, kLibraryServer, "serial",
                     options.Count(200), 9, kEchoTask, kEchoTask});
    burst("isolated", "isolated-burst", 0.7, kIsolatedServer, kLibraryServer, options.Count(1000), kEchoTask);
    burst("resume", "resume", 0.95, kResumingServer, kLibraryServer, options.Count(1000), kEchoTask);
    plans.back().syncing = eSyncing_Off;
    burst("resume-synced", "resume-synced", 0.9, kResumingServer, kLibraryServer, options.Count(1000), kEchoTask);
    plans.back().syncing = eSyncing_On;
    plans.push_back({"cancel-busy",
                     "cancel-busy",
                     eFigure_P99Of,
                     50000,
                     kFourSlotsServer,
                     nullptr,
                     "cancel",
                     options.Count(100),
                     5,
                     std::string(kComputeTask) + "0",
                     {},
                     eSyncing_Once});
    plans.push_back({"queue-100000", "queue-100000", eFigure_CpuRatio, 1.1, kQueueServer, kQueueServer, "held-burst",
                     options.Count(100000), 1, kMixedTask, kEchoTask, eSyncing_Once});
    return plans;
}

bool IsMeasuredWith(eSyncing syncing, bool isSyncing, const SBenchOptions& options)
{
    switch (syncing) {
    case eSyncing_Each: return true;
    case eSyncing_Once: return isSyncing == options.syncing.front();
    case eSyncing_Off: return !isSyncing;
    case eSyncing_On: return isSyncing;
    }
    return false;
}

double FigureOf(eFigure figure, const CSeries& subject, const CSeries& base)
{
    switch (figure) {
    case eFigure_RateRatio: return subject.PerSecond() / base.PerSecond();
    case eFigure_CpuRatio: return subject.CpuMicroseconds() / base.CpuMicroseconds();
    case eFigure_AddedP50: return subject.Percentile(kMedian).value_or(0) - base.Percentile(kMedian).value_or(0);
    case eFigure_P99Of: return subject.Percentile(kTail).value_or(0);
    }
    return 0;
}

double MedianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

SPairRow RunPlan(const SPlan& plan, bool syncing, const SBenchOptions& options, const std::wstring& directory)
{
    SPairRow row;
    row.name = plan.name;
    row.syncing = syncing;
    row.figure = plan.figure;
    row.wanted = plan.wanted;
    const auto sideOf = [&](const wchar_t* name, const wchar_t* server) {
        auto side = std::make_unique<CSide>(
            CSide::SPlan{platform::JoinPath(directory, name), server, kLibraryClient, syncing, options.components});
        CSeries ignored; // the first ones load plug-ins and start processes of tasks
        side->Measure("burst", kWarmUp, ignored);
        return side;
    };
    const auto subject = sideOf(L"subject", plan.subject);
    const auto base = plan.base ? sideOf(L"base", plan.base) : nullptr;
    std::vector<double> values;
    for (std::size_t round = 0; round < (options.quick ? 1 : plan.rounds * options.repeat); ++round) {
        CSeries subjectRound;
        CSeries baseRound;
        subject->Measure(plan.command, plan.count, subjectRound, plan.subjectTask);
        if (base)
            base->Measure(plan.command, plan.count, baseRound, plan.baseTask);
        values.push_back(FigureOf(plan.figure, subjectRound, baseRound));
        row.subject.Add(subjectRound);
        row.base.Add(baseRound);
    }
    row.value = plan.figure == eFigure_P99Of ? FigureOf(plan.figure, row.subject, row.base) : MedianOf(values);
    return row;
}

} // namespace

void RunPairRows(const SBenchOptions& options, const std::wstring& directory, SBenchResult& result)
{
    const std::vector<SPlan> plans = PlansOf(options);
    for (const bool syncing : options.syncing) {
        for (const SPlan& plan : plans) {
            if (!options.Wants(plan.row) || !IsMeasuredWith(plan.syncing, syncing, options))
                continue;
            TellProgress(std::string(plan.name) + (syncing ? ", syncing" : ""));
            result.pairs.push_back(RunPlan(plan, syncing && plan.syncing != eSyncing_Once, options, directory));
        }
    }
}
