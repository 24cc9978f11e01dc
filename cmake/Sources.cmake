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
