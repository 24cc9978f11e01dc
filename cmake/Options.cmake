# What every target of this project is compiled with: the warnings, the sanitizers, and source
# names without the directories of the machine that built it.

add_library(fus_options INTERFACE)

if(MSVC)
    # 4251, 4275: that private parts of exported classes aren't exported, as is meant
    target_compile_options(fus_options INTERFACE
        /W4 /wd4251 /wd4275 /utf-8 /permissive- /Zc:__cplusplus)
    target_compile_definitions(fus_options INTERFACE _CRT_SECURE_NO_WARNINGS NOMINMAX)
    if(FUS_WERROR)
        target_compile_options(fus_options INTERFACE /WX)
    endif()
else()
    target_compile_options(fus_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Wno-format-nonliteral)
    # Conversions of measures are compared bit by bit, so that no compiler may fuse their
    # multiplications into their additions, as it would by default where the processor can.
    target_compile_options(fus_options INTERFACE -ffp-contract=off)
    if(FUS_WERROR)
        target_compile_options(fus_options INTERFACE -Werror)
    endif()
endif()

if(FUS_SANITIZE)
    string(REPLACE ";" "," FUS_SANITIZE_LIST "${FUS_SANITIZE}")
    target_compile_options(fus_options INTERFACE
        -fsanitize=${FUS_SANITIZE_LIST} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(fus_options INTERFACE -fsanitize=${FUS_SANITIZE_LIST})
    # GCC 12 sees uninitialized members in its own <regex> when that is instrumented
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(fus_options INTERFACE -Wno-maybe-uninitialized)
    endif()
endif()

# __FILE__ goes into log lines and exceptions, so it is the bare file name. GCC takes the last map
# that fits, so a directory comes after the one that holds it.
function(fus_map_file_names target)
    if(MSVC)
        return()
    endif()
    # A compiler cache that is shared by several trees makes the paths relative to the build.
    file(RELATIVE_PATH from_build "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}")
    foreach(root "${PROJECT_SOURCE_DIR}/" "${from_build}")
        target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${root}=")
        foreach(directory core/include/fus core/src core/src/platform simulator/include/fussim
                simulator/src python/src)
            target_compile_options(${target} PRIVATE "-fmacro-prefix-map=${root}${directory}/=")
        endforeach()
    endforeach()
endfunction()

function(fus_configure_target target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:fus_options>)
    fus_map_file_names(${target})
endfunction()
