#pragma once

#include "plugins/testtasks/TestTask.h"

/// Where the "Crash" task crashes and how. Read in each object that takes part, since each sees the request at another
/// time.
struct SCrashPlan {
    CString kind;
    CString where;

    explicit SCrashPlan(IXMLDOMNode* task);
    SCrashPlan() = default;
    [[nodiscard]] bool IsValid() const;
    /// Crashes when this is the place.
    void At(const wchar_t* place) const;
};

/// "Crash".
class CCrashTask : public CTestTaskOf<IWQ_ZELProcessorTaskReadiness> {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;
    bool STDMETHODCALLTYPE CanProcess(CZelProcessorContext* context, bool force) override;
    [[nodiscard]] bool AllowsSetTask() override;
    [[nodiscard]] bool AllowsSave() override;

private:
    SCrashPlan m_plan;
};
