#include "ZEL_Processor/ZelTaskHarness.h"

#include "FactoryModule.h"
#include "TaskProgress.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/ComThread.h"
#include "com/XmlLimits.h"
#include "framework/CrashReport.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ScratchFolder.h"

namespace {

class CNeverCanceled final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID, void** service) override
    {
        if (service != nullptr)
            *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool) override {}
    bool IsCanceled() override { return false; }
};

SZelTaskRun NotRun(const CString& reason)
{
    SZelTaskRun run;
    run.status = eRequestStatus_ClientError;
    run.comment = reason;
    return run;
}

} // namespace

struct CZelTaskHarness::SState {
    [[nodiscard]] SZelTaskRun Run(const CString& name, const std::string& request)
    {
        for (platform::CScratchFolder* const folder : {&requests, &responses}) {
            if (!platform::Succeeded(folder->Error()))
                return NotRun(folder->Path() + L": " + platform::OsErrorText(folder->Error()));
            folder->Empty();
        }
        const CString path = platform::JoinPath(requests.Path(), name);
        if (const platform::eOsError written = platform::WriteWholeFile(path, request); !platform::Succeeded(written))
            return NotRun(path + L": " + platform::OsErrorText(written));

        const MOXCrashRpt::CScopedSubject subject(path);
        const std::optional<std::int64_t> before = Objects();
        CTaskProgress progress(onProgress);
        bool isPutOff = false;
        CZelProcessor processor(*factories);
        static_cast<void>(processor.SetOutputDir(responses.Path()));
        processor.SetContext(context != nullptr ? context : &neverCanceled);
        processor.SetTellReasons(true);
        static_cast<void>(processor.ProcessRequest(path, &progress, true, isPutOff));

        SZelTaskRun run = progress.Run();
        run.isPutOff = isPutOff;
        if (run.status == eRequestStatus_Done)
            run.responsePath = processor.GetOutputFilePath(path);
        if (const std::optional<std::int64_t> after = Objects(); before && after)
            run.objectsLeft = *after - *before;
        return run;
    }
    [[nodiscard]] std::optional<std::int64_t> Objects() const
    {
        std::optional<std::int64_t> all;
        for (const CFactoryModule& module : modules) {
            if (const std::optional<std::int64_t> own = module.Objects())
                all = all.value_or(0) + *own;
        }
        return all;
    }

    const CComThread com; // before everything that uses it
    platform::CScratchFolder requests;
    platform::CScratchFolder responses; // a response has the name of its request
    std::unique_ptr<CZelProcessorFactories> factories = std::make_unique<CZelProcessorFactories>();
    std::vector<CFactoryModule> modules;
    std::function<void(const SZelTaskRun&)> onProgress;
    CNeverCanceled neverCanceled;
    CZelProcessorContext* context = nullptr;
};

CZelTaskHarness::CZelTaskHarness() : m_pState(std::make_unique<SState>()) {}

CZelTaskHarness::~CZelTaskHarness() = default;

bool CZelTaskHarness::LoadModule(const CString& path, CString& error)
{
    error.clear();
    CFactoryModule module;
    if (!module.Load(path, *m_pState->factories, error))
        return false;
    m_pState->modules.push_back(module);
    return true;
}

void CZelTaskHarness::AddFactory(IWQ_ZELProcessorFactory* factory)
{
    if (factory != nullptr)
        m_pState->factories->Add(*factory);
}

void CZelTaskHarness::SetOnProgress(std::function<void(const SZelTaskRun&)> onProgress)
{
    m_pState->onProgress = std::move(onProgress);
}

void CZelTaskHarness::SetContext(CZelProcessorContext* context)
{
    m_pState->context = context;
}

SZelTaskRun CZelTaskHarness::RunFile(const CString& path)
{
    std::string request;
    const platform::eOsError read =
        platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, request, XmlLimitsOfThread().bytes);
    if (!platform::Succeeded(read))
        return NotRun(path + L": " + platform::OsErrorText(read));
    return m_pState->Run(platform::FileNameOf(path), request);
}

SZelTaskRun CZelTaskHarness::RunText(std::string_view request)
{
    return m_pState->Run(L"request.drq", std::string(request));
}
