#include "fuzz/Fuzz.h"

#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <functional>

void Require(bool condition)
{
    if (!condition)
        std::abort();
}

namespace {

/// Beside others of the same kind: libFuzzer runs several processes at once.
class CScratch {
public:
    CScratch()
        : m_path(platform::JoinPath(platform::TemporaryDirectory(),
                                    L"zel-fuzz-" + std::to_wstring(platform::CurrentProcessId())))
    {}
    ~CScratch() { static_cast<void>(platform::Files().Remove(m_path)); }
    CScratch(const CScratch&) = delete;
    CScratch& operator=(const CScratch&) = delete;

    [[nodiscard]] const std::wstring& Path() const { return m_path; }

private:
    std::wstring m_path;
};

} // namespace

std::wstring ScratchFile(const std::string& bytes)
{
    static const CScratch scratch;
    Require(platform::Succeeded(platform::WriteWholeFile(scratch.Path(), bytes)));
    return scratch.Path();
}

namespace {

/// What reading one input took. Memory is counted by the sanitizer's hooks, so that of the XML library is in it; time
/// is the process's, which a busy machine does not lengthen.
struct SCost {
    std::size_t bytes = 0; ///< of all blocks, freed ones included
    double seconds = 0;
};

std::size_t g_allocated = 0;

void OnAllocation(const volatile void*, std::size_t size)
{
    g_allocated += size;
}

void OnFree(const volatile void*) {}

SCost CostOf(const std::string& bytes)
{
    const std::size_t before = g_allocated;
    const std::clock_t start = std::clock();
    TryBytes(bytes);
    return {g_allocated - before, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC};
}

/// The input with a part of it, which its own bytes choose, so often that it has this length. Mutation alone hardly
/// ever finds what is dear only when there is much of it.
std::string Grown(const std::string& bytes, std::size_t choice, std::size_t length)
{
    const std::size_t start = choice % bytes.size();
    const std::size_t part = 1 + choice / bytes.size() % std::min<std::size_t>(bytes.size() - start, 64);
    std::string grown = bytes.substr(0, start);
    while (grown.size() + bytes.size() < length)
        grown.append(bytes, start, part);
    return grown.append(bytes, start);
}

/// Work in proportion to the length is eight times as much for eight times the length. Four times more than that, of
/// what is worth measuring, is another proportion.
void RequireProportion(const std::string& bytes)
{
    constexpr std::size_t kLength = 16 * 1024;
    constexpr std::size_t kTimes = 8;
    constexpr double kSlack = 4;
    constexpr double kWorthMeasuring = 0.1;
    const std::size_t choice = std::hash<std::string>()(bytes);
    const SCost small = CostOf(Grown(bytes, choice, kLength));
    const SCost large = CostOf(Grown(bytes, choice, kLength * kTimes));
    Require(large.bytes < kLength * kTimes * 64 ||
            static_cast<double>(large.bytes) < kSlack * kTimes * static_cast<double>(small.bytes));
    Require(large.seconds < kWorthMeasuring || large.seconds < kSlack * kTimes * small.seconds);
}

/// So much for each byte, on top of what every reader takes for nothing.
void RequireLimits(const SCost& cost, std::size_t length)
{
    constexpr std::size_t kForNothing = std::size_t{4} << 20;
    constexpr std::size_t kPerByte = 4096;
    Require(cost.bytes <= kForNothing + kPerByte * length);
    Require(cost.seconds <= 1 + 0.0005 * static_cast<double>(length));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Require(__sanitizer_install_malloc_and_free_hooks(OnAllocation, OnFree) != 0);
    return CoInitializeZEL(nullptr) == S_OK ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    RequireLimits(CostOf(bytes), size);
    // The growth is dear itself: of every 64th input, the same each time.
    if (size > 0 && std::hash<std::string>()(bytes) / 7 % 64 == 0)
        RequireProportion(bytes);
    return 0;
}
