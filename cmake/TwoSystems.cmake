# The conversations between the system that builds and the one that is built for: a client of the
# one with the simulated generator of the other, and the Python module of the one with that of the
# other. FUS_NATIVE_BUILD_DIR is a build of this tree for the system that builds, with a module.

set(FUS_NATIVE_BUILD_DIR "${PROJECT_SOURCE_DIR}/build/release" CACHE PATH
    "Build of this tree for the system that runs the build, which the two-system tests talk to")
find_program(FUS_NATIVE_PYTHON python3 HINTS /usr/bin NO_CMAKE_PATH NO_CMAKE_FIND_ROOT_PATH
    DOC "Interpreter of the system that runs the build, for the two-system tests")
mark_as_advanced(FUS_NATIVE_PYTHON)
if(NOT FUS_NATIVE_PYTHON)
    message(STATUS "two-system tests left out: there is no python3")
    return()
endif()

execute_process(COMMAND "${FUS_NATIVE_PYTHON}" -c
    "import sys; print('cp%d%d' % sys.version_info[:2])"
    OUTPUT_VARIABLE tag OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REPLACE ";" " " emulator "${CMAKE_CROSSCOMPILING_EMULATOR}")
foreach(side ClientOfTheOtherSystem SimulatorOfTheOtherSystem)
    add_test(NAME two_systems.${side}
        COMMAND "${FUS_NATIVE_PYTHON}" -m unittest -v test_two_systems.${side}
        WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/two_systems")
    set_tests_properties(two_systems.${side} PROPERTIES TIMEOUT 300 ENVIRONMENT
        "PYTHONPATH=${FUS_NATIVE_BUILD_DIR}/python/${tag}:${CMAKE_CURRENT_SOURCE_DIR}/python;\
PYTHONDONTWRITEBYTECODE=1;FUS_SOURCE_DIR=${PROJECT_SOURCE_DIR};\
FUS_SIMULATOR=${FUS_NATIVE_BUILD_DIR}/bin/fus-simulator;\
FUS_OTHER_SIMULATOR=$<TARGET_FILE:fus-simulator>;FUS_CLIENT=$<TARGET_FILE:two_systems_client>;\
FUS_EMULATOR=${emulator}")
endforeach()
