#include "com/XmlLimits.h"

#include <algorithm>

namespace {

thread_local SXmlLimits t_limits;

} // namespace

const SXmlLimits& XmlLimitsOfThread()
{
    return t_limits;
}

void SetXmlLimitsOfThread(const SXmlLimits& limits)
{
    for (const SXmlLimit& limit : kXmlLimits)
        t_limits.*limit.value = std::min(limits.*limit.value, limit.highest);
}
