# cmake -DINPUT=file -DOUTPUT=source.cpp -DHEADER=header.h -DNAME=function -P EmbedText.cmake
# Makes a source with a function that gives the bytes of a file. Nothing but CMake, so that it works in cross builds too.

file(READ "${INPUT}" bytes HEX)
string(LENGTH "${bytes}" digits)
if(digits EQUAL 0)
    message(FATAL_ERROR "${INPUT} is empty")
endif()
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," list "${bytes}")
# Twenty bytes a line.
string(REPEAT "0x[0-9a-f][0-9a-f]," 20 twenty)
string(REGEX REPLACE "(${twenty})" "\\1\n    " list "${list}")

file(WRITE "${OUTPUT}" "#include \"${HEADER}\"

namespace {

constexpr unsigned char bytes[] = {
    ${list}
};

} // namespace

std::string_view ${NAME}()
{
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}
")
