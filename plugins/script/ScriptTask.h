#pragma once

#include "plugins/script/ScriptRun.h"

#include <ZEL_Processor/ZelPlugin.h>

#include <string>

/// A task that a program does.
class CScriptTask : public CZelTask {
public:
    explicit CScriptTask(const SScriptTask& task) : m_run(task) {}

    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    /// The response, after the work and until this object ends.
    [[nodiscard]] CString ResponsePath() const { return m_run.ResponsePath(); }

protected:
    bool Work(CZelProcessorContext& context, CZelProcessorProgress& progress) override;

private:
    std::string m_strRequest; ///< UTF-8
    CScriptRun m_run;
};

/// The response as the program wrote it.
class CScriptResponse : public CZelObject<IWQ_ZELProcessorResponse, IWQ_ZELProcessorTaskError> {
public:
    bool STDMETHODCALLTYPE SetTask(IWQ_ZELProcessorTask* task) override;
    bool STDMETHODCALLTYPE Save(const wchar_t* path) override;
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override;

private:
    CComPtr<CScriptTask> m_pTask;
    CString m_strError;
};
