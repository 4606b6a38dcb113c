#pragma once

#include "platform/Export.h"
#include "platform/Fault.h"

#include <cstddef>
#include <string>

/// What a process says when it ends by a fault that cannot be contained. The allocator may be locked or damaged then,
/// so what is said is made ready before, and saying it allocates nothing, takes no lock and asks no other code.
namespace platform {

/// Names what the current thread works on; a text that stays. It must neither allocate nor fault.
using SubjectFunction = const wchar_t* (*)();

/// From now on such an end is told on standard error, and in a file of this folder, for this user alone. Whether the
/// folder is to be trusted the caller has looked at; one that is gone by then is made anew. On POSIX neither a link nor
/// a folder of another owner counts for it then; on Windows the access list of the file alone keeps others out. Empty,
/// or too long: told on standard error alone. header: the first lines of the file. Where standard error is the journal,
/// each line there begins with the priority of an error.
ZEL_FRAMEWORK_API void PrepareLastWords(const std::wstring& folder, const std::string& header, SubjectFunction subject);

/// Tells of this fault; nothing before PrepareLastWords.
void SayLastWords(const SFaultRecord& record);

/// Begins the names of the files of reports; the time follows.
inline constexpr char kReportNamePrefix[] = "zel-crash-";

/// A text in a room of its own; what does not fit is left out.
class CFixedText {
public:
    void Add(const char* text)
    {
        while (*text != '\0')
            AddByte(*text++);
    }
    /// Only plain characters: others, and what ends a line, are question marks.
    void AddPrintable(const wchar_t* text)
    {
        for (; *text != L'\0'; ++text)
            AddByte(*text >= L' ' && *text <= L'~' ? static_cast<char>(*text) : '?');
    }
    /// With zeros in front up to the width, of 20 at most.
    void AddNumber(std::uint64_t value, unsigned base, unsigned width = 1)
    {
        constexpr char kDigits[] = "0123456789abcdef";
        char digits[20]; // of the longest decimal number
        unsigned count = 0;
        for (; value != 0 || count < width; value /= base)
            digits[count++] = kDigits[value % base];
        while (count > 0)
            AddByte(digits[--count]);
    }
    void AddByte(char byte)
    {
        if (m_length + 1 < sizeof m_text)
            m_text[m_length++] = byte;
    }
    void Clear()
    {
        while (m_length > 0)
            m_text[--m_length] = '\0';
    }
    [[nodiscard]] const char* Get() const { return m_text; }
    [[nodiscard]] std::size_t Length() const { return m_length; }

private:
    char m_text[16 * 1024] = {};
    std::size_t m_length = 0;
};

namespace last_words {

// Each system's part, under the rules above.

/// Keeps the folder for WriteFile, and who may use what is made there.
void KeepFolder(const std::wstring& folder);
void WriteError(const CFixedText& text);
/// Makes the file, for this user alone, in the kept folder, and adds its path to where. False without one.
bool WriteFile(const char* name, const CFixedText& text, CFixedText& where);
/// "module+0xoffset", as far as known.
void AddPlace(std::uintptr_t address, CFixedText& text);

} // namespace last_words

} // namespace platform
