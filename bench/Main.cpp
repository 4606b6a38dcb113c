#include "bench/BenchOptions.h"
#include "bench/BenchRows.h"
#include "bench/Part.h"
#include "bench/Report.h"
#include "platform/Process.h"
#include "platform/Text.h"

#include <exception>

namespace {

constexpr std::size_t kPartArguments = 5;

int RunPart(const std::vector<std::wstring>& arguments)
{
    const std::wstring& part = arguments[1];
    const SPartOptions options{arguments[2], arguments[3] == L"sync", arguments[4]};
    if (part == kLibraryClient)
        return RunLibraryClient(options);
    if (part == kBareServer)
        return RunBareServer(options);
    if (part == kBareClient)
        return RunBareClient(options);
    return part.ends_with(L"-server") ? RunLibraryServer(options, part) : 2;
}

int RunBench(const std::vector<std::wstring>& arguments)
{
    SBenchOptions options;
    if (const std::optional<int> code = ParseBenchOptions(arguments, options))
        return *code;
    SBenchResult result;
    CBenchRows(options).Run(result);
    const std::string text = options.json ? JsonOf(result) : TableOf(result);
    return platform::WriteConsoleText(platform::eStream_Output, platform::FromUtf8(text)) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const std::vector<std::wstring> arguments = platform::ProgramArguments(argc, argv);
        if (arguments.size() == kPartArguments && arguments[0] == kPartSwitch)
            return RunPart(arguments);
        return RunBench(arguments);
    } catch (const std::exception& exception) {
        platform::WriteConsoleText(platform::eStream_Error,
                                   platform::FromUtf8("zel-bench: " + std::string(exception.what()) + "\n"));
        return 1;
    }
}
