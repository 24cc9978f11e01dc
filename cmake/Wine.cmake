# Runs what is cross-built for Windows, its tests above all, under Wine: in a prefix of the build
# tree, so that no user's own is touched, without Wine's own messages, and without the components
# that it would otherwise install or the menu entries that it would make.
if(NOT (CMAKE_CROSSCOMPILING AND WIN32) OR CMAKE_CROSSCOMPILING_EMULATOR)
    return()
endif()

# Debian keeps wine64 outside of the path.
find_program(FUS_WINE NAMES wine64 wine PATHS /usr/lib/wine
    DOC "Wine, to run the tests of a build for Windows")
mark_as_advanced(FUS_WINE)
if(FUS_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_COMMAND}" -E env
        "WINEPREFIX=${PROJECT_BINARY_DIR}/wine" "WINEDEBUG=-all" "WINEARCH=win64"
        "WINEDLLOVERRIDES=mscoree,mshtml,winemenubuilder.exe=d" "${FUS_WINE}")
else()
    message(STATUS "Wine not found: what is built can't be run here")
endif()
