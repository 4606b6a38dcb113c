#pragma once

#include "platform/OsError.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"

namespace platform::posix {

/// A file that others are kept off. Lets go of it before it is closed: a child that is just being started may still
/// have a copy of the descriptor, with which lease and lock would live on.
class CHeldFile {
public:
    CHeldFile() = default;
    ~CHeldFile() { Reset(CDescriptor()); }
    CHeldFile(const CHeldFile&) = delete;
    CHeldFile& operator=(const CHeldFile&) = delete;

    void Reset(CDescriptor descriptor);
    [[nodiscard]] int Get() const { return m_descriptor.Get(); }
    [[nodiscard]] explicit operator bool() const { return static_cast<bool>(m_descriptor); }

private:
    CDescriptor m_descriptor;
};

/// Opens the file that a path names and keeps others off it. None with an empty descriptor for what cannot be opened
/// and can be renamed and deleted all the same: a link, or a file that we may neither read nor write.
[[nodiscard]] eOsError HoldFile(const CNativePath& path, CHeldFile& held);

} // namespace platform::posix
