#pragma once

#include <ZEL_Processor/ZelPlugin.h>

#include <memory>

/// Base of the tasks of this module: takes care of what is thrown, of reporting failures and of cancellation.
class CDataStoreTask : public CZelTask {
public:
    bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) override;
    bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) override;

    /// Reads the task from its element. False, with a text for the client, when it is wrong.
    [[nodiscard]] virtual bool Read(IXMLDOMNode* task, CString& error) = 0;
    /// Finds what can be found without doing the work: whether data source, statement or table are what they should be.
    [[nodiscard]] virtual bool Check(CString& error) const = 0;
    /// Writes the document element of the response; after ObtainData.
    [[nodiscard]] virtual bool WriteResponse(CZelXmlWriter& xml) = 0;

protected:
    enum eOutcome { eOutcome_Done, eOutcome_Canceled, eOutcome_Failed };
    /// Does the work. Failed comes with a text for the operator and the client.
    [[nodiscard]] virtual eOutcome Run(CZelProcessorContext& context, CZelProcessorProgress& progress,
                                       CString& error) = 0;
};

/// The task of a type; empty for a type that this module does not have.
[[nodiscard]] CComPtr<CDataStoreTask> MakeDataStoreTask(const CString& type);
