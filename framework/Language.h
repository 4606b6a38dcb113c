#pragma once

#include "platform/Export.h"

#include <string>

/// The language of the texts that people read: one for the whole process. What other programs read (status names, words
/// of commands, file contents) is in no language, and log lines are in English, but for texts that they quote.

/// The language that texts are taken from, "de" for German: that of WQ_SetLanguage, else the first of
/// platform::PreferredLanguages() that the system has texts in, else "en". Decided at the first call and kept. From any
/// thread.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring WQ_FindLanguage();

/// Chooses a language for the host: "de", "de_AT.UTF-8" or "de-AT". One that the system has no texts in stands for
/// English. An empty text gives the choice back to the environment, which is looked at anew. From any thread; texts
/// that were fetched before stay as they are.
ZEL_FRAMEWORK_API void WQ_SetLanguage(const std::wstring& language);
