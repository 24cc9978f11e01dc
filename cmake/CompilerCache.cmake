# Compile through ccache where it is installed, unless a launcher was chosen.
if(NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(FUS_CCACHE ccache)
    mark_as_advanced(FUS_CCACHE)
    if(FUS_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${FUS_CCACHE}")
    endif()
endif()
