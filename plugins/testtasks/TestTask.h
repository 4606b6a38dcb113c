#pragma once

#include "plugins/testtasks/Parameters.h"

/// What the response needs of every task here.
struct ITestTask : public IUnknown {
    [[nodiscard]] virtual const CString& ResponseText() const = 0;
    /// The two operations of the response, as far as the task has a word in them.
    [[nodiscard]] virtual bool AllowsSetTask() = 0;
    [[nodiscard]] virtual bool AllowsSave() = 0;
};
ZEL_DECLARE_IID(ITestTask, 0xDBBE83E8, 0x0799, 0x46A3, 0x88, 0xF3, 0x27, 0x85, 0x86, 0x0F, 0xB8, 0x2C);

/// A task that works as long as it is told so; base of those that do more. Extra are its interfaces beyond
/// IWQ_ZELProcessorTask.
template <class... Extra>
class CTestTaskOf : public CZelTaskWith<ITestTask, Extra...> {
public:
    [[nodiscard]] const CString& ResponseText() const override { return m_strResponse; }
    [[nodiscard]] bool AllowsSetTask() override { return true; }
    [[nodiscard]] bool AllowsSave() override { return true; }

protected:
    void SetResponseText(const CString& text) { m_strResponse = text; }

private:
    CString m_strResponse;
};
using CTestTask = CTestTaskOf<>;

/// "Echo".
class CEchoTask : public CTestTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;
};

/// The tasks whose type begins with "Fail": false at the stage that the type names.
class CFailTask : public CTestTask {
public:
    explicit CFailTask(CString type);

    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;
    [[nodiscard]] bool AllowsSetTask() override { return m_strType != L"FailSetTask"; }
    [[nodiscard]] bool AllowsSave() override { return m_strType != L"FailSave"; }

private:
    const CString m_strType;
    CString m_strComment;
    CString m_strWords; ///< of its own, for the failure
};
