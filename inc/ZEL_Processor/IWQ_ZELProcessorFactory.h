#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorProgress.h"
#include "com/Com.h"
#include "com/Xml.h"

/// The contract between the request processor and its plug-ins. A plug-in is a COM module whose factory component is in
/// the category below. The processor makes one object of each factory when it is constructed, asks them in category
/// order, and the first that accepts wins. All calls come on the server's executive thread, one request at a time; a
/// factory is made and released on the thread that constructs and destroys the server.
///
/// Operations answer with bool and out pointers; an out pointer carries one reference for the caller and stays null on
/// false. An exception that leaves an operation, like a processor fault in it, ends the request with a server error;
/// the server goes on, but what the interrupted frames held is lost.

/// Components that can serve requests are registered in this category.
constexpr GUID CATID_ZELProcessorFactory = {
    0x80D84198, 0x37D5, 0x4BB3, {0xB2, 0x54, 0x91, 0x46, 0x0E, 0x9F, 0x8F, 0xFC}};

/// A request that a factory understood.
struct IWQ_ZELProcessorRequest : public IUnknown {
    /// The request's XML text, to be freed with SysFreeString. False: GetErrorText tells why.
    virtual bool STDMETHODCALLTYPE GetXml(BSTR* xml) = 0;
    /// Why GetXml failed; the text becomes part of the request's status comment. To be freed with SysFreeString.
    virtual bool STDMETHODCALLTYPE GetErrorText(BSTR* text) = 0;
};

/// The work of one request.
struct IWQ_ZELProcessorTask : public IUnknown {
    /// Takes what it needs from the request's "Task" element. The element is released after the call unless the task
    /// keeps a reference.
    virtual bool STDMETHODCALLTYPE Init(IXMLDOMNode* task) = 0;
    /// Does the work. Long work asks context->IsCanceled() often and reports through progress; both are valid during
    /// the call only.
    virtual bool STDMETHODCALLTYPE ObtainData(CZelProcessorContext* context, CZelProcessorProgress* progress) = 0;
};

/// Optional second interface of a task: lets it put a request off.
struct IWQ_ZELProcessorTaskReadiness : public IUnknown {
    /// False puts the request back into the queue, behind everything that waits. force: the request was put off often
    /// enough, or nothing else is waiting; the task should then do its best, but may still decline.
    virtual bool STDMETHODCALLTYPE CanProcess(CZelProcessorContext* context, bool force) = 0;
};

/// Optional interface of a task or response: words of its own for a failure.
struct IWQ_ZELProcessorTaskError : public IUnknown {
    /// Asked after Init, ObtainData or Save gave false, when the host wants reasons (SZelServerOptions::tellReasons).
    /// The text becomes part of the request's status comment; false: there is none. To be freed with SysFreeString.
    virtual bool STDMETHODCALLTYPE GetErrorText(BSTR* text) = 0;
};

/// Writes what a task obtained.
struct IWQ_ZELProcessorResponse : public IUnknown {
    virtual bool STDMETHODCALLTYPE SetTask(IWQ_ZELProcessorTask* task) = 0;
    /// Writes the response file. The path is in the output directory, which clients look into only after the request is
    /// done. After false no partial file should be left.
    virtual bool STDMETHODCALLTYPE Save(const wchar_t* path) = 0;
};

struct IWQ_ZELProcessorFactory : public IUnknown {
    /// True when this factory understood the request file.
    virtual bool STDMETHODCALLTYPE CreateRequest(const wchar_t* path, IWQ_ZELProcessorRequest** request) = 0;
    /// True when this factory serves the type, the "Type" attribute of the request's "Task" element.
    virtual bool STDMETHODCALLTYPE CreateTask(const wchar_t* type, IWQ_ZELProcessorTask** task) = 0;
    /// True when this factory writes the responses of this request.
    virtual bool STDMETHODCALLTYPE CreateResponse(IWQ_ZELProcessorRequest* request,
                                                  IWQ_ZELProcessorResponse** response) = 0;
};

/// Optional second interface of a factory: what it serves, for people.
struct IWQ_ZELProcessorTaskTypes : public IUnknown {
    /// The types that CreateTask takes, one per line. To be freed with SysFreeString. From any thread.
    virtual bool STDMETHODCALLTYPE GetTaskTypes(BSTR* types) = 0;
};

ZEL_DECLARE_IID(IWQ_ZELProcessorFactory, 0x9534A484, 0xC7F6, 0x45D9, 0x9B, 0x01, 0xEC, 0x80, 0xF9, 0xB9, 0xE9, 0x4F);
ZEL_DECLARE_IID(IWQ_ZELProcessorTask, 0x73A42410, 0x9672, 0x11E0, 0xAA, 0x80, 0x08, 0x00, 0x20, 0x0C, 0x9A, 0x66);
ZEL_DECLARE_IID(IWQ_ZELProcessorTaskReadiness, 0xCF25F4D0, 0xA8B0, 0x4DDD, 0x93, 0xC4, 0xBC, 0xF3, 0x8F, 0x78, 0x3E,
                0x2C);
ZEL_DECLARE_IID(IWQ_ZELProcessorRequest, 0x5C0B7B6A, 0x2E0D, 0x4D4B, 0x8C, 0x5F, 0x2B, 0x0E, 0x6D, 0x1A, 0x7F, 0x31);
ZEL_DECLARE_IID(IWQ_ZELProcessorResponse, 0xA7D9E3F2, 0x61C8, 0x4F0E, 0x9A, 0x34, 0x7D, 0x52, 0x0B, 0xC6, 0x18, 0xE9);
ZEL_DECLARE_IID(IWQ_ZELProcessorTaskError, 0x1F6E2B57, 0x4C0A, 0x4D8E, 0x9E, 0x21, 0x5B, 0x73, 0xA1, 0x0C, 0xD4, 0x68);
ZEL_DECLARE_IID(IWQ_ZELProcessorTaskTypes, 0x3D90C7A4, 0x82F1, 0x4B3C, 0xA6, 0x5D, 0x17, 0xE8, 0x04, 0x9B, 0x2C, 0xF3);
