#pragma once

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/Project.h"
#include "framework/DsEventsData.h"

/// The host's palette: groups of what a user can insert, which follow from the data. A host gives one to the server, or
/// a plug-in's factory has it as a further interface. The server calls it on the thread that tells of a change.
struct IWQ_Palette : public IUnknown {
    /// Which groups a change of the data changed. events and project may be null, the rest may not (E_POINTER).
    /// groupsChanged: whether there are any; groups: their ids, with a reference for the caller, null when there are
    /// none. projectNeedsUpdate: whether the project must make its palette anew when it is opened the next time.
    virtual HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData* events, IWQ_Project* project,
                                                       VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                                                       VARIANT_BOOL* projectNeedsUpdate) = 0;
};

ZEL_DECLARE_IID(IWQ_Palette, 0xBBB89D88, 0xA0FD, 0x4B02, 0x81, 0x31, 0xE2, 0x8A, 0xDD, 0x38, 0xB8, 0x68);
