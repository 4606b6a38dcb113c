#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/OsError.h"

#include <functional>
#include <string>

/// Makes the folder of a server's own, and has it to itself. One that somebody else made is refused.
[[nodiscard]] platform::eOsError MakeOwnFolder(const CString& folder);

/// Small files of a server's own, one for each thing that it has to know after it was killed, under the thing's name.
/// Safe from any thread, as long as each name is one thread's at a time.
class CRecordFolder {
public:
    /// isSynced: what is written is on the device when the call returns.
    CRecordFolder(CString folder, bool isSynced) : m_strFolder(std::move(folder)), m_bSynced(isSynced) {}

    /// Makes the folder when it is missing.
    [[nodiscard]] platform::eOsError Write(const CString& name, const std::string& bytes) const;
    void Remove(const CString& name) const;
    /// All of them, one after the other; a record that can't be read is empty. A missing folder has none.
    [[nodiscard]] platform::eOsError Visit(
        const std::function<void(const CString& name, const std::string& bytes)>& visitor) const;

private:
    [[nodiscard]] platform::eOsError MakeFolder() const;
    [[nodiscard]] CString PathOf(const CString& name) const;

    const CString m_strFolder;
    const bool m_bSynced;
};
