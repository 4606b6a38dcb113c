#include "NotificationFile.h"

#include "HandOver.h"
#include "platform/Os.h"

bool NotificationFile::HasContent(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
}

platform::eOsError NotificationFile::Empty(const CString& path)
{
    return Protocol::RetryForASecond([&] { return platform::WriteWholeFile(path, {}); });
}
