#pragma once

#include "ZEL_Processor/IWQ_Palette.h"

#include <optional>
#include <vector>

/// What a palette says of a change in the data. Palette, event and project are not the server's own: they are called
/// while nothing is locked, for a fault in them may be left by a jump that gives no lock back.
struct SPaletteAnswer {
    std::optional<std::vector<GUID>> groups; ///< those that changed; none when none did
    VARIANT_BOOL needsUpdate = VARIANT_FALSE;

    /// Throws CComError.
    [[nodiscard]] static SPaletteAnswer Ask(IWQ_Palette& palette, IWQ_DsEventsData* event, IWQ_Project* project);
};

/// Notes in the project, unless that was done before, that it is to update its palette. Throws CComError, also without
/// a project.
void MarkProject(IWQ_Project* project, VARIANT_BOOL needsUpdate);
