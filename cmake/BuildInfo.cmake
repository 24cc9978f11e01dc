# The build information: version, revision, date, and the name of the configuration.
#
# Version, revision and date are stamped into BuildInfo.h when configuring, and again when the
# repository's HEAD has moved; a build of an unchanged tree leaves it alone. The name of the
# configuration differs between the library and the module of each interpreter, so it is a
# definition of the target: whoever compiles BuildInfo.cpp calls fus_set_configuration_name.

function(fus_compiler_name variable)
    string(REGEX MATCH "^[0-9]+" major "${CMAKE_CXX_COMPILER_VERSION}")
    if(MSVC_TOOLSET_VERSION EQUAL 141)
        set(name vs2017)
    elseif(MSVC_TOOLSET_VERSION EQUAL 142)
        set(name vs2019)
    elseif(MSVC)
        set(name vs2022)
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set(name gcc${major})
    else()
        string(TOLOWER "${CMAKE_CXX_COMPILER_ID}${major}" name)
    endif()
    set(${variable} ${name} PARENT_SCOPE)
endfunction()

function(fus_architecture variable)
    string(TOLOWER "${CMAKE_SYSTEM_PROCESSOR}" processor)
    if(processor MATCHES "^(x86_64|amd64)$")
        set(processor x64)
    elseif(processor STREQUAL "aarch64")
        set(processor arm64)
    endif()
    set(${variable} ${processor} PARENT_SCOPE)
endfunction()

# python_tag: cp36..., or empty for a build without the Python module.
function(fus_set_configuration_name target python_tag)
    string(TOLOWER "${CMAKE_SYSTEM_NAME}" system)
    fus_compiler_name(compiler)
    fus_architecture(architecture)
    set(python "")
    if(python_tag)
        string(REGEX REPLACE "^cp" "_Python" python "${python_tag}")
    endif()
    set_property(TARGET ${target} APPEND PROPERTY COMPILE_DEFINITIONS
        "FUS_CONFIGURATION_NAME=\"${system}_${compiler}_$<CONFIG>_${architecture}_KORVANE${python}\"")
endfunction()

set(FUS_BUILD_INFO_DIR "${CMAKE_CURRENT_BINARY_DIR}/generated")
set(FUS_BUILD_INFO_HEADER "${FUS_BUILD_INFO_DIR}/BuildInfo.h")
set(FUS_BUILD_INFO_TEMPLATE "${CMAKE_CURRENT_SOURCE_DIR}/core/src/BuildInfo.h.in")
set(FUS_STAMP_COMMAND "${CMAKE_COMMAND}"
    "-DSOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}" "-DVERSION=${PROJECT_VERSION}"
    "-DTEMPLATE=${FUS_BUILD_INFO_TEMPLATE}" "-DHEADER=${FUS_BUILD_INFO_HEADER}"
    -P "${CMAKE_CURRENT_LIST_DIR}/StampBuildInfo.cmake")

execute_process(COMMAND ${FUS_STAMP_COMMAND} RESULT_VARIABLE stamped)
if(NOT stamped EQUAL 0)
    message(FATAL_ERROR "The build information could not be stamped")
endif()

# Every move of HEAD (commit, checkout, rebase) is written to its log.
set(head_files "")
find_program(FUS_GIT git)
mark_as_advanced(FUS_GIT)
if(FUS_GIT)
    foreach(name HEAD logs/HEAD)
        execute_process(COMMAND "${FUS_GIT}" rev-parse --git-path ${name}
            WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}"
            OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        get_filename_component(path "${path}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
        if(EXISTS "${path}" AND NOT IS_DIRECTORY "${path}")
            list(APPEND head_files "${path}")
        endif()
    endforeach()
endif()

add_custom_command(OUTPUT "${FUS_BUILD_INFO_DIR}/BuildInfo.stamp"
    COMMAND ${FUS_STAMP_COMMAND}
    COMMAND "${CMAKE_COMMAND}" -E touch "${FUS_BUILD_INFO_DIR}/BuildInfo.stamp"
    BYPRODUCTS "${FUS_BUILD_INFO_HEADER}"
    DEPENDS ${head_files} "${FUS_BUILD_INFO_TEMPLATE}"
        "${CMAKE_CURRENT_LIST_DIR}/StampBuildInfo.cmake"
    COMMENT "Stamping the build information"
    VERBATIM)
add_custom_target(fus_build_info DEPENDS "${FUS_BUILD_INFO_DIR}/BuildInfo.stamp")
