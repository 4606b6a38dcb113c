#include "apps/common/Directories.h"

#include "platform/Path.h"

std::wstring NormalDirectory(const std::wstring& path)
{
    std::wstring absolute = platform::AbsolutePath(path);
    // The separator of a root belongs to its name: nothing, or nothing but a drive, is before it.
    while (absolute.size() > 1 && platform::IsPathSeparator(absolute.back()) && absolute[absolute.size() - 2] != L':')
        absolute.pop_back();
    return absolute;
}
