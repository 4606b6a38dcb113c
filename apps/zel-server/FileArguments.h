#pragma once

#include "apps/common/CommandLine.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// The options of a file as arguments. Each was tried alone, so that what is wrong with it is told with its line.
class CFileArguments {
public:
    /// False with an error that names the file, the line where there is one, and the reason. An option that was named
    /// on the command line counts from there alone. Relative paths are those of the file's folder.
    [[nodiscard]] bool Read(const std::wstring& path, CLI::App& commandLine, std::wstring& error);

    [[nodiscard]] const std::vector<std::wstring>& Arguments() const { return m_arguments; }
    /// The mistake, with file and line when its option comes from there.
    [[nodiscard]] std::wstring Explain(const SArgumentMistake& mistake) const;

private:
    std::wstring m_path;
    std::vector<std::wstring> m_arguments;
    std::map<std::string, std::size_t> m_lines; ///< by the options that were taken from them
};
