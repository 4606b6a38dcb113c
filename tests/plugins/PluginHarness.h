#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <ZEL_Processor/IWQ_ZELProcessorFactory.h>
#include <ZEL_Processor/ZelTypes.h>

#include "com/ComPtr.h"

#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Drives a plug-in as the request processor does, step by step and without a server.
namespace plugintest {

inline constexpr CLSID kDataStoreId = {0x9AE21A0F, 0xCDB9, 0x40F5, {0x80, 0x5A, 0x5B, 0x40, 0xC4, 0x87, 0x72, 0x52}};
inline constexpr CLSID kTestTasksId = {0x94A83206, 0x5715, 0x4640, {0xA9, 0xEB, 0x24, 0x0C, 0x3A, 0x5A, 0x79, 0x15}};

/// The thread's initialisation, and the modules of this build in the component table.
class CComponents {
public:
    CComponents();
    ~CComponents();
    CComponents(const CComponents&) = delete;
    CComponents& operator=(const CComponents&) = delete;

    /// Lines that the reading of the component folders gave; none when all is well.
    [[nodiscard]] const std::vector<std::wstring>& Errors() const { return m_errors; }
    /// Empty, and a test failure, when it can't be made.
    [[nodiscard]] CComPtr<IWQ_ZELProcessorFactory> MakeFactory(REFCLSID classId) const;

private:
    std::vector<std::wstring> m_errors;
};

class CTestContext final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID, void**) override { return E_NOINTERFACE; }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override
    {
        ++m_nAsked;
        if (m_hook)
            m_hook(m_nAsked);
        return m_bCanceled;
    }
    /// Called with each question whether the request is cancelled, with how many there were.
    void OnAsked(std::function<void(unsigned)> hook) { m_hook = std::move(hook); }

private:
    unsigned m_nAsked = 0;
    std::function<void(unsigned)> m_hook;
    std::atomic<bool> m_bCanceled = false;
};

/// Keeps what a task reports, as "range 0 10", "pos 3" and "comment text".
class CRecordingProgress final : public CZelProcessorProgress {
public:
    void SetRange(std::uint64_t low, std::uint64_t high) override;
    void SetPos(std::uint64_t position) override;
    void SetStep(std::int32_t step) override { m_nStep = step; }
    void StepIt() override { SetPos(m_nPosition + static_cast<std::uint64_t>(m_nStep)); }
    void SetComment(const wchar_t* comment) override;
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override;

    [[nodiscard]] const std::vector<std::wstring>& Reports() const { return m_reports; }
    [[nodiscard]] std::size_t CountOf(const std::wstring& beginning) const;
    [[nodiscard]] std::wstring LastComment() const;
    /// Called with each report.
    void OnReport(std::function<void(const std::wstring&)> hook) { m_hook = std::move(hook); }

private:
    void Record(std::wstring report);

    std::uint64_t m_nPosition = 0;
    std::int32_t m_nStep = 1;
    std::vector<std::wstring> m_reports;
    std::function<void(const std::wstring&)> m_hook;
};

/// How far a request came.
enum eStage {
    eStage_NotTaken,    ///< CreateRequest declined
    eStage_NoXml,       ///< GetXml was false
    eStage_NoTask,      ///< CreateTask declined
    eStage_NotInited,   ///< Init was false
    eStage_NotReady,    ///< CanProcess was false
    eStage_NotObtained, ///< ObtainData was false
    eStage_Canceled,    ///< ObtainData was true, and the context is cancelled
    eStage_NoResponse,  ///< CreateResponse declined
    eStage_NotSet,      ///< SetTask was false
    eStage_NotSaved,    ///< Save was false
    eStage_Done
};

struct SOutcome {
    eStage stage = eStage_NotTaken;
    std::wstring error;    ///< of GetErrorText after NoXml
    std::string response;  ///< bytes of the response file; empty when there is none
    bool leftFile = false; ///< there is a response file
};

/// One request from its file to its response file.
class CRequestRun {
public:
    explicit CRequestRun(IWQ_ZELProcessorFactory& factory) : m_factory(factory) {}

    CTestContext context;
    CRecordingProgress progress;
    bool force = false;

    /// Writes the text to a request file and runs it.
    [[nodiscard]] SOutcome Run(const std::string& requestText);
    /// Runs a request file into a response file.
    [[nodiscard]] eStage RunFile(const std::wstring& path, const std::wstring& responsePath);

private:
    [[nodiscard]] eStage Work(const std::wstring& path, const std::wstring& responsePath, SOutcome& outcome);
    [[nodiscard]] eStage MakeTask(BSTR xml, CComPtr<IWQ_ZELProcessorTask>& task);

    IWQ_ZELProcessorFactory& m_factory;
    testsupport::CTemporaryDirectory m_folder;
};

/// The text between `<name ...>` and `</name>`, the first from the position on.
[[nodiscard]] std::string ElementOf(const std::string& xml, const std::string& name, std::size_t from = 0);

} // namespace plugintest
