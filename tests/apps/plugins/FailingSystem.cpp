#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/WaitUntil.h"

#include <ZEL_Processor/ZelPlugin.h>

#include <new>

namespace {

constexpr CLSID kFailingSystemId = {0x5D1B7E20, 0x3A44, 0x4F0B, {0x8C, 0x11, 0x20, 0x61, 0x7D, 0x00, 0x00, 0x02}};

/// What fails, below the process that loads this: what the variable ZEL_TEST_FAILURE says, and the listener when it is
/// told to by a file.
class CFailingSystem {
public:
    CFailingSystem() : m_os(&m_files, nullptr)
    {
        const std::wstring failure = platform::Environment(L"ZEL_TEST_FAILURE");
        if (failure == L"watch")
            m_files.FailAlways(testsupport::eFileCall_Watch, platform::eOsError_TooManyOpenFiles);
        if (failure == L"touch")
            m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_DiskFull, L".zel-server-");
        m_files.OnCall([](const testsupport::SFileCall& call) {
            ThrowAtARequestToFail(call);
            HangAtADirectoryThatHangs(call);
        });
    }

private:
    /// As a file system whose other side is away: who looks at the folder Queue comes back when it does.
    static void HangAtADirectoryThatHangs(const testsupport::SFileCall& call)
    {
        if (call.call != testsupport::eFileCall_GetAttributes || !call.path.ends_with(L"Queue") ||
            !platform::PathExists(call.path + L".hangs"))
            return;
        static_cast<void>(platform::WriteWholeFile(call.path + L".hung", {}));
        static_cast<void>(testsupport::WaitUntil([&] { return !platform::PathExists(call.path + L".hangs"); },
                                                 std::chrono::seconds(60)));
    }
    /// As when memory ends: while the listener lists a directory in which a file of this name lies, at once or when it
    /// is told to.
    static void ThrowAtARequestToFail(const testsupport::SFileCall& call)
    {
        if (call.call != testsupport::eFileCall_List)
            return;
        const bool isToWait = platform::PathExists(platform::JoinPath(call.path, L"fail-when-told"));
        if (isToWait) {
            static_cast<void>(platform::WriteWholeFile(call.path + L".listing", {}));
            static_cast<void>(testsupport::WaitUntil([&] { return platform::PathExists(call.path + L".fail"); },
                                                     std::chrono::seconds(60)));
        }
        if (isToWait || platform::PathExists(platform::JoinPath(call.path, L"fail-now")))
            throw std::bad_alloc();
    }

    testsupport::CFaultyFiles m_files;
    platform::CScopedOs m_os;
};

/// A factory that serves nothing; what is around it fails.
class CFailingSystemFactory : public CZelXmlFactory {
public:
    CFailingSystemFactory() { static CFailingSystem system; }

protected:
    std::vector<CString> Types() override { return {}; }
    CComPtr<IWQ_ZELProcessorTask> MakeTask(const CString&) override { return {}; }
    CComPtr<IWQ_ZELProcessorResponse> MakeResponse(CZelXmlRequest&) override { return {}; }
};

} // namespace

ZEL_PLUGIN_MODULE(ZelPluginClass<CFailingSystemFactory>(kFailingSystemId, L"Failing system"))
