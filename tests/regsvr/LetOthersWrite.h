#pragma once

#include <string>

/// Lets everybody write to a file or folder, as this system tells it; a failure fails the test.
void LetOthersWrite(const std::wstring& path);
