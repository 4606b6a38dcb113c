#pragma once

#include "plugins/datastore/TableSnapshot.h"

#include <ZEL_Processor/IWQ_DsEventSource.h>

#include <utility>
#include <vector>

/// Changes that were found in one round over the data sources, and how they are told.
class CSourceChanges {
public:
    /// A table came, went or got other columns.
    void AddStructure(const GUID& table) { m_structure.push_back(table); }
    void AddRows(const GUID& table, STableChange change);
    void AddLocks() { m_bLocks = true; }

    /// Tells all at most one event of each kind, structure first, and that locks changed.
    void Tell(IWQ_DsEventSink& sink) const;

private:
    [[nodiscard]] CComPtr<IWQ_DsEventsData> ItemsEvent() const;

    std::vector<GUID> m_structure;
    std::vector<GUID> m_whole;
    std::vector<std::pair<GUID, STableChange>> m_rows;
    bool m_bLocks = false;
};
