# Toolchain for 64-bit Windows with mingw-w64, in its variant with POSIX threads, which std::thread
# needs (Debian: g++-mingw-w64-x86-64-posix). Made for the preset "windows".

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
find_program(CMAKE_CXX_COMPILER NAMES ${triple}-g++-posix ${triple}-g++ REQUIRED)
find_program(CMAKE_C_COMPILER NAMES ${triple}-gcc-posix ${triple}-gcc)
find_program(CMAKE_RC_COMPILER NAMES ${triple}-windres)

# What is looked for belongs to the target; programs belong to the machine that builds.
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The run time is linked in: programs and libraries need nothing beside them but Windows.
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
endforeach()
