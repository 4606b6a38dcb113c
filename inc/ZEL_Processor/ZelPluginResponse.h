#pragma once

#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/ZelPluginModule.h"
#include "ZEL_Processor/ZelPluginWriter.h"
#include "com/Bstr.h"
#include "framework/Services.h"

/// Base of a response that is written as XML from one class of tasks of the same module. It streams: what is written
/// does not pile up in memory. What the system says of a file that can't be written, the sender of the request is told.
template <class Task>
class CZelXmlResponse : public CZelObject<IWQ_ZELProcessorResponse, IWQ_ZELProcessorTaskError> {
public:
    bool STDMETHODCALLTYPE SetTask(IWQ_ZELProcessorTask* task) override
    {
        return SUCCEEDED(ZelComResult([&] {
            m_pTask = ZelOwn<Task>(task);
            return m_pTask ? S_OK : E_NOINTERFACE;
        }));
    }
    bool STDMETHODCALLTYPE Save(const wchar_t* path) override
    {
        return SUCCEEDED(ZelComResult([&] { return path != nullptr && m_pTask && SaveTo(path) ? S_OK : E_FAIL; }));
    }
    bool STDMETHODCALLTYPE GetErrorText(BSTR* text) override
    {
        if (text == nullptr)
            return false;
        *text = nullptr;
        return !m_strError.empty() && SUCCEEDED(ZelComResult([&] {
            *text = CBstr(m_strError).Detach();
            return S_OK;
        }));
    }

protected:
    /// Writes the document element; the XML declaration is there already. False when it can't; nothing is left of the
    /// file then.
    [[nodiscard]] virtual bool Write(Task& task, CZelXmlWriter& xml) = 0;

private:
    bool SaveTo(const CString& path)
    {
        CZelFileWriter file;
        if (file.Open(path)) {
            CZelXmlWriter xml(file);
            xml.Declaration();
            if (Write(*m_pTask, xml) && xml.IsGood() && file.Close())
                return true;
        }
        if (!platform::Succeeded(file.Error())) {
            m_strError = platform::OsErrorText(file.Error()) + L".";
            WQ_ReportErrorNow(L"inc/ZEL_Processor/ZelPluginResponse", 43, L"CZelXmlResponse::Save",
                              L"Can't write response \"" + path + L"\": " + platform::OsErrorText(file.Error()));
        }
        return false;
    }

    CComPtr<Task> m_pTask;
    CString m_strError;
};
