#include "platform/Terminal.h"

#include "platform/Process.h"

namespace platform {

void CTerminal::Show(const std::vector<std::wstring>& lines)
{
    std::wstring text = L"\x1b[H";
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += (i == 0 ? L"" : L"\r\n") + lines[i] + L"\x1b[K";
    WriteConsoleText(eStream_Output, text + L"\x1b[J");
}

} // namespace platform
