#pragma once

#include "apps/zel-server/EventSink.h"

#include <vector>

/// Lets the plug-ins that know of changes in the data tell them to the server. Start, Stop and the end on one thread
/// whose COM is initialised.
class CEventFeed {
public:
    /// The server must outlive the feed.
    explicit CEventFeed(CZelProcessorServer& server);
    ~CEventFeed();
    CEventFeed(const CEventFeed&) = delete;
    CEventFeed& operator=(const CEventFeed&) = delete;

    /// Asks every plug-in factory once. One that cannot start is logged and left out.
    void Start();
    /// When it returns, nothing is told any more.
    void Stop();

private:
    void StartSource(const CLSID& factory);

    CComPtr<CEventSink> m_pSink;
    std::vector<CComPtr<IWQ_DsEventSource>> m_sources;
};
