#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"

#include <string>
#include <vector>

/// What the file of a project holds. Objects stay bytes here: one whose class is not installed is kept as well.
struct SProjectContent {
    struct SObject {
        CString name;
        std::string bytes; ///< as StoreWQ_ArchiveObjIntoBinaryData puts them
    };

    GUID id = {};
    LONG fence = 0;
    std::vector<SObject> objects; ///< each name once

    /// Null when there is none of the name.
    [[nodiscard]] const SObject* Find(const CString& name) const;
    /// Puts bytes in the place of those of the name, or at the end; empty bytes take the name away.
    void Put(const CString& name, std::string bytes);

    /// Both throw CComError; reading does when the bytes are no project, and makes no room before it knows that there
    /// are as many bytes.
    [[nodiscard]] std::string ToBytes() const;
    [[nodiscard]] static SProjectContent FromBytes(const std::string& bytes);
};
