#pragma once

#include "framework/DsEventsData.h"

/// Who wants to hear of changes in the data. Called on a thread of the source, one call at a time.
struct IWQ_DsEventSink : public IUnknown {
    /// Data changed. The events object is the sink's to keep; the source does not touch it any more.
    virtual HRESULT STDMETHODCALLTYPE OnChangedDs(IWQ_DsEventsData* events) = 0;
    /// The results of locking changed.
    virtual HRESULT STDMETHODCALLTYPE OnChangedLockResults() = 0;
};

/// A factory that knows of changes in the data that it serves has this as a further interface. Start and Stop are
/// called on one thread.
struct IWQ_DsEventSource : public IUnknown {
    /// Changes from now on are told to the sink, to which a reference is kept until Stop. E_POINTER for null,
    /// E_UNEXPECTED when it is started already, S_FALSE when there is nothing to watch.
    virtual HRESULT STDMETHODCALLTYPE Start(IWQ_DsEventSink* sink) = 0;
    /// Ends the telling: when it returns, no call to the sink is under way and none will come. S_FALSE when not
    /// started.
    virtual HRESULT STDMETHODCALLTYPE Stop() = 0;
};

ZEL_DECLARE_IID(IWQ_DsEventSink, 0x7C0E2F55, 0x1E0B, 0x4A3C, 0x9A, 0x1D, 0x2B, 0x61, 0x77, 0x0D, 0xC4, 0x38);
ZEL_DECLARE_IID(IWQ_DsEventSource, 0xE2B6D1A4, 0x5F37, 0x4C8E, 0x8C, 0x40, 0x93, 0xF5, 0x0A, 0x6E, 0x21, 0xB7);
