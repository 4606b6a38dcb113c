#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"

#include <memory>

class CProcessorRunner;
class CZelProcessorFactories;
struct SStringCode;

/// Runs one request from its file to its response file, through the plug-in factories. The server owns one; a host
/// seldom needs it by itself. One request at a time; ProceedQueue and CanProceedQueue are safe from any thread, the
/// setters are for the time before processing starts. COM must be initialised on the threads that construct and use it.
class ZEL_API CZelProcessor {
public:
    /// Loads the factories of the component category. Throws CUserException, after a box, when there is none.
    CZelProcessor();
    virtual ~CZelProcessor();
    CZelProcessor(const CZelProcessor&) = delete;
    CZelProcessor& operator=(const CZelProcessor&) = delete;

    /// Stores an existing directory as given; false leaves everything unchanged.
    bool SetOutputDir(const CString& dir);
    /// Output directory + separator + file name of the request; ".status" appended for the status file.
    [[nodiscard]] CString GetOutputFilePath(const CString& requestPath) const;
    [[nodiscard]] CString GetOutputStatusFilePath(const CString& requestPath) const;

    /// Not owned; null is allowed for the event and ends every request as cancelled for the context.
    void SetEvent(CZelProcessorEvent* event);
    void SetContext(CZelProcessorContext* context);
    /// Whether a request that fails ends with the reason in its status (SZelServerOptions::tellReasons); off unless
    /// set.
    void SetTellReasons(bool tell);

    /// With manual stepping the queue advances only while ProceedQueue(true) is in force.
    void SetManualProceedQueue(bool manual);
    [[nodiscard]] bool IsManualProceedQueue() const;
    void ProceedQueue(bool proceed);
    [[nodiscard]] bool CanProceedQueue() const;

    /// Publishes status and text through the progress object, and logs the text. From any thread.
    static void SetStatus(CZelProcessorProgress* progress, eZelProcRequestStatus status, const CString& text);

    /// The first 2048 characters of a request's XML, for messages.
    [[nodiscard]] CString CreateErrorXmlString(const CString& text) const;

    /// Parses the request's XML and lets the first factory that serves the task's type make and initialise the task.
    /// Every failure is shown to the operator.
    bool CreateAndInitTask(const CString& xml, IWQ_ZELProcessorTask** task);

    /// Runs the request. True: the response is saved and the status done. False with bRetry: the task declined, no
    /// status was written. False without: the status tells why. Exceptions of plug-ins pass through after everything
    /// held was released.
    bool ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce, bool& bRetry);
    /// Whether the last run told that its request is done. From then on the request's name may be in use again, by a
    /// newer request: what leaves the run after that, a fault in the host's OnRequestDone, must not touch its files.
    [[nodiscard]] bool HasToldDone() const;

private:
    friend class CIsolatedRunner;
    friend class CProcessorRunner;
    friend class CZelTaskHarness;

    /// With these factories in the place of the category's.
    explicit CZelProcessor(const CZelProcessorFactories& factories);

    struct SState;
    const std::unique_ptr<SState> m_pState; ///< never null
};
