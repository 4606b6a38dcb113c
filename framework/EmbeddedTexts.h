#pragma once

#include <string_view>

/// The bytes of resources/ZEL_Processor.en.txt, from a source that the build generates.
[[nodiscard]] std::string_view EmbeddedTexts();
