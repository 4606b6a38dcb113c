#include "platform/ThreadName.h"

#include <cstring>
#include <pthread.h>

namespace platform {

void NameThreadForTheSystem(const char* name)
{
    constexpr std::size_t kLongest = 15; // the kernel's limit
    const std::size_t length = std::strlen(name);
    pthread_setname_np(pthread_self(), name + (length > kLongest ? length - kLongest : 0));
}

} // namespace platform
