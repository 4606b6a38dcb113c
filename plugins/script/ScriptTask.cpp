#include "plugins/script/ScriptTask.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>

bool STDMETHODCALLTYPE CScriptTask::Init(IXMLDOMNode* task)
{
    return SUCCEEDED(ZelComResult([&] {
        CComPtr<IXMLDOMDocument> document;
        CComPtr<IXMLDOMElement> root;
        CBstr xml;
        if (task == nullptr || FAILED(task->get_ownerDocument(document.Put())) || !document)
            return E_INVALIDARG;
        ThrowIfFailed(document->get_documentElement(root.Put()));
        ThrowIfFailed(root->get_xml(xml.Put()));
        m_strRequest = platform::ToUtf8(xml.View());
        return S_OK;
    }));
}

bool CScriptTask::Work(CZelProcessorContext& context, CZelProcessorProgress& progress)
{
    CString error;
    if (m_run.Run(m_strRequest, context, progress, error) != CScriptRun::eEnd_Failed)
        return true; // a cancellation as well: the processor asks for it itself and says so
    return Fail(std::move(error));
}

bool STDMETHODCALLTYPE CScriptResponse::SetTask(IWQ_ZELProcessorTask* task)
{
    return SUCCEEDED(ZelComResult([&] {
        m_pTask = ZelOwn<CScriptTask>(task);
        return m_pTask ? S_OK : E_NOINTERFACE;
    }));
}

bool STDMETHODCALLTYPE CScriptResponse::Save(const wchar_t* path)
{
    return SUCCEEDED(ZelComResult([&] {
        std::unique_ptr<platform::IFile> from;
        CZelFileWriter to;
        if (path == nullptr || !m_pTask)
            return E_FAIL;
        platform::eOsError error =
            platform::Files().Open(m_pTask->ResponsePath(), platform::eOpenMode_ReadShared, from);
        bool isGood = platform::Succeeded(error) && to.Open(path);
        std::array<std::byte, 65536> buffer;
        for (std::size_t read = buffer.size(); isGood && read != 0;) {
            error = from->Read(buffer, read);
            isGood = platform::Succeeded(error) &&
                     to.Write(std::string_view(reinterpret_cast<const char*>(buffer.data()), read));
        }
        if (isGood && to.Close())
            return S_OK;
        m_strError = platform::OsErrorText(platform::Succeeded(error) ? to.Error() : error) + L".";
        return E_FAIL;
    }));
}

bool STDMETHODCALLTYPE CScriptResponse::GetErrorText(BSTR* text)
{
    if (text == nullptr)
        return false;
    *text = nullptr;
    return !m_strError.empty() && SUCCEEDED(ZelComResult([&] {
        *text = CBstr(m_strError).Detach();
        return S_OK;
    }));
}
