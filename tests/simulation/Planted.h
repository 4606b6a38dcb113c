#pragma once

#include <array>
#include <string_view>

namespace sim {

/// Faults that are built into the layer and the plug-in on purpose, to show that the checker sees what they do.
enum ePlanted {
    ePlanted_None,
    ePlanted_LostNotice,     ///< a change of a directory is never told
    ePlanted_HiddenName,     ///< a listing leaves a name out
    ePlanted_MoveCopies,     ///< a move leaves the old name
    ePlanted_FailureHidden,  ///< a move that fails says that it was made
    ePlanted_ShortWrite,     ///< a write takes half of the bytes, and says all
    ePlanted_MoveInParts,    ///< a move shows the new name before the content
    ePlanted_HoldIgnored,    ///< who wants a file alone gets it beside others
    ePlanted_HoldKept,       ///< a file stays held after its process died
    ePlanted_RemovalUndone,  ///< a removal says that it was made
    ePlanted_StatusTooEarly, ///< a response is written after the status that says it is there
    ePlanted_FileNotSynced,  ///< a sync of a file does nothing
    ePlanted_NamesNotSynced, ///< nor that of a directory
};

/// In the order of the numbers.
inline constexpr std::array<std::string_view, 13> kPlantedNames = {"none",
                                                                   "lost-notice",
                                                                   "hidden-name",
                                                                   "move-copies",
                                                                   "failure-hidden",
                                                                   "short-write",
                                                                   "move-in-parts",
                                                                   "hold-ignored",
                                                                   "hold-kept",
                                                                   "removal-undone",
                                                                   "status-too-early",
                                                                   "file-not-synced",
                                                                   "names-not-synced"};

} // namespace sim
