#pragma once

#include <ZEL_Processor/ZelTypes.h>

#include <cstdint>
#include <string_view>
#include <vector>

/// A type of tasks and the program that does them.
struct SScriptTask {
    CString type;
    CString program; ///< a full path, or a name alone, which is looked for where the system looks for programs
    std::vector<CString> arguments;
    bool writesFile = false;           ///< the response; else it is the program's standard output
    std::uint64_t longestResponse = 0; ///< in bytes

    bool operator==(const SScriptTask&) const = default;
};

/// The file that says which programs do which tasks, `script-tasks.json`. What is wrong with it is told in a sentence
/// that names it.
class CScriptConfiguration {
public:
    /// The file of this process: the one that the variable ZEL_SCRIPT_TASKS names, else that of the user's
    /// configuration folder, else that of the system's. Empty when there is none.
    [[nodiscard]] static CString Path();

    /// False when the file can't be used; there are no tasks then.
    [[nodiscard]] bool Load(const CString& path, CString& error);
    /// The same from the content of a file in this folder.
    [[nodiscard]] bool Read(std::string_view json, const CString& folder, CString& error);

    [[nodiscard]] const std::vector<SScriptTask>& Tasks() const { return m_tasks; }
    /// Null for a type that is not there.
    [[nodiscard]] const SScriptTask* Find(const CString& type) const;

private:
    std::vector<SScriptTask> m_tasks;
};
