#include "framework/DefaultHost.h"
#include "tests/simulation/History.h"
#include "tests/support/CallbackLogger.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

/// Reports and boxes of the library go nowhere: what counts is what the files say.
class CSilentHost final : public CWQ_DefaultHost {
public:
    void ReportError(const SWQ_ErrorReport& /*report*/) override {}
    int ShowMessage(const std::wstring& /*text*/, unsigned /*style*/, unsigned /*flags*/) override { return 1; }
    int AskMessage(const std::wstring& /*text*/, unsigned /*style*/, int defaultAnswer, unsigned /*flags*/) override
    {
        return defaultAnswer;
    }
    std::shared_ptr<spdlog::logger> GetLogger(const std::string& /*name*/) override { return m_pLogger; }

private:
    const std::shared_ptr<spdlog::logger> m_pLogger = testsupport::MakeCallbackLogger(
        "simulation", Brel::Log::eLogLevel_Critical, [](const testsupport::SLogLine& /*line*/) {});
};

struct SArguments {
    sim::SSettings settings;
    std::uint64_t histories = 1;
};

constexpr const char* kUsage =
    "simulation [--histories N] [--seed S] [--manner linux|windows] [--power] [--crowd] [--listener]\n"
    "           [--planted FAULT] [--trace]\n"
    "  Plays N histories, the first with the seed S, and tells what broke a promise in them.\n"
    "  --power: in some the power is cut. --crowd: files are held, and old ones looked for. --listener: a client is\n"
    "  registered. --planted: with a fault built in, until that shows. --trace: tells each call.\n"
    "  Faults:";

void ShowUsage()
{
    std::fputs(kUsage, stderr);
    for (const std::string_view name : sim::kPlantedNames)
        std::fprintf(stderr, " %s", name.data());
    std::fputs("\n", stderr);
}

bool ParsePlanted(std::string_view name, sim::ePlanted& planted)
{
    const auto found = std::find(sim::kPlantedNames.begin(), sim::kPlantedNames.end(), name);
    planted = static_cast<sim::ePlanted>(found - sim::kPlantedNames.begin());
    return found != sim::kPlantedNames.end();
}

bool* FlagOf(std::string_view option, sim::SSettings& settings)
{
    if (option == "--power")
        return &settings.hasPowerCuts;
    if (option == "--crowd")
        return &settings.hasCrowd;
    if (option == "--listener")
        return &settings.hasListener;
    return option == "--trace" ? &settings.isTraced : nullptr;
}

bool Parse(int count, char** arguments, SArguments& parsed)
{
    for (int index = 1; index < count; ++index) {
        const std::string_view option = arguments[index];
        if (bool* const flag = FlagOf(option, parsed.settings)) {
            *flag = true;
            continue;
        }
        if (++index == count)
            return false;
        const std::string_view value = arguments[index];
        if (option == "--seed")
            parsed.settings.seed = std::strtoull(arguments[index], nullptr, 10);
        else if (option == "--histories")
            parsed.histories = std::strtoull(arguments[index], nullptr, 10);
        else if (option == "--manner" && (value == "linux" || value == "windows"))
            parsed.settings.manner = value == "linux" ? sim::eManner_Linux : sim::eManner_Windows;
        else if (option != "--planted" || !ParsePlanted(value, parsed.settings.planted))
            return false;
    }
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    SArguments parsed;
    if (!Parse(count, arguments, parsed)) {
        ShowUsage();
        return 2;
    }
    CSilentHost host;
    SetWQ_Host(&host);
    // What a process does once only, as to look for its plug-ins, is done before the first history that counts.
    sim::SSettings first;
    static_cast<void>(sim::RunHistory(first));
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t failed = 0;
    std::uint64_t calls = 0;
    const std::uint64_t end = parsed.settings.seed + parsed.histories;
    const auto isShown = [&] { return parsed.settings.planted != sim::ePlanted_None && failed != 0; };
    for (; parsed.settings.seed != end && !isShown(); ++parsed.settings.seed) {
        if (parsed.settings.isTraced)
            std::printf("history %llu\n", static_cast<unsigned long long>(parsed.settings.seed));
        const sim::SResult result = sim::RunHistory(parsed.settings);
        calls += result.calls;
        if (parsed.settings.isTraced)
            std::printf("sum %016llx\n", static_cast<unsigned long long>(result.sum));
        for (const std::string& fault : result.faults)
            std::printf("%s: %s\n", sim::CommandOf(parsed.settings).c_str(), fault.c_str());
        failed += result.faults.empty() ? 0U : 1U;
    }
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("%llu histories, %llu calls, %llu failed, %.1f s\n", static_cast<unsigned long long>(parsed.histories),
                static_cast<unsigned long long>(calls), static_cast<unsigned long long>(failed), seconds);
    return failed == 0 ? 0 : 1;
}
