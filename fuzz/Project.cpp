#include "exchange/ProjectContent.h"

#include "com/ComError.h"
#include "fuzz/Fuzz.h"

/// What is taken for a project has one byte form.
void TryBytes(const std::string& bytes)
{
    try {
        Require(SProjectContent::FromBytes(bytes).ToBytes() == bytes);
    } catch (const CComError&) {
        return; // no project
    }
}
