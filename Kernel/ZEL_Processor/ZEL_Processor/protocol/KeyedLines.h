#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <charconv>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>

/// The small files in which a server tells something: a line that says what the file is, lines of a key, a tabulator
/// and a value in UTF-8, where \n, \t and \\ stand for a line end, a tabulator and a backslash, and a last line that
/// says that all of it is there.
namespace KeyedLines {

inline constexpr std::string_view kLastLine = "end\t\n";

/// One line of a file.
[[nodiscard]] std::string Line(std::string_view key, const CString& value);
/// The value of a line as it was before.
[[nodiscard]] CString ValueOf(std::string_view value);
/// Takes each line between the first one and the last. False, with none taken, for what is no such file, or not all of
/// one, or longer than that.
[[nodiscard]] bool Read(std::string_view text, std::string_view firstLine, std::size_t maxBytes,
                        const std::function<void(std::string_view key, std::string_view value)>& take);

/// A value that is no number, or none of this kind, leaves it as it was.
template <class Number>
void TakeNumber(std::string_view value, Number& number)
{
    Number read = 0;
    const char* const end = value.data() + value.size();
    if (const auto [last, error] = std::from_chars(value.data(), end, read); error == std::errc() && last == end)
        number = read;
}

} // namespace KeyedLines
