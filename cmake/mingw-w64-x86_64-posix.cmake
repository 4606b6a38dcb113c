# Windows, 64 bit, cross-built with MinGW-w64; the variant with posix threads has std::thread and std::mutex.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(zel_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${zel_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${zel_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${zel_triple}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${zel_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run")
