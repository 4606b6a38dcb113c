#include "protocol/ZelProcessorRequestStatusFile.h"

#include "fuzz/Fuzz.h"

/// A file that is there is read, whatever is in it, and only numbers come out of it.
void TryBytes(const std::string& bytes)
{
    CZelProcessorRequestStatusFile file(L"fuzz", ScratchFile(bytes));
    CZelProcessorRequestStatusFile::SContent content;
    const auto result = file.ReadContent(content);
    Require(result != CZelProcessorRequestStatusFile::eRead_CanNotOpen);
    Require(result == CZelProcessorRequestStatusFile::eRead_NoStatus || content.hasTimes);
    Require(bytes.size() < 2 || result == CZelProcessorRequestStatusFile::eRead_Ok);
}
