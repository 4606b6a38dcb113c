#include "platform/win32/ChildStreams.h"

#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

namespace platform::win32 {
namespace {

CHandle OpenNull()
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CHandle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                               OPEN_EXISTING, 0, nullptr));
}

} // namespace

CHandle ShareOwnStream(DWORD standardHandle)
{
    const HANDLE own = GetStdHandle(standardHandle);
    HANDLE shared = nullptr;
    const bool done =
        own != nullptr && own != INVALID_HANDLE_VALUE &&
        DuplicateHandle(GetCurrentProcess(), own, GetCurrentProcess(), &shared, 0, TRUE, DUPLICATE_SAME_ACCESS);
    return done ? CHandle(shared) : OpenNull();
}

eOsError MakeInput(bool pipe, const std::wstring& file, CHandle& childEnd, CHandle& ourEnd)
{
    if (!pipe) {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        childEnd = file.empty() ? ShareOwnStream(STD_INPUT_HANDLE)
                                : CHandle(CreateFileW(ToSystemPath(file).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                      &inheritable, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        return childEnd ? eOsError_None : LastOsError();
    }
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (!CreatePipe(&reading, &writing, nullptr, 0)) {
        return LastOsError();
    }
    childEnd = CHandle(reading);
    ourEnd = CHandle(writing);
    return SetHandleInformation(reading, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) ? eOsError_None : LastOsError();
}

eOsError MakeError(const std::wstring& file, CHandle& childEnd)
{
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    childEnd = file.empty() ? ShareOwnStream(STD_ERROR_HANDLE)
                            : CHandle(CreateFileW(ToSystemPath(file).c_str(), GENERIC_WRITE,
                                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inheritable,
                                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return childEnd ? eOsError_None : LastOsError();
}

} // namespace platform::win32
