#pragma once

#include <functional>

/// The system's calls that lock files, as a test has them answer: they stand before the C library's for the libraries
/// as well.
namespace testsupport {

/// Called once, before the next lock is made a shared one.
void BeforeSharing(std::function<void()> hook);

/// For its life files lie on a file system of this number, as statfs has it, and no lease is given, as without a
/// promise of the machine that has them.
class CFarFiles {
public:
    explicit CFarFiles(long type);
    ~CFarFiles();
    CFarFiles(const CFarFiles&) = delete;
    CFarFiles& operator=(const CFarFiles&) = delete;
};

} // namespace testsupport
