# Makes the source and the header of zel_add_texts. Nothing but CMake, so that it works in cross builds too.

function(append_bytes file name source)
    file(READ "${file}" bytes HEX)
    string(LENGTH "${bytes}" digits)
    if(digits EQUAL 0)
        message(FATAL_ERROR "${file} is empty")
    endif()
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," list "${bytes}")
    # Sixteen bytes a line.
    string(REPEAT "'.x[0-9a-f][0-9a-f]'," 16 sixteen)
    string(REGEX REPLACE "(${sixteen})" "\\1\n    " list "${list}")
    set(${source} "${${source}}constexpr char ${name}[] = {\n    ${list}\n};\n\n" PARENT_SCOPE)
endfunction()

get_filename_component(header "${OUTPUT}.h" NAME)
string(REPLACE "," ";" LANGUAGES "${LANGUAGES}")

set(arrays "")
set(table "")
foreach(language IN LISTS LANGUAGES)
    append_bytes("${FOLDER}/${MODULE}.${language}.txt" "bytes_${language}" arrays)
    string(APPEND table
        "    {\"${language}\", {bytes_${language}, sizeof bytes_${language}}},\n")
endforeach()
file(WRITE "${OUTPUT}.cpp" "#include \"${header}\"

namespace {

${arrays}constexpr STextResource languages[] = {
${table}};

} // namespace

constinit const STextModule ${NAMESPACE}::kModule{\"${MODULE}\", languages};
")

# Only numbers and code names are looked at: texts may hold what has a meaning in lists.
file(READ "${FOLDER}/${MODULE}.en.txt" english)
string(REGEX MATCHALL "\n[0-9]+\t[A-Z0-9_]+\t" lines "\n${english}")
set(codes "")
foreach(line IN LISTS lines)
    string(REGEX REPLACE "\n([0-9]+)\t(.+)\t"
        "inline constexpr STextCode \\2{\\1, \"\\2\", &kModule};\n" code "${line}")
    string(APPEND codes "${code}")
endforeach()
file(WRITE "${OUTPUT}.h" "#pragma once

#include \"framework/texts/TextModule.h\"

namespace ${NAMESPACE} {

extern const STextModule kModule;

${codes}
} // namespace ${NAMESPACE}
")
