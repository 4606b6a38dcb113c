#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct IWQ_ZELProcessorFactory;

/// How far a request is, and in the end what became of it: what a client of a server would read.
struct SZelTaskRun {
    /// In the end eRequestStatus_Done, _ServerError or _Canceled; _ClientError when the request file could not be read.
    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
    std::int32_t percent = -1; ///< -1 before the first
    CString comment;           ///< of a failure the reason
    bool isPutOff = false;     ///< the task declined (IWQ_ZELProcessorTaskReadiness), and the rest is how far it came
    /// Of a request that is done, in a folder of the harness; removed with the next run and with the harness.
    CString responsePath;
    /// Objects of the module that were made in the run and live on after it; empty when the module does not count.
    std::optional<std::int64_t> objectsLeft;
};

/// Runs requests in the factories of a plug-in as a server does, but on the calling thread, without a server and its
/// directories: for unit tests of plug-ins, and for a debugger. Nothing is contained here: a fault of the plug-in is
/// one of the caller, and its exceptions pass through. COM is initialised on the thread that makes the object, which is
/// the one to use and destroy it on.
class ZEL_API CZelTaskHarness {
public:
    CZelTaskHarness();
    ~CZelTaskHarness();
    CZelTaskHarness(const CZelTaskHarness&) = delete;
    CZelTaskHarness& operator=(const CZelTaskHarness&) = delete;

    /// Takes all factories of a module, given by its own path or that of its manifest, behind those that are there. A
    /// module stays loaded to the end of the process. False with a text that names the file and the reason.
    [[nodiscard]] bool LoadModule(const CString& path, CString& error);
    /// Takes a factory that the caller made, one of a test that has the plug-in's sources in itself, for example.
    void AddFactory(IWQ_ZELProcessorFactory* factory);

    /// Called with each report of progress and with the end.
    void SetOnProgress(std::function<void(const SZelTaskRun&)> onProgress);
    /// Not owned; null, as in the beginning, for one that is never cancelled.
    void SetContext(CZelProcessorContext* context);

    /// Runs a copy of the request; the file stays. A task that can decline is told to do its best, as by a server where
    /// nothing else waits.
    [[nodiscard]] SZelTaskRun RunFile(const CString& path);
    /// The same with the content of a request file.
    [[nodiscard]] SZelTaskRun RunText(std::string_view request);

private:
    struct SState;
    const std::unique_ptr<SState> m_pState; ///< never null
};
