#include "apps/common/LibraryInstance.h"
#include "com/ComThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/ChildProcess.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelRequestWatch.h"

#include <atomic>
#include <thread>

// Sends one small request after the other and measures how long each takes, until its parent has had enough. Then it
// tells one line for each: microseconds and status.

namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenRequests = 30ms;
constexpr std::chrono::seconds kAnswerPatience{60};

struct SAnswer {
    std::chrono::nanoseconds time{};
    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
};

int AskHonestly(const std::vector<std::wstring>& arguments)
{
    const std::wstring& requests = arguments.at(0);
    const std::wstring& output = arguments.at(1);
    const std::wstring& home = arguments.at(2);
    const CComThread com;
    const CLibraryInstance library;
    CZelProcessorClient client;
    client.Init(requests, output, home);
    client.SetSyncing(false);
    CZelRequestWatch watch(client, output);
    std::atomic<bool> isOver = false;
    std::thread parent([&] {
        static_cast<void>(testsupport::WaitForParent());
        isOver = true;
    });
    std::vector<SAnswer> answers;
    while (!isOver) {
        const std::wstring name = L"honest-" + std::to_wstring(answers.size()) + L".drq";
        const std::wstring file = platform::JoinPath(home, name);
        const std::string text = "<Request><Task Type=\"Echo\" Text=\"x\"/></Request>";
        SAnswer answer;
        if (platform::Succeeded(platform::WriteWholeFile(file, text))) {
            const std::chrono::nanoseconds start = platform::Clock().Steady();
            answer.status = client.SendRequest(file);
            if (answer.status == eRequestStatus_Sent)
                answer.status = watch.WaitForEnd(name, kAnswerPatience, nullptr);
            answer.time = platform::Clock().Steady() - start;
        }
        answers.push_back(answer);
        if (answer.status != eRequestStatus_Done || !client.ReceiveOutput(name, platform::JoinPath(home, L"response")))
            static_cast<void>(platform::Files().Remove(platform::JoinPath(output, name + L".status")));
        platform::Clock().SleepFor(kBetweenRequests);
    }
    parent.join();
    for (const SAnswer& answer : answers)
        testsupport::TellParent(
            std::to_wstring(std::chrono::duration_cast<std::chrono::microseconds>(answer.time).count()) + L" " +
            std::to_wstring(answer.status));
    return 0;
}

const testsupport::CChildPart honestPart(L"honest", &AskHonestly);

} // namespace
