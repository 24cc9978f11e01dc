# Sources are found, not listed, so a new file needs no edit here. A directory that has none yet
# gets an empty one, because a library can't be without.
function(fus_find_sources variable)
    file(GLOB found CONFIGURE_DEPENDS ${ARGN})
    if(NOT found)
        file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/empty.cpp.new" "")
        configure_file("${CMAKE_CURRENT_BINARY_DIR}/empty.cpp.new"
            "${CMAKE_CURRENT_BINARY_DIR}/empty.cpp" COPYONLY)
        set(found "${CMAKE_CURRENT_BINARY_DIR}/empty.cpp")
    endif()
    set(${variable} "${found}" PARENT_SCOPE)
endfunction()

# Takes those away that another system builds.
function(fus_keep_own_system variable)
    if(WIN32)
        set(other posix)
    else()
        set(other windows)
    endif()
    list(FILTER ${variable} EXCLUDE REGEX "/${other}[^/]*$")
    set(${variable} "${${variable}}" PARENT_SCOPE)
endfunction()
