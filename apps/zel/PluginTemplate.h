#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// What a new plug-in begins with.

constexpr std::size_t kLongestPluginName = 64;

/// A letter, then letters, digits, '-' and '_', of ASCII: it becomes part of names of files, classes and targets.
[[nodiscard]] bool IsPluginName(const std::wstring& name);

/// For the name "word-count":
struct SPluginNames {
    std::string name;   ///< word-count
    std::string target; ///< zel_word_count: a prefix, for some plain words are targets of CMake itself
    std::string type;   ///< WordCount: the type of task, and the middle of names of classes
};
[[nodiscard]] SPluginNames PluginNames(const std::wstring& name);

/// The file, class or module of a plug-in that cannot have its name: a device of Windows, or one of the kit's. Empty
/// when there is none.
[[nodiscard]] std::wstring TakenName(const SPluginNames& names);

struct SPluginFile {
    std::string name;
    std::string text;
};
/// The class id is in the form of GuidToText.
[[nodiscard]] std::vector<SPluginFile> PluginFiles(const SPluginNames& names, const std::string& classId);
