#include "fuzz/Fuzz.h"

#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <cstdlib>

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

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    return CoInitializeZEL(nullptr) == S_OK ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    TryBytes({reinterpret_cast<const char*>(data), size});
    return 0;
}
