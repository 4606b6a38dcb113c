#include "platform/Fault.h"

#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>

// The functions that do wrong must do it in every build: undefined behaviour that a sanitizer would stop at first.
#define FAULTY __attribute__((noinline, no_sanitize("undefined", "thread")))

namespace platform {
namespace {

volatile std::uintptr_t g_badAddress = 24;
volatile int g_dividend = 7;
volatile int g_zero = 0;
// Each thread its own: two of them do the same wrong at the same time.
thread_local volatile int g_result = 0;
volatile bool g_always = true;

FAULTY void WriteToBadAddress()
{
    *reinterpret_cast<volatile int*>(g_badAddress) = 1;
}

FAULTY void ReadFromBadAddress()
{
    g_result = *reinterpret_cast<volatile int*>(g_badAddress);
}

FAULTY void CallBadAddress()
{
    reinterpret_cast<void (*)()>(g_badAddress)();
    g_result = 1; // or the call would be a jump, and the caller not on the stack
}

FAULTY void DivideByZero()
{
    g_result = g_dividend / g_zero;
}

FAULTY void RunIllegalInstruction()
{
    if (g_always)
        __builtin_trap();
}

FAULTY int RecurseForEver(int depth)
{
    volatile char room[512];
    room[0] = static_cast<char>(depth);
    if (g_always)
        g_result = RecurseForEver(depth + 1) + room[0];
    return g_result;
}

void OverflowStack()
{
    RecurseForEver(0);
}

void Abort()
{
    std::abort();
}

struct SFaultCase {
    const char* name;
    void (*body)();
    eFaultKind kind;
};

void PrintTo(const SFaultCase& faultCase, std::ostream* stream)
{
    *stream << faultCase.name;
}

const SFaultCase kCases[] = {
    {"Write", &WriteToBadAddress, eFaultKind_AccessViolation},
    {"Read", &ReadFromBadAddress, eFaultKind_AccessViolation},
    {"Call", &CallBadAddress, eFaultKind_AccessViolation},
    {"Division", &DivideByZero, eFaultKind_Division},
    {"IllegalInstruction", &RunIllegalInstruction, eFaultKind_IllegalInstruction},
    {"StackOverflow", &OverflowStack, eFaultKind_StackOverflow},
    {"Abort", &Abort, eFaultKind_Abort},
};

class FaultKindTest : public testing::TestWithParam<SFaultCase> {
protected:
    static void ExpectContained(int times)
    {
        for (int i = 0; i < times; ++i) {
            SFaultRecord record;
            EXPECT_FALSE(RunContained(GetParam().body, record));
            EXPECT_EQ(record.kind, GetParam().kind);
            EXPECT_NE(record.code, 0U);
            EXPECT_GT(record.frameCount, 0U);
            EXPECT_LE(record.frameCount, kMaxFaultFrames);
        }
    }
};

TEST_P(FaultKindTest, IsContainedAHundredTimes)
{
    ExpectContained(100);
    SFaultRecord record;
    EXPECT_TRUE(RunContained([] { g_result = 1; }, record));
    EXPECT_EQ(record.kind, eFaultKind_None);
}

TEST_P(FaultKindTest, IsContainedOnThreadsAtTheSameTime)
{
    std::array<CThread, 3> threads;
    for (CThread& thread : threads) {
        ASSERT_TRUE(thread.Start([] {
            ExpectContained(30);
            return 0U;
        }));
    }
    for (CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
}

INSTANTIATE_TEST_SUITE_P(Kinds, FaultKindTest, testing::ValuesIn(kCases),
                         [](const auto& faultCase) { return std::string(faultCase.param.name); });

TEST(FaultTest, TheRecordTellsWhereItHappened)
{
    SFaultRecord record;
    ASSERT_FALSE(RunContained(&WriteToBadAddress, record));
    EXPECT_EQ(record.address, g_badAddress);
    EXPECT_EQ(record.frames[0], record.instruction);
    const auto start = reinterpret_cast<std::uintptr_t>(&WriteToBadAddress);
    EXPECT_GE(record.instruction, start);
    EXPECT_LT(record.instruction, start + 256);
    EXPECT_GT(record.frameCount, 2U) << "and who called";
}

TEST(FaultTest, ACallIntoNowhereStillTellsTheCaller)
{
    SFaultRecord record;
    ASSERT_FALSE(RunContained(&CallBadAddress, record));
    EXPECT_EQ(record.instruction, g_badAddress);
    const auto start = reinterpret_cast<std::uintptr_t>(&CallBadAddress);
    bool found = false;
    for (std::size_t i = 0; i < record.frameCount; ++i)
        found = found || (record.frames[i] >= start && record.frames[i] < start + 256);
    EXPECT_TRUE(found);
}

TEST(FaultTest, ExceptionsPassThrough)
{
    SFaultRecord record;
    EXPECT_THROW(static_cast<void>(RunContained([] { throw std::runtime_error("text"); }, record)), std::runtime_error);
    EXPECT_EQ(record.kind, eFaultKind_None);
    EXPECT_FALSE(RunContained(&WriteToBadAddress, record)) << "and the next run is contained as ever";
}

TEST(FaultTest, AFrameInsideAnotherTakesTheFaultsOfItsOwnBody)
{
    SFaultRecord outer;
    SFaultRecord inner;
    bool innerReturned = true;
    ASSERT_FALSE(RunContained(
        [&] {
            innerReturned = RunContained(&WriteToBadAddress, inner);
            g_result = 5;
            CallBadAddress();
        },
        outer));
    EXPECT_FALSE(innerReturned);
    EXPECT_EQ(g_result, 5) << "the outer body went on";
    EXPECT_EQ(inner.kind, eFaultKind_AccessViolation);
    EXPECT_EQ(outer.kind, eFaultKind_AccessViolation);
    ASSERT_TRUE(RunContained([] {}, outer));
}

TEST(FaultTest, ANewRunStartsWithANewRecord)
{
    SFaultRecord record;
    ASSERT_FALSE(RunContained(&WriteToBadAddress, record));
    ASSERT_TRUE(RunContained([] {}, record));
    EXPECT_EQ(record.kind, eFaultKind_None);
    EXPECT_EQ(record.frameCount, 0U);
}

constexpr int kSurvived = 42;

/// Contains a fault, leaves the frame, and does it again without one.
int FaultOutside(const std::vector<std::wstring>&)
{
    SFaultRecord record;
    const bool returned = RunContained(&WriteToBadAddress, record);
    testsupport::TellParent(returned ? L"not contained" : L"contained");
    WriteToBadAddress();
    return kSurvived;
}
const testsupport::CChildPart outsidePart(L"fault-outside", &FaultOutside);

/// Faults on a thread without a frame while another one's frame is active.
int FaultElsewhere(const std::vector<std::wstring>&)
{
    SFaultRecord record;
    static_cast<void>(RunContained(
        [] {
            testsupport::TellParent(L"inside");
            CThread other;
            static_cast<void>(other.Start([] {
                WriteToBadAddress();
                return 0U;
            }));
            static_cast<void>(other.Join());
        },
        record));
    return kSurvived;
}
const testsupport::CChildPart elsewherePart(L"fault-elsewhere", &FaultElsewhere);

TEST(FaultTest, AFaultOutsideOfTheFrameEndsTheProcess)
{
    auto child = testsupport::StartChild(L"fault-outside", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"contained"));
    const int exitCode = testsupport::FinishChild(child);
    EXPECT_NE(exitCode, 0);
    EXPECT_NE(exitCode, kSurvived);
}

TEST(FaultTest, AFaultOfAnotherThreadEndsTheProcess)
{
    auto child = testsupport::StartChild(L"fault-elsewhere", {});
    EXPECT_TRUE(testsupport::WaitForChild(child, L"inside"));
    const int exitCode = testsupport::FinishChild(child);
    EXPECT_NE(exitCode, 0);
    EXPECT_NE(exitCode, kSurvived);
}

TEST(FaultTest, EveryKindHasAName)
{
    EXPECT_STREQ(FaultKindName(eFaultKind_AccessViolation), L"access violation");
    EXPECT_STREQ(FaultKindName(eFaultKind_StackOverflow), L"stack overflow");
    EXPECT_STREQ(FaultKindName(eFaultKind_Other), L"other");
}

TEST(FaultTest, AWholeHeapIsNotCorrupt)
{
    EXPECT_NE(CheckHeap(), eHeapState_Corrupt);
}

} // namespace
} // namespace platform
