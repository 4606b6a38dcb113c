#pragma once

#include <string>
#include <string_view>

/// The text with each run of digits as one "#", for comparing lines whose numbers differ from run to run. Not a regular
/// expression: the library's own trip over a false warning of g++ 12 in sanitized builds.
[[nodiscard]] inline std::string DigitsShape(std::string_view text)
{
    std::string shape;
    for (const char character : text) {
        if (character < '0' || character > '9')
            shape += character;
        else if (!shape.ends_with('#'))
            shape += '#';
    }
    return shape;
}
