#include "platform/LastWords.h"

#include "platform/Path.h"
#include "platform/win32/AccessList.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <array>
#include <cwchar>

namespace platform::last_words {

namespace {

// A path with the prefix that lifts its limit.
constexpr std::size_t kLongestPath = 1024;
std::array<wchar_t, kLongestPath> g_folder{}; // empty without one, else with a separator at the end
SECURITY_ATTRIBUTES g_access{};               // of what is made there

using QueryMemoryFunction = LONG(NTAPI*)(HANDLE, const void*, int, void*, SIZE_T, SIZE_T*);
QueryMemoryFunction g_queryMemory = nullptr;

bool WriteAll(HANDLE file, const CFixedText& text)
{
    DWORD written = 0;
    return ::WriteFile(file, text.Get(), static_cast<DWORD>(text.Length()), &written, nullptr) != FALSE &&
           written == text.Length();
}

} // namespace

void KeepFolder(const std::wstring& folder)
{
    // The loader's own answer waits for its lock.
    g_queryMemory = win32::OptionalFunction<QueryMemoryFunction>(L"ntdll.dll", "NtQueryVirtualMemory");
    g_access = {sizeof g_access, win32::MakePrivateAccess(L""), FALSE}; // kept for good: for the end of the process
    if (folder.empty() || g_access.lpSecurityDescriptor == nullptr) {
        return;
    }
    const std::wstring path = win32::ToSystemPath(AbsolutePath(folder)) + L"\\";
    constexpr std::size_t roomForName = 64;
    if (path.size() + roomForName < g_folder.size()) {
        path.copy(g_folder.data(), path.size());
    }
}

void WriteError(const CFixedText& text)
{
    static_cast<void>(WriteAll(GetStdHandle(STD_ERROR_HANDLE), text));
}

bool WriteFile(const char* name, const CFixedText& text, CFixedText& where)
{
    const std::size_t length = wcslen(g_folder.data());
    if (length == 0) {
        return false;
    }
    CreateDirectoryW(g_folder.data(), &g_access); // something that cleans up may have found it empty
    std::size_t end = length;
    for (; *name != '\0' && end + 1 < g_folder.size(); ++name) {
        g_folder[end++] = static_cast<wchar_t>(*name);
    }
    const HANDLE file =
        CreateFileW(g_folder.data(), GENERIC_WRITE, 0, &g_access, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    constexpr std::size_t prefix = 4; // that lifts the limit of a path; without it a drive begins
    where.AddPrintable(&g_folder[g_folder[prefix] != L'\0' && g_folder[prefix + 1] == L':' ? prefix : 0]);
    return file != INVALID_HANDLE_VALUE && WriteAll(file, text); // what is open goes with the process
}

void AddPlace(std::uintptr_t address, CFixedText& text)
{
    DWORD64 base = 0;
    if (RtlLookupFunctionEntry(address, &base, nullptr) == nullptr || g_queryMemory == nullptr) {
        return;
    }
    constexpr int mappedFileName = 2;
    struct SMappedName {
        USHORT length;
        USHORT room;
        const wchar_t* text;
        wchar_t memory[512];
    } name{};
    SIZE_T used = 0;
    if (g_queryMemory(GetCurrentProcess(), reinterpret_cast<const void*>(base), mappedFileName, &name, sizeof name,
                      &used) < 0) {
        return;
    }
    name.memory[std::size(name.memory) - 1] = L'\0';
    const wchar_t* const last = wcsrchr(name.memory, L'\\');
    text.AddPrintable(last != nullptr ? last + 1 : name.memory);
    text.Add("+0x");
    text.AddNumber(address - base, 16);
}

} // namespace platform::last_words
