#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>

struct CServerSettings;

/// Tells which request each of several slots runs (SZelServerOptions::tellSlots). Nothing depends on it: what cannot be
/// written is not told. Safe from any thread, as long as each slot is one thread's.
class CSlotRecords {
public:
    explicit CSlotRecords(const CServerSettings& settings) : m_settings(settings) {}

    /// What an earlier server told goes.
    void Clear() const;
    /// Before the run. slot: from 0 on.
    void Tell(std::size_t slot, const CString& requestPath) const;

private:
    [[nodiscard]] CString Folder() const;
    [[nodiscard]] bool IsOurs() const;
    [[nodiscard]] bool MakeFolder() const;

    const CServerSettings& m_settings;
};
