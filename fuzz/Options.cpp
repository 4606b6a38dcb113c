#include "apps/zel-server/OptionsFile.h"
#include "fuzz/Fuzz.h"

/// What was read, written out again in quotes, is read as the same; a mistake has a line, and nothing behind it is
/// read.
void TryBytes(const std::string& bytes)
{
    const OptionsFile::SContent content = OptionsFile::Parse(bytes);
    Require((content.mistake == OptionsFile::eMistake_None) == (content.mistakeLine == 0));
    std::string text = "\xEF\xBB\xBF"; // or one in the first name would be taken for it
    std::size_t number = 0;
    for (const OptionsFile::SLine& line : content.lines) {
        Require(line.number > number && !line.name.empty());
        Require(content.mistakeLine == 0 || line.number < content.mistakeLine);
        Require(line.value.size() + line.name.size() < OptionsFile::kLongestLine);
        // Where a quotation mark is inside a value, the value stood without them.
        const bool hasMark = line.value.find('"') != std::string::npos;
        text.append(line.number - number - (number == 0 ? 1 : 0), '\n');
        number = line.number;
        text += line.name + '=' + (hasMark ? line.value : '"' + line.value + '"');
    }
    Require(text.size() > OptionsFile::kLargestFile || OptionsFile::Parse(text).lines == content.lines);
}
