#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <array>
#include <chrono>
#include <iostream>
#include <string>
#include <vector>

namespace {

/// Many good requests, and now and then one that ends its process.
class IsolationRateTest : public CProgramTest {
protected:
    [[nodiscard]] std::wstring MakeCrash(const std::wstring& name, const std::wstring& kind) const
    {
        if (kind == L"limit") {
            Write(InHome(name), "<Request TimeLimit='0.5'><Task Type='Gate' Deaf='1' GateFile='" +
                                    platform::ToUtf8(Gate(name)) + "'/></Request>");
            return InHome(name);
        }
        if (kind != L"leave")
            return MakeRequest(name, L"Type=\"Crash\" Kind=\"" + kind + L"\"");
        std::wstring attributes = L"Type=\"Leave\" Program=\"" + platform::ProgramPath() + L"\"";
        int number = 0;
        for (const std::wstring& argument : testsupport::ChildArguments(L"isolation-hold", {InHome(name + L".held")}))
            attributes += L" Argument" + std::to_wstring(++number) + L"=\"" + argument + L"\"";
        return MakeRequest(name, attributes);
    }
};

TEST_F(IsolationRateTest, AThousandGoodRequestsAreAnsweredBetweenCrashesOfEachKind)
{
    const bool isSanitized = testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized();
    std::vector<std::wstring> kinds = {L"NullDereference", L"Exit", L"CallExit", L"limit", L"leave"};
    if (!isSanitized)
        kinds.emplace_back(L"HeapOverrun");
    std::vector<std::wstring> options = {L"--isolate", L"--grace", L"0.2", L"--log-level", L"warning"};
    // A sanitizer takes terabytes of addresses, and Wine carries out no limit of a job.
    if (!isSanitized && !testsupport::IsWine()) {
        kinds.emplace_back(L"Memory");
        options.insert(options.end(), {L"--memory-limit", L"256"});
    }
    platform::SProcessOptions process;
    process.environment = {{L"ZEL_CRASH_DIR", m_strHome}, {L"LSAN_OPTIONS", L"detect_leaks=0"}};
    CRunningProgram server = StartServer(options, std::move(process));

    constexpr std::size_t kGood = 1000;
    constexpr std::size_t kAtOnce = 50;
    std::size_t crashes = 0;
    for (std::size_t first = 0; first < kGood; first += kAtOnce) {
        const std::wstring& kind = kinds[crashes % kinds.size()];
        const std::wstring crash = L"crash" + std::to_wstring(crashes++) + L".drq";
        std::vector<std::wstring> send = {L"send", L"-q", MakeCrash(crash, kind)};
        std::vector<std::wstring> wait = {L"wait", L"-q"};
        for (std::size_t number = first; number < first + kAtOnce; ++number) {
            const std::wstring name = L"r" + std::to_wstring(number);
            send.push_back(MakeEcho(name + L".drq", name));
            wait.push_back(name + L".drq");
        }
        ASSERT_EQ(Zel(send).code, 0);
        const SProgramResult crashed = Zel({L"wait", crash});
        EXPECT_EQ(crashed.code, kind == L"leave" ? 0 : 3) << platform::ToUtf8(kind) << crashed.output << crashed.errors;
        const std::chrono::nanoseconds ended = platform::SystemClock().Steady();
        const SProgramResult waited = Zel(wait);
        std::cout
            << platform::ToUtf8(kind) << ", then " << kAtOnce << " good ones within "
            << std::chrono::duration_cast<std::chrono::milliseconds>(platform::SystemClock().Steady() - ended).count()
            << " ms\n";
        ASSERT_EQ(waited.code, 0) << platform::ToUtf8(kind) << waited.output << waited.errors;
        for (std::size_t number = first; number < first + kAtOnce; ++number) {
            const std::wstring name = L"r" + std::to_wstring(number);
            ASSERT_EQ(Read(InOutput(name + L".drq")), EchoResponse(platform::ToUtf8(name)));
        }
    }
    EXPECT_GE(crashes, 2 * kinds.size());
    StopServer(server);
}

} // namespace
