# Makes the header of zel_embed_file: the bytes of a file, for a program that must not depend on finding it. Nothing but
# CMake, so that it works in cross builds too.
file(READ "${FILE}" bytes HEX)
if(bytes STREQUAL "")
    message(FATAL_ERROR "${FILE} is empty")
endif()
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," list "${bytes}")
string(REPEAT "'.x[0-9a-f][0-9a-f]'," 16 sixteen)
string(REGEX REPLACE "(${sixteen})" "\\1\n    " list "${list}")
file(WRITE "${OUTPUT}" "#pragma once

#include <string_view>

namespace ${NAMESPACE} {

inline constexpr char kArray[] = {
    ${list}
};
inline constexpr std::string_view kBytes(kArray, sizeof kArray);

} // namespace ${NAMESPACE}
")
