#include "platform/Fault.h"

#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace platform {
namespace {

volatile std::size_t g_lastCount = 0;

__attribute__((noinline)) std::size_t CaptureHere(std::uintptr_t* frames, std::size_t maxFrames)
{
    const std::size_t count = CaptureStack(frames, maxFrames);
    g_lastCount = count; // so that the call is not the last thing: this function must stay on the stack
    return count;
}

TEST(SymbolsTest, TheStackBeginsWithTheCaller)
{
    std::array<std::uintptr_t, 32> frames = {};
    const std::size_t count = CaptureHere(frames.data(), frames.size());
    ASSERT_GT(count, 2U);
    const auto start = reinterpret_cast<std::uintptr_t>(&CaptureHere);
    EXPECT_GE(frames[0], start);
    EXPECT_LT(frames[0], start + 256);
}

TEST(SymbolsTest, TheStackIsCutToTheRoom)
{
    std::array<std::uintptr_t, 3> frames = {};
    EXPECT_EQ(CaptureStack(frames.data(), 2), 2U);
    EXPECT_NE(frames[1], 0U);
    EXPECT_EQ(frames[2], 0U);
    EXPECT_EQ(CaptureStack(frames.data(), 0), 0U);
}

TEST(SymbolsTest, AnAddressIsDescribedByItsModuleAndOffset)
{
    const std::wstring text = AddressText(LookUpAddress(reinterpret_cast<std::uintptr_t>(&CaptureHere)));
    EXPECT_EQ(text.find(FileNameOf(ProgramPath()) + L"+0x"), 0U) << ToUtf8(text);
}

TEST(SymbolsTest, AnExportedFunctionOfALibraryHasItsName)
{
    // By a call that it made: the address of the function here may be that of a jump to it.
    std::array<std::uintptr_t, 16> frames = {};
    std::size_t count = 0;
    SFaultRecord record;
    ASSERT_TRUE(RunContained([&] { count = CaptureHere(frames.data(), frames.size()); }, record));
    std::vector<SAddressDescription> found;
    for (std::size_t i = 0; i < count; ++i) {
        found.push_back(LookUpAddress(frames[i]));
        if (found.back().function.find(L"RunContained") == std::wstring::npos)
            found.pop_back();
    }
    ASSERT_FALSE(found.empty());
    EXPECT_NE(FileNameOf(found.back().modulePath).find(L"ZEL_Framework"), std::wstring::npos)
        << ToUtf8(found.back().modulePath);
}

TEST(SymbolsTest, AFunctionHasItsNameFileAndLine)
{
    std::array<std::uintptr_t, 8> frames = {};
    ASSERT_GT(CaptureHere(frames.data(), frames.size()), 1U);
    const SAddressDescription description = LookUpAddress(frames[0]);
    EXPECT_EQ(description.modulePath, ProgramPath());
    EXPECT_NE(description.function.find(L"CaptureHere"), std::wstring::npos) << ToUtf8(description.function);
    EXPECT_EQ(FileNameOf(description.file), L"SymbolsTest.cpp");
    EXPECT_GT(description.line, 0U);
    const std::wstring text = AddressText(description);
    EXPECT_NE(text.find(FileNameOf(ProgramPath())), std::wstring::npos) << ToUtf8(text);
    EXPECT_NE(text.find(L"CaptureHere"), std::wstring::npos) << ToUtf8(text);
    EXPECT_NE(text.find(L"SymbolsTest.cpp:"), std::wstring::npos) << ToUtf8(text);
}

TEST(SymbolsTest, AnAddressThatIsNobodysIsANumber)
{
    EXPECT_NE(AddressText(LookUpAddress(0x18)).find(L"0x18"), std::wstring::npos);
}

} // namespace
} // namespace platform
