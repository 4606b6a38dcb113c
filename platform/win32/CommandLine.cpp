#include "platform/win32/CommandLine.h"

#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/win32/SystemPath.h"
#include "platform/win32/WindowsHeader.h"

#include <algorithm>
#include <map>

namespace platform::win32 {

namespace {

/// The rules by which the C library takes a command line apart: backslashes count only before a quote, where they are
/// doubled, and a quote inside has one in front of it.
void AppendArgument(std::wstring& line, const std::wstring& argument)
{
    if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        line += argument;
        return;
    }
    line += L'"';
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
        if (character == L'"') {
            line.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        line += character;
    }
    line.append(backslashes, L'\\');
    line += L'"';
}

struct SLessNoCase {
    bool operator()(const std::wstring& left, const std::wstring& right) const
    {
        return CompareStringOrdinal(left.c_str(), -1, right.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

/// The system wants the block sorted by names without regard to case, and looks names up in that way.
using Variables = std::map<std::wstring, std::wstring, SLessNoCase>;

Variables OwnVariables()
{
    Variables variables;
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* entry = block; entry != nullptr && *entry != L'\0'; entry += wcslen(entry) + 1) {
        const std::wstring text(entry);
        const std::size_t equals = text.find(L'=', 1); // a drive's current directory is a variable named "=C:"
        if (equals != std::wstring::npos) {
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    FreeEnvironmentStringsW(block);
    return variables;
}

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(ToSystemPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

} // namespace

std::wstring MakeCommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments)
{
    std::wstring line = L"\"" + program + L"\""; // the first one has other rules: a quote can't be in a file's name
    for (const std::wstring& argument : arguments) {
        line += L' ';
        AppendArgument(line, argument);
    }
    return line;
}

std::wstring MakeEnvironmentBlock(const std::vector<std::pair<std::wstring, std::wstring>>& changes)
{
    Variables variables = OwnVariables();
    for (const auto& [name, value] : changes) {
        variables[name] = value;
    }
    std::wstring block;
    for (const auto& [name, value] : variables) {
        block += name + L'=' + value + L'\0';
    }
    block += L'\0';
    return block;
}

std::wstring FindProgram(const std::wstring& program)
{
    if (std::ranges::none_of(program, IsPathSeparator)) {
        // Not where the system looks besides: in the working directory anybody may have left a program.
        const std::wstring path = Environment(L"PATH");
        wchar_t found[MAX_PATH] = {};
        const DWORD length = SearchPathW(path.c_str(), program.c_str(), L".exe", MAX_PATH, found, nullptr);
        if (length != 0 && length < MAX_PATH) {
            return found;
        }
    }
    const std::wstring withExtension = program + L".exe";
    return !IsFile(program) && IsFile(withExtension) ? withExtension : program;
}

} // namespace platform::win32
