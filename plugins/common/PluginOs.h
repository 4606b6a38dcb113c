#pragma once

#include <chrono>
#include <string>

/// What the plug-ins ask of the operating system; they do not go past this and the kit.

/// Lets real time pass, whatever clock a test has installed: a fake one must not be moved by a waiting task.
void SleepFor(std::chrono::milliseconds duration);
/// Real time that passed since some start.
[[nodiscard]] std::chrono::milliseconds ElapsedTime();

[[nodiscard]] bool FileExists(const std::wstring& path);
/// Creates an empty file.
[[nodiscard]] bool CreateEmptyFile(const std::wstring& path);
/// Creates an empty file whose path has a number behind it, PATH.1 or the next one that is free: so many times was it
/// called, whenever the process may have been killed.
[[nodiscard]] bool CreateNumberedFile(const std::wstring& path);
/// The whole text of a small file; empty when there is none.
[[nodiscard]] std::string ReadTextFile(const std::wstring& path);
/// Replaces the file's content.
[[nodiscard]] bool WriteTextFile(const std::wstring& path, const std::string& text);
