#pragma once

#include "apps/zel/Answer.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

enum eAnswerFormat { eAnswerFormat_Table, eAnswerFormat_Csv, eAnswerFormat_Json, eAnswerFormat_Xml };

/// Takes the text of an answer, whole lines of UTF-8. False when it could not be written.
using AnswerText = std::function<bool(std::string_view text)>;

/// Writes tables as they come: for people, whose columns are as wide as the first rows need, cut to the width when that
/// is not 0; as CSV (RFC 4180), a blank line between tables; as JSON, an array of objects for each table. Not for
/// eAnswerFormat_Xml, which is the answer as it is.
[[nodiscard]] std::unique_ptr<IAnswerSink> MakeAnswerFormat(eAnswerFormat format, AnswerText write, std::size_t width);
