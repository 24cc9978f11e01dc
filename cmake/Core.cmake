# Puts the core into a library or module: the objects that all of them share, and a BuildInfo.cpp
# compiled for this one alone. python_tag as in fus_set_configuration_name.
function(fus_add_core target python_tag)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:fus_objects>
        "${PROJECT_SOURCE_DIR}/core/src/BuildInfo.cpp")
    fus_configure_target(${target})
    fus_set_configuration_name(${target} "${python_tag}")
    add_dependencies(${target} fus_build_info)
    target_compile_definitions(${target} PRIVATE FUS_BUILD_SHARED)
    target_include_directories(${target}
        PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/core/include>"
        PRIVATE "${PROJECT_SOURCE_DIR}/core/src" "${FUS_BUILD_INFO_DIR}")
    target_link_libraries(${target} PUBLIC fus_system)
endfunction()
