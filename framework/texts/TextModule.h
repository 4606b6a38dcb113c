#pragma once

#include "platform/Export.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The texts of a module in one language: the bytes of a resource file, as CTextTable reads them.
struct STextResource {
    std::string_view language; ///< "de", or "de_AT" for what only one country says so
    std::string_view bytes;
};

/// The texts of a module in all its languages, English among them. Made by the build (cmake/ZelTexts.cmake) from the
/// files resources/MODULE.LANGUAGE.txt; lives as long as the process.
struct STextModule {
    const char* name;
    std::span<const STextResource> languages;
};

/// One text of a module.
struct STextCode {
    unsigned id;
    const char* name;
    const STextModule* module;
};

/// The text in the language of this process (framework/Language.h), with its placeholders replaced as FormatText does.
/// Asks WQ_Host(), with the text's module as the resource module. From any thread.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring WQ_ModuleText(const STextCode& code,
                                                           const std::vector<std::wstring>& arguments = {});
