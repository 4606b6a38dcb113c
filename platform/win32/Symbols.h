#pragma once

#include "platform/win32/ModuleFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace platform::win32 {

/// The functions of a module by their offset in memory, from the symbol table that the linker appends to the module's
/// file. Our tools write no other file with symbols. A stripped module has none.
class CModuleSymbols {
public:
    CModuleSymbols() = default;
    /// Whatever the file is, what can't be read is left out.
    explicit CModuleSymbols(const CModuleFile& file);

    /// Readable name of the function that holds this offset from the module's start; empty when unknown.
    [[nodiscard]] std::wstring FunctionAt(std::uint32_t offset) const;

private:
    struct SFunction {
        std::uint32_t offset;
        std::uint32_t sectionEnd;
        std::string name; ///< as the compiler mangled it
    };
    std::vector<SFunction> m_functions; ///< by offset
};

} // namespace platform::win32
