#pragma once

#include <ZEL_Processor/IWQ_Palette.h>

/// IWQ_Palette::GetChangedGroups of the data store: each table is a group, with the id that it has as a source of rows.
/// Groups change when tables come, go or get other columns, not when rows do.
[[nodiscard]] HRESULT ChangedGroups(IWQ_DsEventsData* events, VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                                    VARIANT_BOOL* projectNeedsUpdate);
