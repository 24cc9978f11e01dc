# Puts the core into a library or module: the objects that all of them share, and a BuildInfo.cpp
# compiled for this one alone. python_tag as in fus_set_configuration_name. A further argument names
# the objects of a library that exports them.
function(fus_add_core target python_tag)
    set(objects fus_objects)
    set(definition FUS_STATIC)
    if(ARGN)
        set(objects ${ARGN})
        set(definition FUS_BUILDING)
    endif()
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${objects}>
        "${PROJECT_SOURCE_DIR}/core/src/BuildInfo.cpp")
    fus_configure_target(${target})
    fus_set_configuration_name(${target} "${python_tag}")
    add_dependencies(${target} fus_build_info)
    target_compile_definitions(${target} PRIVATE ${definition})
    target_include_directories(${target}
        PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/core/include>"
        PRIVATE "${PROJECT_SOURCE_DIR}/core/src" "${FUS_BUILD_INFO_DIR}")
    target_link_libraries(${target} PUBLIC fus_system)
endfunction()
