#pragma once

#include "apps/common/CommandLine.h"
#include "apps/zel/AnswerFormat.h"
#include "apps/zel/Patience.h"

#include <optional>
#include <string>

/// The option --format.
class CFormatOption {
public:
    void Define(CLI::App& app);
    [[nodiscard]] eAnswerFormat Take(bool json) const;

private:
    std::string m_strFormat;
};

/// Writes an answer, which may come from a stranger, to standard output, or into the file that is made for it. On a
/// terminal its control characters are shown as \x1b and the like. The name is for reasons. False with the reason;
/// empty when the reader of standard output wanted no more.
[[nodiscard]] bool ShowAnswer(IPatience& patience, const ByteSource& source, const std::wstring& name,
                              eAnswerFormat format, std::wstring& error);
[[nodiscard]] bool ShowAnswer(IPatience& patience, const ByteSource& source, const std::wstring& name,
                              eAnswerFormat format, const std::wstring& file, std::wstring& error);

/// The bytes of a file that somebody may still have open for a moment. Empty with the reason.
[[nodiscard]] ByteSource AnswerFile(IPatience& patience, const std::wstring& path, std::wstring& error);
