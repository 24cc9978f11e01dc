# Runs what is cross-built for Windows, its tests above all, under Wine, in a prefix of the build
# tree.
if(NOT (CMAKE_CROSSCOMPILING AND WIN32) OR CMAKE_CROSSCOMPILING_EMULATOR)
    return()
endif()

# Debian keeps wine64 outside of the path.
find_program(FUS_WINE NAMES wine64 wine PATHS /usr/lib/wine
    DOC "Wine, to run the tests of a build for Windows")
mark_as_advanced(FUS_WINE)
if(FUS_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-under-wine.sh" "${FUS_WINE}"
        "${PROJECT_BINARY_DIR}/wine")
    # ctest runs this before it asks the programs for their tests
    file(WRITE "${PROJECT_BINARY_DIR}/KeepWine.cmake"
        "execute_process(COMMAND \"${CMAKE_CURRENT_LIST_DIR}/run-under-wine.sh\" "
        "\"${FUS_WINE}\" \"${PROJECT_BINARY_DIR}/wine\" --keep)\n")
else()
    message(STATUS "Wine not found: what is built can't be run here")
endif()
