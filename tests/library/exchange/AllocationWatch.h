#pragma once

#include <cstddef>

/// The largest single piece of memory that the program asked for while the object lives, on any thread. What libraries
/// ask for is seen where the program's allocation functions stand in for theirs, which is everywhere but on Windows;
/// there the library under test is part of the program.
class CAllocationWatch {
public:
    CAllocationWatch();
    [[nodiscard]] std::size_t Largest() const;
    /// What this thread asks for next it does not get.
    static void FailNext();
};
