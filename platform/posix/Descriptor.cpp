#include "platform/posix/Descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace platform::posix {

void CDescriptor::Reset(int descriptor)
{
    const int old = std::exchange(m_descriptor, descriptor);
    if (old >= 0) {
        const int saved = errno;
        close(old);
        errno = saved;
    }
}

} // namespace platform::posix
